#include "codecs/hex/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::hex::avx512 {
namespace {

ZTK_AVX512 size_t encode_blocks(ByteView in, char *out) {
  const __m512i low4 = _mm512_set1_epi8(0x0F), nine = _mm512_set1_epi8(9);
  const __m512i zero = _mm512_set1_epi8('0'), seven = _mm512_set1_epi8(7);
  const __m512i firstHalf = _mm512_set_epi64(11, 10, 3, 2, 9, 8, 1, 0);
  const __m512i secondHalf = _mm512_set_epi64(15, 14, 7, 6, 13, 12, 5, 4);
  size_t i = 0;
  for (; i + 64 <= in.size; i += 64) {
    const __m512i v = _mm512_loadu_si512(in.data + i);
    const __m512i hn = _mm512_and_si512(_mm512_srli_epi16(v, 4), low4), ln = _mm512_and_si512(v, low4);
    const __m512i hi = _mm512_mask_add_epi8(_mm512_add_epi8(hn, zero), _mm512_cmpgt_epu8_mask(hn, nine),
                                            _mm512_add_epi8(hn, zero), seven);
    const __m512i lo = _mm512_mask_add_epi8(_mm512_add_epi8(ln, zero), _mm512_cmpgt_epu8_mask(ln, nine),
                                            _mm512_add_epi8(ln, zero), seven);
    const __m512i a = _mm512_unpacklo_epi8(hi, lo), b = _mm512_unpackhi_epi8(hi, lo);
    _mm512_storeu_si512(out + 2 * i, _mm512_permutex2var_epi64(a, firstHalf, b));
    _mm512_storeu_si512(out + 2 * i + 64, _mm512_permutex2var_epi64(a, secondHalf, b));
  }
  return i;
}

ZTK_AVX512 size_t decode_blocks(ByteView digits, uint8_t *out) {
  const __m512i nine = _mm512_set1_epi8(9), five = _mm512_set1_epi8(5);
  size_t i = 0;
  for (; i + 64 <= digits.size; i += 64) {
    const __m512i v = _mm512_loadu_si512(digits.data + i);
    const __m512i d = _mm512_sub_epi8(v, _mm512_set1_epi8('0'));
    const __m512i l = _mm512_sub_epi8(_mm512_or_si512(v, _mm512_set1_epi8(0x20)), _mm512_set1_epi8('a'));
    __m512i values = _mm512_maskz_mov_epi8(_mm512_cmple_epu8_mask(d, nine), d);
    values = _mm512_mask_add_epi8(values, _mm512_cmple_epu8_mask(l, five), l, _mm512_set1_epi8(10));
    const __m512i pairs = _mm512_or_si512(_mm512_and_si512(_mm512_slli_epi16(values, 4), _mm512_set1_epi16(0xF0)),
                                          _mm512_srli_epi16(values, 8));
    _mm512_mask_cvtepi16_storeu_epi8(out + i / 2, 0xFFFFFFFF, pairs);
  }
  return i;
}

void encode(ByteView in, char *out) {
  plain::encode_from(in, sse2::encode_blocks(in, encode_blocks(in, out), out), out);
}
void decode(ByteView digits, uint8_t *out) {
  plain::decode_from(digits, sse2::decode_blocks(digits, decode_blocks(digits, out), out), out);
}

}  // namespace

const Kernels kKernels = {encode, decode};

}  // namespace ztk::hex::avx512
#endif  // ZTK_WIDE_VECTORS
