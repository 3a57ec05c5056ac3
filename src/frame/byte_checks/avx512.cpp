#include "frame/byte_checks/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::byte_checks::avx512 {
namespace {

// A bit per byte that passes.
template <Class C>
ZTK_AVX512 inline __mmask64 pass_mask(__m512i v) {
  if constexpr (C == Class::Ascii) return _mm512_movepi8_mask(_mm512_xor_si512(v, _mm512_set1_epi8(-128)));
  if constexpr (C == Class::Printable) return _mm512_cmpgt_epi8_mask(v, _mm512_set1_epi8(0x1F));
  return _mm512_cmpge_epu8_mask(v, _mm512_set1_epi8(0x20));
}

// Two vectors a step: one test decides for 128 bytes.
template <Class C>
ZTK_AVX512 size_t clean_prefix(ByteView bytes) {
  size_t i = 0;
  for (; i + 128 <= bytes.size; i += 128) {
    const __m512i a = _mm512_loadu_si512(bytes.data + i), b = _mm512_loadu_si512(bytes.data + i + 64);
    if ((pass_mask<C>(a) & pass_mask<C>(b)) != ~__mmask64{0}) break;
  }
  return i;
}

ZTK_AVX512 size_t replace_blocks(ByteView bytes, uint8_t replacement, uint8_t *out) {
  const __m512i r = _mm512_set1_epi8(static_cast<char>(replacement));
  size_t i = 0;
  for (; i + 64 <= bytes.size; i += 64) {
    const __m512i v = _mm512_loadu_si512(bytes.data + i);
    _mm512_storeu_si512(out + i, _mm512_mask_blend_epi8(pass_mask<Class::Printable>(v), r, v));
  }
  return i;
}

// The level's own loop inlines here: one call less on short inputs.
template <Class C>
ZTK_AVX512 bool all(ByteView bytes) {
  // A block a loop stopped at holds a byte outside the class: the answer is
  // known without finding it, and no narrower level's code is reached.
  const size_t wide = clean_prefix<C>(bytes);
  if (wide + 128 <= bytes.size) return false;
  return sse2::rest_passes<C>(bytes, wide);
}

ZTK_AVX512 void replace(ByteView bytes, uint8_t replacement, uint8_t *out) {
  const size_t done = sse2::replace_blocks(bytes, replace_blocks(bytes, replacement, out), replacement, out);
  plain::replace_from(bytes, done, replacement, out);
}

}  // namespace

const Kernels kKernels = {all<Class::Ascii>, all<Class::Printable>, all<Class::NoControl>, replace};

}  // namespace ztk::byte_checks::avx512
#endif  // ZTK_WIDE_VECTORS
