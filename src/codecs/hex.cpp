#include "codecs/hex.h"

#include "frame/cpu.h"
#include "frame/simd.h"

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/ascii.h"
#include "text/rb_text.h"

namespace ztk::hex {
namespace {

void encode_plain(ByteView in, size_t from, char *out) {
  for (size_t i = from; i < in.size; ++i) ascii::put_hex(out + 2 * i, in[i]);
}

// Every hex digit d becomes its ASCII byte: '0' + d, plus 7 from 10 on.
void decode_plain(ByteView digits, size_t from, uint8_t *out) {
  for (size_t i = from; i + 1 < digits.size; i += 2) {
    out[i / 2] = static_cast<uint8_t>(ascii::hex_value(digits[i]) << 4 | ascii::hex_value(digits[i + 1]));
  }
}

#if ZTK_X86
// The digit bytes of 16 nibbles: '0' + n, and 7 more where n > 9.
inline __m128i digits_of(__m128i n) {
  const __m128i letters = _mm_and_si128(_mm_cmpgt_epi8(n, _mm_set1_epi8(9)), _mm_set1_epi8(7));
  return _mm_add_epi8(_mm_add_epi8(n, _mm_set1_epi8('0')), letters);
}

size_t encode_sse2(ByteView in, size_t from, char *out) {
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

size_t decode_sse2(ByteView digits, size_t from, uint8_t *out) {
  size_t i = from;
  for (; i + 32 <= digits.size; i += 32) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(digits.data + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(digits.data + i + 16));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i / 2),
                     _mm_packus_epi16(pairs_of(values_of(a)), pairs_of(values_of(b))));
  }
  return i;
}

#if ZTK_WIDE_VECTORS
ZTK_AVX2 inline __m256i digits_of(__m256i n) {
  const __m256i letters = _mm256_and_si256(_mm256_cmpgt_epi8(n, _mm256_set1_epi8(9)), _mm256_set1_epi8(7));
  return _mm256_add_epi8(_mm256_add_epi8(n, _mm256_set1_epi8('0')), letters);
}

ZTK_AVX2 size_t encode_avx2(ByteView in, char *out) {
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

ZTK_AVX2 size_t decode_avx2(ByteView digits, uint8_t *out) {
  size_t i = 0;
  for (; i + 64 <= digits.size; i += 64) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(digits.data + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(digits.data + i + 32));
    const __m256i packed = _mm256_packus_epi16(pairs_of(values_of(a)), pairs_of(values_of(b)));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i / 2), _mm256_permute4x64_epi64(packed, 0xD8));
  }
  return i;
}

