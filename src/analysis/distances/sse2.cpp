#include "analysis/distances/levels.h"
#include "analysis/distances/masks.h"
#include "analysis/distances/words.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::distance::sse2 {
namespace {

struct V {
  using reg = __m128i;
  using Column = OsaWord;
  static constexpr size_t kLanes = 4, kMaxUnits = 16;
  static reg load_first(const uint32_t *p, size_t n) {
    if (n == kLanes) return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    uint32_t part[kLanes] = {};
    for (size_t k = 0; k < n; ++k) part[k] = p[k];
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(part));
  }
  static reg set1(uint32_t unit) { return _mm_set1_epi32(static_cast<int>(unit)); }
  static uint64_t equal_bits(reg a, reg b) {
    return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(a, b))));
  }
};

#define ZTK_DISTANCE_TARGET
#include "analysis/distances/compared_pattern.inc"
#undef ZTK_DISTANCE_TARGET

}  // namespace

const Kernels kKernels = {jaro_winkler_with<jaro_short>, levenshtein_with<osa_short>};

}  // namespace ztk::distance::sse2
#endif  // ZTK_X86
