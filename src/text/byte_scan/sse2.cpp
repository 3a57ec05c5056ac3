#include "text/byte_scan/levels.h"

#include <cstring>

#include "frame/simd.h"

#if ZTK_X86
namespace ztk::scan::sse2 {

#define ZTK_SCAN_TARGET
struct V {
  using reg = __m128i;
  using mask = __m128i;
  static constexpr size_t kWidth = 16;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = 0xFFFF;
  static reg set1(uint8_t b) { return _mm_set1_epi8(static_cast<char>(b)); }
  static reg load(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
  static void store(uint8_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
  static reg add(reg a, reg b) { return _mm_add_epi8(a, b); }
  static mask none() { return _mm_setzero_si128(); }
  // v - first, wrapped, is at most span exactly for the range's bytes.
  static mask in_range(reg v, reg first, reg span) {
    const reg d = _mm_sub_epi8(v, first);
    return _mm_cmpeq_epi8(_mm_min_epu8(d, span), d);
  }
  static mask either(mask a, mask b) { return _mm_or_si128(a, b); }
  static mask both(mask a, mask b) { return _mm_and_si128(a, b); }
  static mask equal(reg a, reg b) { return _mm_cmpeq_epi8(a, b); }
  static uint64_t bits(mask m) { return static_cast<uint32_t>(_mm_movemask_epi8(m)); }
  static reg count_equal(reg lanes, reg v, reg b) { return _mm_sub_epi8(lanes, _mm_cmpeq_epi8(v, b)); }
  static reg count_mask(reg lanes, mask m) { return _mm_sub_epi8(lanes, m); }
  static uint64_t sum(reg lanes) {
    const __m128i s = _mm_sad_epu8(lanes, _mm_setzero_si128());
    return static_cast<uint32_t>(_mm_cvtsi128_si32(s)) + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(s, 8)));
  }
};
#include "text/byte_scan/blocks.inc"
#undef ZTK_SCAN_TARGET

namespace {

#include "text/byte_scan/narrow_entries.inc"

}  // namespace

const Kernels kKernels = {find, copy_until, count, count_needle, unescape};

}  // namespace ztk::scan::sse2
#endif  // ZTK_X86
