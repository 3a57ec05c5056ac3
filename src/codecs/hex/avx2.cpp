#include "codecs/hex/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::hex::avx2 {
namespace {

ZTK_AVX2 inline __m256i digits_of(__m256i n) {
  const __m256i letters = _mm256_and_si256(_mm256_cmpgt_epi8(n, _mm256_set1_epi8(9)), _mm256_set1_epi8(7));
  return _mm256_add_epi8(_mm256_add_epi8(n, _mm256_set1_epi8('0')), letters);
}

ZTK_AVX2 size_t encode_blocks(ByteView in, char *out) {
  const __m256i low4 = _mm256_set1_epi8(0x0F);
  size_t i = 0;
  for (; i + 32 <= in.size; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in.data + i));
    const __m256i hi = digits_of(_mm256_and_si256(_mm256_srli_epi16(v, 4), low4));
    const __m256i lo = digits_of(_mm256_and_si256(v, low4));
    // Unpacking works within 128-bit lanes: put the lanes back in order.
    const __m256i first = _mm256_unpacklo_epi8(hi, lo), second = _mm256_unpackhi_epi8(hi, lo);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + 2 * i), _mm256_permute2x128_si256(first, second, 0x20));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + 2 * i + 32),
                        _mm256_permute2x128_si256(first, second, 0x31));
  }
  return i;
}

ZTK_AVX2 inline __m256i values_of(__m256i v) {
  const __m256i d = _mm256_sub_epi8(v, _mm256_set1_epi8('0'));
  const __m256i isDigit = _mm256_cmpeq_epi8(_mm256_min_epu8(d, _mm256_set1_epi8(9)), d);
  const __m256i l = _mm256_sub_epi8(_mm256_or_si256(v, _mm256_set1_epi8(0x20)), _mm256_set1_epi8('a'));
  const __m256i isLetter = _mm256_cmpeq_epi8(_mm256_min_epu8(l, _mm256_set1_epi8(5)), l);
  return _mm256_or_si256(_mm256_and_si256(isDigit, d),
                         _mm256_and_si256(isLetter, _mm256_add_epi8(l, _mm256_set1_epi8(10))));
}

ZTK_AVX2 inline __m256i pairs_of(__m256i values) {
  return _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi16(values, 4), _mm256_set1_epi16(0xF0)),
                         _mm256_srli_epi16(values, 8));
}

ZTK_AVX2 size_t decode_blocks(ByteView digits, uint8_t *out) {
  size_t i = 0;
  for (; i + 64 <= digits.size; i += 64) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(digits.data + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(digits.data + i + 32));
    const __m256i packed = _mm256_packus_epi16(pairs_of(values_of(a)), pairs_of(values_of(b)));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i / 2), _mm256_permute4x64_epi64(packed, 0xD8));
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

}  // namespace ztk::hex::avx2
#endif  // ZTK_WIDE_VECTORS
