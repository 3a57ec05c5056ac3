#include "codecs/code_pages/levels.h"
#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_WIDE_VECTORS
namespace ztk::codepage::avx512 {
namespace {

// 32 widened bytes, those in 0x80-0x9F replaced by the page's entries `c1`
// with one word permute.
ZTK_AVX512 inline __m512i map_c1(__m512i w, __m512i c1) {
  const __m512i index = _mm512_sub_epi16(w, _mm512_set1_epi16(0x80));
  return _mm512_mask_permutexvar_epi16(w, _mm512_cmple_epu16_mask(index, _mm512_set1_epi16(31)), index, c1);
}

// 32 bytes a step. The units before the output's first 64-byte boundary go
// in one masked step, so that every later store fills one cache line: a long
// output lands in memory the cache no longer holds, where a store across two
// lines costs two line fills.
ZTK_AVX512 size_t decode_blocks(const Table &table, ByteView bytes, uint16_t *out) {
  const __m512i c1 = _mm512_loadu_si512(table.data() + 0x80);
  size_t i = (64 - (reinterpret_cast<uintptr_t>(out) & 63)) / 2 % 32;
  if (i + 32 > bytes.size) return 0;
  if (i > 0) {
    const __mmask32 head = (__mmask32{1} << i) - 1;
    _mm512_mask_storeu_epi16(out, head, map_c1(_mm512_cvtepu8_epi16(_mm256_maskz_loadu_epi8(head, bytes.data)), c1));
  }
  for (; i + 32 <= bytes.size; i += 32) {
    const __m512i w = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i)));
    _mm512_store_si512(out + i, map_c1(w, c1));
  }
  return i;
}

}  // namespace

void decode(const Table &table, ByteView bytes, uint16_t *out) {
  plain::decode_from(table, bytes, decode_blocks(table, bytes, out), out, units::avx512::kKernels.widen);
}

const Kernels kKernels = {
    // The AVX2 level's one pass: narrowing and marking in two passes of 64
    // units cost more than one of 32.
    avx2::encode,
    decode,
};

}  // namespace ztk::codepage::avx512
#endif  // ZTK_WIDE_VECTORS
