#include "text/byte_scan/levels.h"

#include <cstring>

#include "frame/lanes_sse2.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::scan::sse2 {

#define ZTK_SCAN_TARGET
struct V : simd::sse2::ByteLanes {
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
