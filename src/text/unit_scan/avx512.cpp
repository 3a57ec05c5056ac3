#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_WIDE_VECTORS
namespace ztk::units::avx512 {
namespace {

ZTK_AVX512 size_t find_blocks(U16View units, size_t from, const UnitSet &set) {
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

ZTK_AVX512 size_t mark_blocks(U16View units, const UnitSet &set, uint64_t *bits) {
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

ZTK_AVX512 size_t narrow_blocks(const uint16_t *in, size_t n, uint8_t *out) {
  size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i),
                        _mm512_maskz_cvtepi16_epi8(~__mmask32{0}, _mm512_loadu_si512(in + i)));
  }
  return i;
}

ZTK_AVX512 size_t widen_blocks(const uint8_t *in, size_t n, uint16_t *out) {
  size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in + i));
    _mm512_storeu_si512(out + i, _mm512_cvtepu8_epi16(v));
  }
  return i;
}

#include "text/unit_scan/wide_entries.inc"

}  // namespace

const Kernels kKernels = {find, mark, narrow, widen};

}  // namespace ztk::units::avx512
#endif  // ZTK_WIDE_VECTORS
