// The byte-lane operations the 64-byte level's block loops share (a source
// built for AVX-512 includes it): a family's level source derives its vector
// type from this one and adds what only it needs. Masks live in the mask
// registers, one bit per lane already.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::simd::avx512 {

struct ByteLanes {
  using reg = __m512i;
  using mask = __mmask64;
  static constexpr size_t kWidth = 64;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = ~uint64_t{0};
  ZTK_AVX512 static reg set1(uint8_t b) { return _mm512_set1_epi8(static_cast<char>(b)); }
  ZTK_AVX512 static reg load(const uint8_t *p) { return _mm512_loadu_si512(p); }
  ZTK_AVX512 static void store(uint8_t *p, reg v) { _mm512_storeu_si512(p, v); }
  ZTK_AVX512 static reg add(reg a, reg b) { return _mm512_add_epi8(a, b); }
  ZTK_AVX512 static mask none() { return 0; }
  ZTK_AVX512 static mask in_range(reg v, reg first, reg span) {
    return _mm512_cmple_epu8_mask(_mm512_sub_epi8(v, first), span);
  }
  ZTK_AVX512 static mask either(mask a, mask b) { return a | b; }
  ZTK_AVX512 static mask both(mask a, mask b) { return a & b; }
  ZTK_AVX512 static mask but(mask a, mask b) { return a & ~b; }
  ZTK_AVX512 static mask equal(reg a, reg b) { return _mm512_cmpeq_epi8_mask(a, b); }
  ZTK_AVX512 static uint64_t bits(mask m) { return m; }
  ZTK_AVX512 static uint64_t equal_bits(reg v, reg b) { return equal(v, b); }
  ZTK_AVX512 static bool any_equal(reg a, reg c, reg b) { return (equal(a, b) | equal(c, b)) != 0; }
};

}  // namespace ztk::simd::avx512
#endif  // ZTK_WIDE_VECTORS
