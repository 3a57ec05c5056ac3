#include "analysis/distances/levels.h"
#include "analysis/distances/masks.h"
#include "analysis/distances/words.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::distance::neon {
namespace {

struct V {
  using reg = uint32x4_t;
  using Column = OsaWord;
  static constexpr size_t kLanes = 4, kMaxUnits = 16;
  static reg load_first(const uint32_t *p, size_t n) {
    if (n == kLanes) return vld1q_u32(p);
    uint32_t part[kLanes] = {};
    for (size_t k = 0; k < n; ++k) part[k] = p[k];
    return vld1q_u32(part);
  }
  static reg set1(uint32_t unit) { return vdupq_n_u32(unit); }
  // NEON has no mask move: each lane's all-ones compare keeps its own bit.
  static uint64_t equal_bits(reg a, reg b) {
    const uint32x4_t weights = {1, 2, 4, 8};
    return vaddvq_u32(vandq_u32(vceqq_u32(a, b), weights));
  }
};

#define ZTK_DISTANCE_TARGET
#include "analysis/distances/compared_pattern.inc"
#undef ZTK_DISTANCE_TARGET

}  // namespace

const Kernels kKernels = {jaro_winkler_with<jaro_short>, levenshtein_with<osa_short>};

}  // namespace ztk::distance::neon
#endif  // ZTK_NEON