ZTK_AVX512 size_t encode_avx512(ByteView in, char *out) {
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

ZTK_AVX512 size_t decode_avx512(ByteView digits, uint8_t *out) {
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
#endif  // ZTK_WIDE_VECTORS
#endif  // ZTK_X86

#if ZTK_NEON
// A table lookup gives each nibble its digit in one instruction, and the
// interleaving store puts every high digit before its low one.
size_t encode_neon(ByteView in, size_t from, char *out) {
  const uint8x16_t digits = vld1q_u8(reinterpret_cast<const uint8_t *>(ascii::kHexDigits));
  const uint8x16_t low4 = vdupq_n_u8(0x0F);
  size_t i = from;
  for (; i + 16 <= in.size; i += 16) {
    const uint8x16_t v = vld1q_u8(in.data + i);
    uint8x16x2_t pair;
    pair.val[0] = vqtbl1q_u8(digits, vshrq_n_u8(v, 4));
    pair.val[1] = vqtbl1q_u8(digits, vandq_u8(v, low4));
    vst2q_u8(reinterpret_cast<uint8_t *>(out) + 2 * i, pair);
  }
  return i;
}

// The values of the bytes 0x30-0x6F, from '0' on: a lookup past the table's 64
// bytes gives 0, which is what a byte that is no hex digit stands for, and the
// bytes below '0' wrap around to such indexes.
constexpr uint8_t kFromZero[64] = {
    0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 0, 0, 0,  // 0x30
    0, 10, 11, 12, 13, 14, 15, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x40
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x50
    0, 10, 11, 12, 13, 14, 15, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x60
};

// The de-interleaving load splits 32 digits into high and low ones, so each
// output byte is one shift-and-insert of two looked-up values.
size_t decode_neon(ByteView digits, size_t from, uint8_t *out) {
  const uint8x16x4_t table = {
      {vld1q_u8(kFromZero), vld1q_u8(kFromZero + 16), vld1q_u8(kFromZero + 32), vld1q_u8(kFromZero + 48)}};
  const uint8x16_t zero = vdupq_n_u8('0');
  size_t i = from;
  for (; i + 32 <= digits.size; i += 32) {
    const uint8x16x2_t v = vld2q_u8(digits.data + i);
    const uint8x16_t hi = vqtbl4q_u8(table, vsubq_u8(v.val[0], zero));
    const uint8x16_t lo = vqtbl4q_u8(table, vsubq_u8(v.val[1], zero));
    vst1q_u8(out + i / 2, vsliq_n_u8(lo, hi, 4));
  }
  return i;
}
#endif  // ZTK_NEON

// The 16-byte level: SSE2 on x86, NEON on arm64, nothing elsewhere.
#if ZTK_X86
#define ZTK_ENCODE_BASE(...) [&](size_t done) { return encode_sse2(__VA_ARGS__); }
#define ZTK_DECODE_BASE(...) [&](size_t done) { return decode_sse2(__VA_ARGS__); }
#elif ZTK_NEON
#define ZTK_ENCODE_BASE(...) [&](size_t done) { return encode_neon(__VA_ARGS__); }
#define ZTK_DECODE_BASE(...) [&](size_t done) { return decode_neon(__VA_ARGS__); }
#else
#define ZTK_ENCODE_BASE(...) ::ztk::simd::Absent{}
#define ZTK_DECODE_BASE(...) ::ztk::simd::Absent{}
#endif

}  // namespace

void encode_reference(ByteView in, char *out) { encode_plain(in, 0, out); }
void decode_reference(ByteView digits, uint8_t *out) { decode_plain(digits, 0, out); }

void encode(ByteView in, char *out) {
  simd::run_levels(ZTK_IF_WIDE([&](size_t) { return encode_avx512(in, out); }),
                   ZTK_IF_WIDE([&](size_t) { return encode_avx2(in, out); }),
                   ZTK_ENCODE_BASE(in, done, out),
                   [&](size_t done) { encode_plain(in, done, out); });
}

void decode(ByteView digits, uint8_t *out) {
  simd::run_levels(ZTK_IF_WIDE([&](size_t) { return decode_avx512(digits, out); }),
                   ZTK_IF_WIDE([&](size_t) { return decode_avx2(digits, out); }),
                   ZTK_DECODE_BASE(digits, done, out),
                   [&](size_t done) { decode_plain(digits, done, out); });
}

}  // namespace ztk::hex

REALstring EncodingToHex(REALstring s) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const uint64_t size = 2 * uint64_t(in.view().size);
  if (in.view().empty() || !ztk::mem::size_ok(size)) return nullptr;
  char *out = static_cast<char *>(ztk::mem::alloc(size));
  if (out == nullptr) return nullptr;
  ztk::hex::encode(in.view(), out);
  REALstring result = ztk::BuildString(out, static_cast<int64_t>(size), enc::kASCII);
  ztk::mem::release(out);
  return result;
}

// Serves DecodingFromHexZTK (the handler keeps its historical name).
REALstring DecodingToHex(REALstring s) {
  rbText text(s);
  const ztk::ByteView digits = text.ascii();
  if (digits.size < 2) return nullptr;
  const size_t size = digits.size / 2;
  auto *out = static_cast<uint8_t *>(ztk::mem::alloc(size));
  if (out == nullptr) return nullptr;
  ztk::hex::decode(digits, out);
  REALstring result = ztk::BuildRawBytes({out, size});
  ztk::mem::release(out);
  return result;
}
