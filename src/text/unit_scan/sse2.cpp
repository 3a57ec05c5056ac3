#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_X86
namespace ztk::units::sse2 {
namespace {

// Lanes of 0xFFFF where the unit is in the set. SSE2 has no unsigned 16-bit
// compare: "x <= span" is "saturating x - span == 0".
struct Sse2Set {
  __m128i high, first, span, singles[5];
  int count;
  bool range;
  explicit Sse2Set(const UnitSet &s) : count(s.count), range(s.hasRange) {
    high = _mm_set1_epi16(static_cast<short>(s.highBits));
    first = _mm_set1_epi16(static_cast<short>(s.first));
    span = _mm_set1_epi16(static_cast<short>(s.span));
    for (int k = 0; k < 5; ++k) singles[k] = _mm_set1_epi16(static_cast<short>(s.singles[k]));
  }
  __m128i hits(__m128i v) const {
    const __m128i zero = _mm_setzero_si128();
    __m128i m = _mm_andnot_si128(_mm_cmpeq_epi16(_mm_and_si128(v, high), zero), _mm_set1_epi16(-1));
    if (range) m = _mm_or_si128(m, _mm_cmpeq_epi16(_mm_subs_epu16(_mm_sub_epi16(v, first), span), zero));
    for (int k = 0; k < count; ++k) m = _mm_or_si128(m, _mm_cmpeq_epi16(v, singles[k]));
    return m;
  }
};

}  // namespace

size_t find_blocks(U16View units, size_t from, const UnitSet &set) {
  const Sse2Set s(set);
  for (size_t i = from; i + 8 <= units.size; i += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(units.data + i));
    if (const int m = _mm_movemask_epi8(s.hits(v))) return i + static_cast<size_t>(__builtin_ctz(m)) / 2;
  }
  return units.size - (units.size - from) % 8;  // where the whole blocks ended
}

size_t mark_blocks(U16View units, size_t from, const UnitSet &set, uint64_t *bits) {
  const Sse2Set s(set);
  size_t i = from;
  for (; i + 64 <= units.size; i += 64) {
    uint64_t word = 0;
    for (unsigned k = 0; k < 64; k += 8) {
      const __m128i h = s.hits(_mm_loadu_si128(reinterpret_cast<const __m128i *>(units.data + i + k)));
      word |= static_cast<uint64_t>(_mm_movemask_epi8(_mm_packs_epi16(h, h)) & 0xFF) << k;
    }
    bits[i / 64] = word;
  }
  return i;
}

size_t narrow_blocks(const uint16_t *in, size_t n, size_t from, uint8_t *out) {
  const __m128i low = _mm_set1_epi16(0xFF);
  size_t i = from;
  for (; i + 16 <= n; i += 16) {
    const __m128i a = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i)), low);
    const __m128i b = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i + 8)), low);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_packus_epi16(a, b));
  }
  return i;
}

size_t widen_blocks(const uint8_t *in, size_t n, size_t from, uint16_t *out) {
  const __m128i zero = _mm_setzero_si128();
  size_t i = from;
  for (; i + 16 <= n; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i + 8), _mm_unpackhi_epi8(v, zero));
  }
  return i;
}

namespace {

size_t find(U16View units, size_t from, const UnitSet &set) {
  size_t at;
  if (plain::find_lead(units, from, set, at)) return at;
  return plain::find_from(units, find_blocks(units, at, set), set);
}

}  // namespace

const Kernels kKernels = {
    find,
    [](U16View units, const UnitSet &set, uint64_t *bits) {
      plain::mark_from(units, mark_blocks(units, 0, set, bits), set, bits);
    },
    [](const uint16_t *in, size_t n, uint8_t *out) { plain::narrow_from(in, n, narrow_blocks(in, n, 0, out), out); },
    [](const uint8_t *in, size_t n, uint16_t *out) { plain::widen_from(in, n, widen_blocks(in, n, 0, out), out); },
};

}  // namespace ztk::units::sse2
#endif  // ZTK_X86
