#include "analysis/distances/levels.h"
#include "analysis/distances/masks.h"
#include "analysis/distances/words.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::distance::avx2 {
namespace {

struct V {
  using reg = __m256i;
  using Column = OsaWord;
  static constexpr size_t kLanes = 8, kMaxUnits = 32;
  // A part register is assembled unit by unit, as at the 16-byte level, not
  // by vpmaskmovd: qemu's emulation of that reads the masked-off lanes too,
  // past the pattern's end.
  ZTK_AVX2 static reg load_first(const uint32_t *p, size_t n) {
    if (n == kLanes) return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    uint32_t part[kLanes] = {};
    for (size_t k = 0; k < n; ++k) part[k] = p[k];
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(part));
  }
  ZTK_AVX2 static reg set1(uint32_t unit) { return _mm256_set1_epi32(static_cast<int>(unit)); }
  ZTK_AVX2 static uint64_t equal_bits(reg a, reg b) {
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(a, b))));
  }
};

#define ZTK_DISTANCE_TARGET ZTK_AVX2
#include "analysis/distances/compared_pattern.inc"
#undef ZTK_DISTANCE_TARGET

}  // namespace

const Kernels kKernels = {jaro_winkler_with<jaro_short>, levenshtein_with<osa_short>};

}  // namespace ztk::distance::avx2
#endif  // ZTK_WIDE_VECTORS
