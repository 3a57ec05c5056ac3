// Edit distances over UTF-16 code units (one 32-bit value per unit; no case
// folding, no normalisation).
//
// jaro_winkler: 1 - the Jaro-Winkler similarity (prefix scale 0.1, at most 4
// prefix units, boost only above 0.7). levenshtein: the optimal string
// alignment distance (adjacent transpositions count 1; a transposed pair is
// not edited again) divided by the shorter length. Both run at the active
// vector level (frame/dispatch.h); distances/ holds one source per level.
#pragma once

#include <cstdint>
#include <optional>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::distance {

struct Kernels {
  // nullopt when scratch memory cannot be had; `failedBytes` then holds the
  // size of the allocation that failed.
  std::optional<double> (*jaro_winkler)(U32View a, U32View b, int64_t *failedBytes);
  std::optional<double> (*levenshtein)(U32View a, U32View b, int64_t *failedBytes);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

inline std::optional<double> jaro_winkler(U32View a, U32View b, int64_t *failedBytes) {
  return kernels().jaro_winkler(a, b, failedBytes);
}
inline std::optional<double> levenshtein(U32View a, U32View b, int64_t *failedBytes) {
  return kernels().levenshtein(a, b, failedBytes);
}

// The table-driven versions every vector level must equal.
std::optional<double> jaro_winkler_reference(U32View a, U32View b, int64_t *failedBytes);
std::optional<double> levenshtein_reference(U32View a, U32View b, int64_t *failedBytes);

}  // namespace ztk::distance
