// The byte-lane operations the 32-byte level's block loops share (a source
// built for AVX2 includes it): a family's level source derives its vector
// type from this one and adds what only it needs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::simd::avx2 {

struct ByteLanes {
  using reg = __m256i;
  using mask = __m256i;
  static constexpr size_t kWidth = 32;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = 0xFFFFFFFF;
  ZTK_AVX2 static reg set1(uint8_t b) { return _mm256_set1_epi8(static_cast<char>(b)); }
  ZTK_AVX2 static reg load(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
  ZTK_AVX2 static void store(uint8_t *p, reg v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
  ZTK_AVX2 static reg add(reg a, reg b) { return _mm256_add_epi8(a, b); }
  ZTK_AVX2 static reg either_bits(reg a, reg b) { return _mm256_or_si256(a, b); }
  ZTK_AVX2 static mask none() { return _mm256_setzero_si256(); }
  ZTK_AVX2 static mask in_range(reg v, reg first, reg span) {
    const reg d = _mm256_sub_epi8(v, first);
    return _mm256_cmpeq_epi8(_mm256_min_epu8(d, span), d);
  }
  ZTK_AVX2 static mask either(mask a, mask b) { return _mm256_or_si256(a, b); }
  ZTK_AVX2 static mask both(mask a, mask b) { return _mm256_and_si256(a, b); }
  ZTK_AVX2 static mask but(mask a, mask b) { return _mm256_andnot_si256(b, a); }
  ZTK_AVX2 static mask equal(reg a, reg b) { return _mm256_cmpeq_epi8(a, b); }
  ZTK_AVX2 static uint64_t bits(mask m) { return static_cast<uint32_t>(_mm256_movemask_epi8(m)); }
  ZTK_AVX2 static uint64_t equal_bits(reg v, reg b) { return bits(equal(v, b)); }
  // Whether a or c has a byte equal to b's: one test, no mask move.
  ZTK_AVX2 static bool any_equal(reg a, reg c, reg b) {
    return !_mm256_testz_si256(either(equal(a, b), equal(c, b)), _mm256_set1_epi8(-1));
  }
};

}  // namespace ztk::simd::avx2
#endif  // ZTK_WIDE_VECTORS
