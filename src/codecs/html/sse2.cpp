#include "codecs/html/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::html::sse2 {
namespace {

// One bit per unit of a and b: the units whose lanes are all ones.
inline uint32_t bits_of(__m128i a, __m128i b) {
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(a, b)));
}

}  // namespace

size_t decode(U16View in, uint16_t *out, uint16_t *outEnd) {
  DecodeWalk w(in, out, outEnd);
  const __m128i amp = _mm_set1_epi16('&');
  const __m128i semi = _mm_set1_epi8(';');
  // The eight units after an "&" as bytes, saturated: a unit above 0xFF
  // becomes 0x00 or 0xFF, which no name holds and which is no ";".
  const auto narrow = [&in, semi](size_t at) {
    const __m128i b = _mm_packus_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in.data + at + 1)),
                                       _mm_setzero_si128());
    DecodeWalk::Narrowed name;
    _mm_storel_epi64(reinterpret_cast<__m128i *>(&name.bytes), b);
    name.semis = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(b, semi))) & 0x7F;
    return name;
  };
  size_t i = 0;
  for (; i + 64 <= in.size; i += 32) {
    const auto *p = reinterpret_cast<const __m128i *>(in.data + i);
    const __m128i a = _mm_loadu_si128(p), b = _mm_loadu_si128(p + 1);
    const __m128i c = _mm_loadu_si128(p + 2), d = _mm_loadu_si128(p + 3);
    const uint32_t amps = bits_of(_mm_cmpeq_epi16(a, amp), _mm_cmpeq_epi16(b, amp)) |
                          bits_of(_mm_cmpeq_epi16(c, amp), _mm_cmpeq_epi16(d, amp)) << 16;
    if (amps == 0 && w.start == i) {
      auto *o = reinterpret_cast<__m128i *>(w.out);
      _mm_storeu_si128(o, a);
      _mm_storeu_si128(o + 1, b);
      _mm_storeu_si128(o + 2, c);
      _mm_storeu_si128(o + 3, d);
      w.clean(i);
      continue;
    }
    w.step_inside(amps, i, narrow);
  }
  for (; i + 32 <= in.size; i += 32) {
    const auto *p = reinterpret_cast<const __m128i *>(in.data + i);
    const __m128i a = _mm_loadu_si128(p), b = _mm_loadu_si128(p + 1);
    const __m128i c = _mm_loadu_si128(p + 2), d = _mm_loadu_si128(p + 3);
    const uint32_t amps = bits_of(_mm_cmpeq_epi16(a, amp), _mm_cmpeq_epi16(b, amp)) |
                          bits_of(_mm_cmpeq_epi16(c, amp), _mm_cmpeq_epi16(d, amp)) << 16;
    if (amps == 0 && w.start == i) {
      auto *o = reinterpret_cast<__m128i *>(w.out);
      _mm_storeu_si128(o, a);
      _mm_storeu_si128(o + 1, b);
      _mm_storeu_si128(o + 2, c);
      _mm_storeu_si128(o + 3, d);
      w.clean(i);
      continue;
    }
    w.step(amps, i, 32);
  }
  return plain::decode_from(w, i);
}

namespace {

// Bytes of all ones for the five markup characters among 16 narrowed units
// (a unit from 0x80 up is marked anyway, whatever its byte became).
inline __m128i markup_bytes(__m128i b) {
  // "&" and "'" differ only in bit 0, "<" and ">" only in bit 1: three
  // compares for the five.
  const __m128i ampOrApos = _mm_cmpeq_epi8(_mm_or_si128(b, _mm_set1_epi8(1)), _mm_set1_epi8('\''));
  const __m128i angle = _mm_cmpeq_epi8(_mm_or_si128(b, _mm_set1_epi8(2)), _mm_set1_epi8('>'));
  return _mm_or_si128(_mm_or_si128(ampOrApos, angle), _mm_cmpeq_epi8(b, _mm_set1_epi8('"')));
}

template <bool kKeepASCII>
size_t encode(U16View in, size_t from, uint8_t *out) {
  EncodeWalk w(in.data, out);
  alignas(16) uint8_t bytes[48] = {};
  size_t i = from;
  for (; i + 32 <= in.size; i += 32) {
    const auto *p = reinterpret_cast<const __m128i *>(in.data + i);
    const __m128i a = _mm_loadu_si128(p), b = _mm_loadu_si128(p + 1);
    const __m128i c = _mm_loadu_si128(p + 2), d = _mm_loadu_si128(p + 3);
    const __m128i low = _mm_packus_epi16(a, b), high = _mm_packus_epi16(c, d);
    // A unit below 0x80 is the same byte under both saturations; any other
    // becomes 0x7F or 0x80 under the signed one and 0xFF, 0x00 or itself
    // under the unsigned one.
    __m128i plainLow = _mm_cmpeq_epi8(_mm_packs_epi16(a, b), low);
    __m128i plainHigh = _mm_cmpeq_epi8(_mm_packs_epi16(c, d), high);
    if (!kKeepASCII) {
      plainLow = _mm_andnot_si128(markup_bytes(low), plainLow);
      plainHigh = _mm_andnot_si128(markup_bytes(high), plainHigh);
    }
    const uint32_t special = ~(static_cast<uint32_t>(_mm_movemask_epi8(plainLow)) |
                               static_cast<uint32_t>(_mm_movemask_epi8(plainHigh)) << 16);
    if (special == 0) {
      _mm_storeu_si128(reinterpret_cast<__m128i *>(w.out), low);
      _mm_storeu_si128(reinterpret_cast<__m128i *>(w.out + 16), high);
      w.out += 32;
      continue;
    }
    _mm_store_si128(reinterpret_cast<__m128i *>(bytes), low);
    _mm_store_si128(reinterpret_cast<__m128i *>(bytes + 16), high);
    w.step(special, bytes, i, 32);
  }
  return plain::encode_from(w, in, i, kKeepASCII);
}

}  // namespace

const Kernels kKernels = {
    decode,
    [](U16View units, size_t from, bool keepASCII, uint8_t *out) {
      return keepASCII ? encode<true>(units, from, out) : encode<false>(units, from, out);
    },
};

}  // namespace ztk::html::sse2
#endif  // ZTK_X86
