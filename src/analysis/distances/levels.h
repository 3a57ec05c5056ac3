// The edit-distance kernels of each level. A level's own code is the
// kernels for a pattern (or b) of up to 64 units, which compare each unit
// with the pattern held in vector registers where the pattern fits them and
// the text is short; everything else runs the plain level's table-driven
// kernels: those for longer patterns are declared here, those for short ones
// are inline in masks.h.
#pragma once

#include <optional>

#include "analysis/distances.h"

namespace ztk::distance {

namespace plain {
// The distance of a longer pattern; nullopt when its scratch memory cannot be
// had.
std::optional<int64_t> osa_long(U32View pattern, U32View text);
// 1 - the Jaro-Winkler similarity for a `b` of more than 64 units; nullopt
// when its scratch memory cannot be had, `failedBytes` then set.
std::optional<double> jaro_winkler_long(U32View a, U32View b, size_t window, int64_t *failedBytes);
// 1 - the Jaro-Winkler similarity from the c matches found: a's matched
// units in order, b's matched positions as bits.
double jaro_winkler_of(U32View a, U32View b, int64_t c, const uint64_t *takenB, const uint32_t *matchedA);
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
extern const Kernels kKernels;
}  // namespace avx2

namespace avx512 {
extern const Kernels kKernels;
}  // namespace avx512

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::distance
