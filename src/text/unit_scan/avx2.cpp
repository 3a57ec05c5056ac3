#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_WIDE_VECTORS
namespace ztk::units::avx2 {
namespace {

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

ZTK_AVX2 size_t find_blocks(U16View units, size_t from, const UnitSet &set) {
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

ZTK_AVX2 size_t mark_blocks(U16View units, const UnitSet &set, uint64_t *bits) {
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

ZTK_AVX2 size_t narrow_blocks(const uint16_t *in, size_t n, uint8_t *out) {
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

ZTK_AVX2 size_t widen_blocks(const uint8_t *in, size_t n, uint16_t *out) {
  size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i), _mm256_cvtepu8_epi16(v));
  }
  return i;
}

#include "text/unit_scan/wide_entries.inc"

}  // namespace

const Kernels kKernels = {find, mark, narrow, widen};

}  // namespace ztk::units::avx2
#endif  // ZTK_WIDE_VECTORS
