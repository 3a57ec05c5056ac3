// Edit distances over UTF-16 code units (one 32-bit value per unit; no case
// folding, no normalisation).
//
// jaro_winkler: 1 - the Jaro-Winkler similarity (prefix scale 0.1, at most 4
// prefix units, boost only above 0.7). levenshtein: the optimal string
// alignment distance (adjacent transpositions count 1; a transposed pair is
// not edited again) divided by the shorter length.
#pragma once

#include <cstdint>
#include <optional>

#include "text/byte_view.h"

namespace ztk::distance {

// nullopt when scratch memory cannot be had; `failedBytes` then holds the
// size of the allocation that failed.
std::optional<double> jaro_winkler(U32View a, U32View b, int64_t *failedBytes);
std::optional<double> levenshtein(U32View a, U32View b, int64_t *failedBytes);

}  // namespace ztk::distance
