#include "text/byte_scan/levels.h"

#include <cstring>

#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::scan::avx2 {
namespace {

#define ZTK_SCAN_TARGET ZTK_AVX2
struct V {
  using reg = __m256i;
  using mask = __m256i;
  static constexpr size_t kWidth = 32;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = 0xFFFFFFFF;
  ZTK_AVX2 static reg set1(uint8_t b) { return _mm256_set1_epi8(static_cast<char>(b)); }
  ZTK_AVX2 static reg load(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
  ZTK_AVX2 static void store(uint8_t *p, reg v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
  ZTK_AVX2 static reg add(reg a, reg b) { return _mm256_add_epi8(a, b); }
  ZTK_AVX2 static mask none() { return _mm256_setzero_si256(); }
  ZTK_AVX2 static mask in_range(reg v, reg first, reg span) {
    const reg d = _mm256_sub_epi8(v, first);
    return _mm256_cmpeq_epi8(_mm256_min_epu8(d, span), d);
  }
  ZTK_AVX2 static mask either(mask a, mask b) { return _mm256_or_si256(a, b); }
  ZTK_AVX2 static mask both(mask a, mask b) { return _mm256_and_si256(a, b); }
  ZTK_AVX2 static mask equal(reg a, reg b) { return _mm256_cmpeq_epi8(a, b); }
  ZTK_AVX2 static uint64_t bits(mask m) { return static_cast<uint32_t>(_mm256_movemask_epi8(m)); }
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
