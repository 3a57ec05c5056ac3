#include "codecs/html/levels.h"
#include "frame/simd.h"

#include <cstring>

#if ZTK_WIDE_VECTORS
namespace ztk::html::avx2 {
namespace {

// One bit per unit of a and b (16 units each): the units whose lanes are all ones.
ZTK_AVX2 inline uint32_t bits_of(__m256i a, __m256i b) {
  // Packing works within 128-bit lanes: put the quarters back in order.
  return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), 0xD8)));
}

// A text of 64 units or more is decoded by the 16-byte level, which narrows the
// units after an "&" and finds a name by one key compare: on pages it measured
// twice as fast as this walk over 32-unit blocks, which stays for short texts
// (no call, one block).
ZTK_AVX2 size_t decode(U16View in, uint16_t *out, uint16_t *outEnd) {
  if (in.size >= 64) return sse2::decode(in, out, outEnd);
  DecodeWalk w(in, out, outEnd);
  const __m256i amp = _mm256_set1_epi16('&');
  size_t i = 0;
  for (; i + 32 <= in.size; i += 32) {
    const auto *p = reinterpret_cast<const __m256i *>(in.data + i);
    const __m256i a = _mm256_loadu_si256(p), b = _mm256_loadu_si256(p + 1);
    const uint32_t amps = bits_of(_mm256_cmpeq_epi16(a, amp), _mm256_cmpeq_epi16(b, amp));
    if (amps == 0 && w.start == i) {
      auto *o = reinterpret_cast<__m256i *>(w.out);
      _mm256_storeu_si256(o, a);
      _mm256_storeu_si256(o + 1, b);
      w.clean(i);
      continue;
    }
    w.step(amps, i, 32);
  }
  return plain::decode_from(w, i);
}

// Bytes of all ones for the five markup characters among 32 narrowed units
// (a unit from 0x80 up is marked anyway, whatever its byte became).
ZTK_AVX2 inline __m256i markup_bytes(__m256i b) {
  const __m256i quoteOrAmp = _mm256_or_si256(_mm256_cmpeq_epi8(b, _mm256_set1_epi8('"')),
                                             _mm256_cmpeq_epi8(b, _mm256_set1_epi8('&')));
  const __m256i aposOrLess = _mm256_or_si256(_mm256_cmpeq_epi8(b, _mm256_set1_epi8('\'')),
                                             _mm256_cmpeq_epi8(b, _mm256_set1_epi8('<')));
  return _mm256_or_si256(_mm256_or_si256(quoteOrAmp, aposOrLess), _mm256_cmpeq_epi8(b, _mm256_set1_epi8('>')));
}

// The reference of units[at], from 0x100 up, written at o; returns its
// length. Out of line and reading the unit itself, and a length rather than
// an end: the block loop then keeps no copy of each unit, and no address of
// its own, for the few that come here.
[[gnu::noinline]] ZTK_AVX2 size_t wide_reference(const uint16_t *units, size_t at, uint8_t *o) {
  return static_cast<size_t>(EncodeWalk::reference(units[at], o) - o);
}

template <bool kKeepASCII>
ZTK_AVX2 size_t encode(U16View in, size_t from, uint8_t *out) {
  EncodeWalk w(in.data, out);
  // The block's bytes and 32 more, so that a 32-byte move from any of them
  // stays inside.
  alignas(32) uint8_t bytes[64] = {};
  const uint16_t *p = in.data + from;
  uint8_t *o = out;
  for (const uint16_t *const end = p + (in.size - from) / 32 * 32; p != end; p += 32) {
    const auto *v = reinterpret_cast<const __m256i *>(p);
    const __m256i a = _mm256_loadu_si256(v), b = _mm256_loadu_si256(v + 1);
    // Packing works within 128-bit lanes: put the quarters back in order.
    const __m256i narrow = _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
    // A unit below 0x80 is the same byte under both saturations; any other
    // becomes 0x7F or 0x80 under the signed one and 0xFF, 0x00 or itself
    // under the unsigned one.
    __m256i kept = _mm256_cmpeq_epi8(_mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), 0xD8), narrow);
    if (!kKeepASCII) kept = _mm256_andnot_si256(markup_bytes(narrow), kept);
    const auto marked = ~static_cast<uint32_t>(_mm256_movemask_epi8(kept));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(o), narrow);
    if (marked == 0) {
      o += 32;
      continue;
    }
    _mm256_store_si256(reinterpret_cast<__m256i *>(bytes), narrow);
    // The block's text is already out; each reference goes where its unit
    // would have been, and the text after it moves over what follows. The
    // text after unit j goes to next + j, next moved on by what each
    // reference adds: every load and store is at an offset from a pointer,
    // with no length between references to work out.
    uint64_t special = marked;
    const uint8_t *const textAfter = bytes + 1;
    uint8_t *next = o + 1;
    do {
      const size_t at = EncodeWalk::lowest_bit(special);
      const size_t unit = p[at];
      if (__builtin_expect(unit < 256, 1)) {
        const EncodeRow *row = kLatinRows.row + unit;
        std::memcpy(next - 1 + at, row, 16);
        next += row->length - 1;
      } else {
        next += wide_reference(p, at, next - 1 + at) - 1;
      }
      // The rest of the block: 32 bytes whatever is left.
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(next + at),
                          _mm256_loadu_si256(reinterpret_cast<const __m256i *>(textAfter + at)));
      special &= special - 1;
    } while (special != 0);
    o = next + 31;
  }
  w.out = o;
  return plain::encode_from(w, in, static_cast<size_t>(p - in.data), kKeepASCII);
}

}  // namespace

ZTK_AVX2 size_t encode_any(U16View units, size_t from, bool keepASCII, uint8_t *out) {
  return keepASCII ? encode<true>(units, from, out) : encode<false>(units, from, out);
}

const Kernels kKernels = {decode, encode_any};

}  // namespace ztk::html::avx2
#endif  // ZTK_WIDE_VECTORS
