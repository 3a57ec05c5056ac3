#include "codecs/html/levels.h"
#include "frame/simd.h"

#include <cstring>

#if ZTK_WIDE_VECTORS
namespace ztk::html::avx512 {
namespace {

// The units after the last whole block are read through a mask: no unit
// past the end is touched.
ZTK_AVX512 inline __mmask32 live_units(size_t left) {
  return left >= 32 ? ~__mmask32{0} : (__mmask32{1} << left) - 1;
}

// A text of 64 units or more is decoded by the 16-byte level, which narrows the
// units after an "&" and finds a name by one key compare: on pages it measured
// twice as fast as this walk over 32-unit blocks, which stays for short texts
// (no call, one block).
ZTK_AVX512 size_t decode(U16View in, uint16_t *out, uint16_t *outEnd) {
  if (in.size >= 64) return sse2::decode(in, out, outEnd);
  DecodeWalk w(in, out, outEnd);
  const __m512i amp = _mm512_set1_epi16('&');
  size_t i = 0;
  for (; i + 32 <= in.size; i += 32) {
    const __m512i v = _mm512_loadu_si512(in.data + i);
    const uint32_t amps = _mm512_cmpeq_epi16_mask(v, amp);
    if (amps == 0 && w.start == i) {
      _mm512_storeu_si512(w.out, v);
      w.clean(i);
      continue;
    }
    w.step(amps, i, 32);
  }
  if (i < in.size) {
    const __mmask32 live = live_units(in.size - i);
    const __m512i v = _mm512_maskz_loadu_epi16(live, in.data + i);
    w.step(_mm512_mask_cmpeq_epi16_mask(live, v, amp), i, in.size - i);
  }
  return w.finish();
}

template <bool kKeepASCII>
ZTK_AVX512 inline uint32_t kept_units(__m512i v) {
  const __mmask32 ascii = _mm512_cmplt_epu16_mask(v, _mm512_set1_epi16(0x80));
  if (kKeepASCII) return ascii;
  const __mmask32 markup = _mm512_cmpeq_epi16_mask(v, _mm512_set1_epi16('"')) |
                           _mm512_cmpeq_epi16_mask(v, _mm512_set1_epi16('&')) |
                           _mm512_cmpeq_epi16_mask(v, _mm512_set1_epi16('\'')) |
                           _mm512_cmpeq_epi16_mask(v, _mm512_set1_epi16('<')) |
                           _mm512_cmpeq_epi16_mask(v, _mm512_set1_epi16('>'));
  return ascii & ~markup;
}

// The reference of units[at], from 0x100 up, written at o; returns its
// length. Out of line and reading the unit itself, and a length rather than
// an end: the block loop then keeps no copy of each unit, and no address of
// its own, for the few that come here.
[[gnu::noinline]] ZTK_AVX512 size_t wide_reference(const uint16_t *units, size_t at, uint8_t *o) {
  return static_cast<size_t>(EncodeWalk::reference(units[at], o) - o);
}

template <bool kKeepASCII>
ZTK_AVX512 size_t encode(U16View in, size_t from, uint8_t *out) {
  // The block's bytes and 32 more, so that a 32-byte move from any of them
  // stays inside.
  alignas(32) uint8_t bytes[64] = {};
  uint8_t *o = out;
  for (size_t i = from; i < in.size; i += 32) {
    const size_t width = in.size - i < 32 ? in.size - i : 32;
    const __m512i v = _mm512_maskz_loadu_epi16(live_units(width), in.data + i);
    const uint32_t kept = kept_units<kKeepASCII>(v);  // units past the end are zeros: kept
    const __m256i narrow = _mm512_maskz_cvtepi16_epi8(~__mmask32{0}, v);  // gcc 12: the unmasked form reads an undefined register
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(o), narrow);
    if (kept == ~uint32_t{0}) {
      o += width;
      continue;
    }
    _mm256_store_si256(reinterpret_cast<__m256i *>(bytes), narrow);
    // The block's text is already out; each reference goes where its unit
    // would have been, and the text after it moves over what follows. The
    // text after unit j goes to next + j, next moved on by what each
    // reference adds: every load and store is at an offset from a pointer,
    // with no length between references to work out.
    const uint16_t *const units = in.data + i;
    uint64_t special = ~kept;
    const uint8_t *const textAfter = bytes + 1;
    uint8_t *next = o + 1;
    do {
      const size_t at = EncodeWalk::lowest_bit(special);
      const size_t unit = units[at];
      if (__builtin_expect(unit < 256, 1)) {
        const EncodeRow *row = kLatinRows.row + unit;
        std::memcpy(next - 1 + at, row, 16);
        next += row->length - 1;
      } else {
        next += wide_reference(units, at, next - 1 + at) - 1;
      }
      // The rest of the block: 32 bytes whatever is left.
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(next + at),
                          _mm256_loadu_si256(reinterpret_cast<const __m256i *>(textAfter + at)));
      special &= special - 1;
    } while (special != 0);
    o = next + width - 1;
  }
  return static_cast<size_t>(o - out);
}

ZTK_AVX512 size_t encode_any(U16View units, size_t from, bool keepASCII, uint8_t *out) {
  return keepASCII ? encode<true>(units, from, out) : encode<false>(units, from, out);
}

}  // namespace

const Kernels kKernels = {decode, encode_any};

}  // namespace ztk::html::avx512
#endif  // ZTK_WIDE_VECTORS
