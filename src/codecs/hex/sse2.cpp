#include "codecs/hex/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::hex::sse2 {
namespace {

// The digit bytes of 16 nibbles: '0' + n, and 7 more where n > 9.
inline __m128i digits_of(__m128i n) {
  const __m128i letters = _mm_and_si128(_mm_cmpgt_epi8(n, _mm_set1_epi8(9)), _mm_set1_epi8(7));
  return _mm_add_epi8(_mm_add_epi8(n, _mm_set1_epi8('0')), letters);
}

// The values of 16 hex digit bytes; any other byte is 0.
inline __m128i values_of(__m128i v) {
  const __m128i d = _mm_sub_epi8(v, _mm_set1_epi8('0'));
  const __m128i isDigit = _mm_cmpeq_epi8(_mm_min_epu8(d, _mm_set1_epi8(9)), d);
  const __m128i l = _mm_sub_epi8(_mm_or_si128(v, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
  const __m128i isLetter = _mm_cmpeq_epi8(_mm_min_epu8(l, _mm_set1_epi8(5)), l);
  return _mm_or_si128(_mm_and_si128(isDigit, d), _mm_and_si128(isLetter, _mm_add_epi8(l, _mm_set1_epi8(10))));
}

// Pairs of values (high nibble first) as 16-bit lanes holding one byte each.
inline __m128i pairs_of(__m128i values) {
  return _mm_or_si128(_mm_and_si128(_mm_slli_epi16(values, 4), _mm_set1_epi16(0xF0)), _mm_srli_epi16(values, 8));
}

}  // namespace

size_t encode_blocks(ByteView in, size_t from, char *out) {
  const __m128i low4 = _mm_set1_epi8(0x0F);
  size_t i = from;
  for (; i + 16 <= in.size; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in.data + i));
    const __m128i hi = digits_of(_mm_and_si128(_mm_srli_epi16(v, 4), low4));
    const __m128i lo = digits_of(_mm_and_si128(v, low4));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 2 * i), _mm_unpacklo_epi8(hi, lo));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 2 * i + 16), _mm_unpackhi_epi8(hi, lo));
  }
  return i;
}

size_t decode_blocks(ByteView digits, size_t from, uint8_t *out) {
  size_t i = from;
  for (; i + 32 <= digits.size; i += 32) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(digits.data + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(digits.data + i + 16));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i / 2),
                     _mm_packus_epi16(pairs_of(values_of(a)), pairs_of(values_of(b))));
  }
  return i;
}

const Kernels kKernels = {
    [](ByteView in, char *out) { plain::encode_from(in, encode_blocks(in, 0, out), out); },
    [](ByteView digits, uint8_t *out) { plain::decode_from(digits, decode_blocks(digits, 0, out), out); },
};

}  // namespace ztk::hex::sse2
#endif  // ZTK_X86
