#include "text/byte_scan/levels.h"

#include <cstring>

#include "frame/lanes_avx512.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::scan::avx512 {
namespace {

#define ZTK_SCAN_TARGET ZTK_AVX512
struct V : simd::avx512::ByteLanes {
  ZTK_AVX512 static reg count_equal(reg lanes, reg v, reg b) {
    return _mm512_mask_add_epi8(lanes, _mm512_cmpeq_epi8_mask(v, b), lanes, _mm512_set1_epi8(1));
  }
  ZTK_AVX512 static reg count_mask(reg lanes, mask m) {
    return _mm512_mask_add_epi8(lanes, m, lanes, _mm512_set1_epi8(1));
  }
  ZTK_AVX512 static uint64_t sum(reg lanes) {
    // By hand: gcc 12's own reduction reads an undefined register (a false warning).
    const __m512i s = _mm512_sad_epu8(lanes, _mm512_setzero_si512());
    const __m256i h = _mm256_add_epi64(_mm512_maskz_extracti64x4_epi64(0xFF, s, 0), _mm512_maskz_extracti64x4_epi64(0xFF, s, 1));
    const __m128i q = _mm_add_epi64(_mm256_castsi256_si128(h), _mm256_extracti128_si256(h, 1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(q)) + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(q, 8)));
  }
};
#include "text/byte_scan/blocks.inc"

}  // namespace

#include "text/byte_scan/wide_entries.inc"
#undef ZTK_SCAN_TARGET

// A needle of up to four bytes is counted by the AVX2 blocks: matched whole,
// it takes a load per byte of it a block, and 64-byte loads from anywhere
// span two cache lines each ("the" in prose, text or random bytes measured
// 7-11% slower here at 1 KiB and 1 MiB). A longer one keeps to two loads a
// block, where the wider blocks win (9% on text).
size_t count_short_or_long(ByteView in, ByteView needle) {
  return needle.size <= 4 ? avx2::kKernels.count_needle(in, needle) : count_needle(in, needle);
}

const Kernels kKernels = {find, copy_until, count, count_short_or_long, unescape};

}  // namespace ztk::scan::avx512
#endif  // ZTK_WIDE_VECTORS
