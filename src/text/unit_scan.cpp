#include "text/unit_scan.h"

#include "frame/simd.h"

namespace ztk::units {

size_t find_reference(U16View units, size_t from, const UnitSet &set) {
  for (size_t i = from; i < units.size; ++i) {
    if (set.contains(units[i])) return i;
  }
  return units.size;
}

void mark_reference(U16View units, const UnitSet &set, uint64_t *bits) {
  for (size_t w = 0; w < (units.size + 63) / 64; ++w) bits[w] = 0;
  for (size_t i = 0; i < units.size; ++i) {
    if (set.contains(units[i])) bits[i / 64] |= uint64_t{1} << (i % 64);
  }
}

void narrow_reference(const uint16_t *in, size_t n, uint8_t *out) {
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(in[i]);
}

void widen_reference(const uint8_t *in, size_t n, uint16_t *out) {
  for (size_t i = 0; i < n; ++i) out[i] = in[i];
}

namespace {

// The first bytes are looked at one at a time: runs between special units are
// often short, and setting up the vector test would cost more.
constexpr size_t kLead = 8;

size_t find_plain(U16View units, size_t from, const UnitSet &set) { return find_reference(units, from, set); }

#if ZTK_X86
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

size_t find_sse2(U16View units, size_t from, const UnitSet &set) {
  const Sse2Set s(set);
  for (size_t i = from; i + 8 <= units.size; i += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(units.data + i));
    if (const int m = _mm_movemask_epi8(s.hits(v))) return i + static_cast<size_t>(__builtin_ctz(m)) / 2;
  }
  return units.size - (units.size - from) % 8;  // where the whole blocks ended
}

// Whole words of 64 units from `from` (a multiple of 64); answers where they end.
size_t mark_sse2(U16View units, size_t from, const UnitSet &set, uint64_t *bits) {
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

size_t narrow_sse2(const uint16_t *in, size_t n, uint8_t *out) {
  const __m128i low = _mm_set1_epi16(0xFF);
  size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m128i a = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i)), low);
    const __m128i b = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i + 8)), low);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_packus_epi16(a, b));
  }
  return i;
}

size_t widen_sse2(const uint8_t *in, size_t n, uint16_t *out) {
  const __m128i zero = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i + 8), _mm_unpackhi_epi8(v, zero));
  }
  return i;
}

#if ZTK_WIDE_VECTORS
struct Avx2Set {
  __m256i high, first, span, singles[5];
  int count;
  bool range;
  ZTK_AVX2 explicit Avx2Set(const UnitSet &s) : count(s.count), range(s.hasRange) {
    high = _mm256_set1_epi16(static_cast<short>(s.highBits));
    first = _mm256_set1_epi16(static_cast<short>(s.first));
    span = _mm256_set1_epi16(static_cast<short>(s.span));
    for (int k = 0; k < 5; ++k) singles[k] = _mm256_set1_epi16(static_cast<short>(s.singles[k]));
  }
  ZTK_AVX2 __m256i hits(__m256i v) const {
    const __m256i zero = _mm256_setzero_si256();
    __m256i m = _mm256_andnot_si256(_mm256_cmpeq_epi16(_mm256_and_si256(v, high), zero), _mm256_set1_epi16(-1));
    if (range) {
      m = _mm256_or_si256(m, _mm256_cmpeq_epi16(_mm256_subs_epu16(_mm256_sub_epi16(v, first), span), zero));
    }
    for (int k = 0; k < count; ++k) m = _mm256_or_si256(m, _mm256_cmpeq_epi16(v, singles[k]));
    return m;
  }
};

ZTK_AVX2 size_t find_avx2(U16View units, size_t from, const UnitSet &set) {
  const Avx2Set s(set);
  size_t i = from;
  for (; i + 16 <= units.size; i += 16) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(units.data + i));
    if (const auto m = static_cast<uint32_t>(_mm256_movemask_epi8(s.hits(v)))) {
      return i + static_cast<size_t>(__builtin_ctz(m)) / 2;
    }
  }
  return i;
}

ZTK_AVX2 size_t mark_avx2(U16View units, const UnitSet &set, uint64_t *bits) {
  const Avx2Set s(set);
  size_t i = 0;
  for (; i + 64 <= units.size; i += 64) {
    uint64_t word = 0;
    for (unsigned k = 0; k < 64; k += 32) {
      const __m256i a = s.hits(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(units.data + i + k)));
      const __m256i b = s.hits(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(units.data + i + k + 16)));
      // packs works within 128-bit lanes: the quarters come out as a0 b0 a1 b1.
      const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), 0xD8);
      word |= static_cast<uint64_t>(static_cast<uint32_t>(_mm256_movemask_epi8(bytes))) << k;
    }
    bits[i / 64] = word;
  }
  return i;
}

ZTK_AVX2 size_t narrow_avx2(const uint16_t *in, size_t n, uint8_t *out) {
  const __m256i low = _mm256_set1_epi16(0xFF);
  size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    const __m256i a = _mm256_and_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(in + i)), low);
    const __m256i b = _mm256_and_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(in + i + 16)), low);
    // packus works within 128-bit lanes: the quarters come out as a0 b0 a1 b1.
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i),
                        _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8));
  }
  return i;
}

