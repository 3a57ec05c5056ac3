#include "text/byte_scan/levels.h"

#include <cstring>

#include "frame/lanes_avx2.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::scan::avx2 {
namespace {

#define ZTK_SCAN_TARGET ZTK_AVX2
struct V : simd::avx2::ByteLanes {
  ZTK_AVX2 static reg count_equal(reg lanes, reg v, reg b) { return _mm256_sub_epi8(lanes, _mm256_cmpeq_epi8(v, b)); }
  ZTK_AVX2 static reg count_mask(reg lanes, mask m) { return _mm256_sub_epi8(lanes, m); }
  ZTK_AVX2 static uint64_t sum(reg lanes) {
    const __m256i s = _mm256_sad_epu8(lanes, _mm256_setzero_si256());
    const __m128i h = _mm_add_epi32(_mm256_castsi256_si128(s), _mm256_extracti128_si256(s, 1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(h)) + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(h, 8)));
  }
};
#include "text/byte_scan/blocks.inc"
#include "text/byte_scan/wide_entries.inc"
#undef ZTK_SCAN_TARGET

}  // namespace

const Kernels kKernels = {find, copy_until, count, count_needle, unescape};

}  // namespace ztk::scan::avx2
#endif  // ZTK_WIDE_VECTORS
