// The byte-lane operations the 16-byte x86 level's block loops share: a
// family's level source derives its vector type from this one and adds what
// only it needs. Masks are whole vectors, turned into one bit per lane.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/simd.h"

#if ZTK_X86
namespace ztk::simd::sse2 {

struct ByteLanes {
  using reg = __m128i;
  using mask = __m128i;
  static constexpr size_t kWidth = 16;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = 0xFFFF;
  static reg set1(uint8_t b) { return _mm_set1_epi8(static_cast<char>(b)); }
  static reg load(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
  static void store(uint8_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
  static reg add(reg a, reg b) { return _mm_add_epi8(a, b); }
  static reg either_bits(reg a, reg b) { return _mm_or_si128(a, b); }
  static mask none() { return _mm_setzero_si128(); }
  // v - first, wrapped, is at most span exactly for the range's bytes.
  static mask in_range(reg v, reg first, reg span) {
    const reg d = _mm_sub_epi8(v, first);
    return _mm_cmpeq_epi8(_mm_min_epu8(d, span), d);
  }
  static mask either(mask a, mask b) { return _mm_or_si128(a, b); }
  static mask both(mask a, mask b) { return _mm_and_si128(a, b); }
  static mask but(mask a, mask b) { return _mm_andnot_si128(b, a); }
  static mask equal(reg a, reg b) { return _mm_cmpeq_epi8(a, b); }
  static uint64_t bits(mask m) { return static_cast<uint32_t>(_mm_movemask_epi8(m)); }
  static uint64_t equal_bits(reg v, reg b) { return bits(equal(v, b)); }
  // Whether a or c has a byte equal to b's.
  static bool any_equal(reg a, reg c, reg b) { return bits(either(equal(a, b), equal(c, b))) != 0; }
};

}  // namespace ztk::simd::sse2
#endif  // ZTK_X86