ZTK_AVX2 size_t widen_avx2(const uint8_t *in, size_t n, uint16_t *out) {
  size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i), _mm256_cvtepu8_epi16(v));
  }
  return i;
}

ZTK_AVX512 size_t find_avx512(U16View units, size_t from, const UnitSet &set) {
  const __m512i high = _mm512_set1_epi16(static_cast<short>(set.highBits));
  const __m512i first = _mm512_set1_epi16(static_cast<short>(set.first));
  const __m512i span = _mm512_set1_epi16(static_cast<short>(set.span));
  __m512i singles[5];
  for (int k = 0; k < 5; ++k) singles[k] = _mm512_set1_epi16(static_cast<short>(set.singles[k]));
  size_t i = from;
  for (; i + 32 <= units.size; i += 32) {
    const __m512i v = _mm512_loadu_si512(units.data + i);
    __mmask32 m = _mm512_test_epi16_mask(v, high);
    if (set.hasRange) m |= _mm512_cmple_epu16_mask(_mm512_sub_epi16(v, first), span);
    for (int k = 0; k < set.count; ++k) m |= _mm512_cmpeq_epi16_mask(v, singles[k]);
    if (m != 0) return i + static_cast<size_t>(__builtin_ctz(m));
  }
  return i;
}

ZTK_AVX512 size_t mark_avx512(U16View units, const UnitSet &set, uint64_t *bits) {
  const __m512i high = _mm512_set1_epi16(static_cast<short>(set.highBits));
  const __m512i first = _mm512_set1_epi16(static_cast<short>(set.first));
  const __m512i span = _mm512_set1_epi16(static_cast<short>(set.span));
  __m512i singles[5];
  for (int k = 0; k < 5; ++k) singles[k] = _mm512_set1_epi16(static_cast<short>(set.singles[k]));
  size_t i = 0;
  for (; i + 64 <= units.size; i += 64) {
    uint64_t word = 0;
    for (unsigned k = 0; k < 64; k += 32) {
      const __m512i v = _mm512_loadu_si512(units.data + i + k);
      __mmask32 m = _mm512_test_epi16_mask(v, high);
      if (set.hasRange) m |= _mm512_cmple_epu16_mask(_mm512_sub_epi16(v, first), span);
      for (int j = 0; j < set.count; ++j) m |= _mm512_cmpeq_epi16_mask(v, singles[j]);
      word |= static_cast<uint64_t>(m) << k;
    }
    bits[i / 64] = word;
  }
  return i;
}

ZTK_AVX512 size_t narrow_avx512(const uint16_t *in, size_t n, uint8_t *out) {
  size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i), _mm512_maskz_cvtepi16_epi8(~__mmask32{0}, _mm512_loadu_si512(in + i)));
  }
  return i;
}

ZTK_AVX512 size_t widen_avx512(const uint8_t *in, size_t n, uint16_t *out) {
  size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in + i));
    _mm512_storeu_si512(out + i, _mm512_cvtepu8_epi16(v));
  }
  return i;
}
#endif
#endif

}  // namespace

size_t find(U16View units, size_t from, const UnitSet &set) {
  const size_t lead = units.size - from > kLead ? from + kLead : units.size;
  for (size_t i = from; i < lead; ++i) {
    if (set.contains(units[i])) return i;
  }
  if (lead == units.size) return lead;
  // A level that finds the unit returns its index; the levels after it start
  // there and stop at once.
  return simd::run_levels(ZTK_IF_WIDE([&](size_t) { return find_avx512(units, lead, set); }),
                          ZTK_IF_WIDE([&](size_t) { return find_avx2(units, lead, set); }),
                          ZTK_IF_X86([&](size_t done) { return find_sse2(units, done > lead ? done : lead, set); }),
                          [&](size_t done) { return find_plain(units, done > lead ? done : lead, set); });
}

void mark(U16View units, const UnitSet &set, uint64_t *bits) {
  // The levels fill whole words; the plain loop the last, partial one.
  const size_t done =
      simd::run_levels(ZTK_IF_WIDE([&](size_t) { return mark_avx512(units, set, bits); }),
                       ZTK_IF_WIDE([&](size_t) { return mark_avx2(units, set, bits); }),
                       ZTK_IF_X86([&](size_t from) { return mark_sse2(units, from, set, bits); }),
                       [&](size_t from) { return from; });
  mark_reference({units.data + done, units.size - done}, set, bits + done / 64);
}

void narrow(const uint16_t *in, size_t n, uint8_t *out) {
  simd::run_levels(ZTK_IF_WIDE([&](size_t) { return narrow_avx512(in, n, out); }),
                   ZTK_IF_WIDE([&](size_t) { return narrow_avx2(in, n, out); }),
                   ZTK_IF_X86([&](size_t done) { return done + narrow_sse2(in + done, n - done, out + done); }),
                   [&](size_t done) { narrow_reference(in + done, n - done, out + done); });
}

void widen(const uint8_t *in, size_t n, uint16_t *out) {
  simd::run_levels(ZTK_IF_WIDE([&](size_t) { return widen_avx512(in, n, out); }),
                   ZTK_IF_WIDE([&](size_t) { return widen_avx2(in, n, out); }),
                   ZTK_IF_X86([&](size_t done) { return done + widen_sse2(in + done, n - done, out + done); }),
                   [&](size_t done) { widen_reference(in + done, n - done, out + done); });
}

}  // namespace ztk::units
