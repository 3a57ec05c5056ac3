#include "frame/byte_checks/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::byte_checks::avx2 {
namespace {

template <Class C>
ZTK_AVX2 inline __m256i pass_mask(__m256i v) {
  if constexpr (C == Class::Ascii) return _mm256_cmpgt_epi8(v, _mm256_set1_epi8(-1));
  if constexpr (C == Class::Printable) return _mm256_cmpgt_epi8(v, _mm256_set1_epi8(0x1F));
  return _mm256_cmpeq_epi8(_mm256_max_epu8(v, _mm256_set1_epi8(0x20)), v);
}

// Two vectors a step: one test decides for 64 bytes.
template <Class C>
ZTK_AVX2 size_t clean_prefix(ByteView bytes) {
  size_t i = 0;
  for (; i + 64 <= bytes.size; i += 64) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i + 32));
    if (_mm256_movemask_epi8(_mm256_and_si256(pass_mask<C>(a), pass_mask<C>(b))) != -1) break;
  }
  return i;
}

ZTK_AVX2 size_t replace_blocks(ByteView bytes, uint8_t replacement, uint8_t *out) {
  const __m256i r = _mm256_set1_epi8(static_cast<char>(replacement));
  size_t i = 0;
  for (; i + 32 <= bytes.size; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i),
                        _mm256_blendv_epi8(r, v, pass_mask<Class::Printable>(v)));
  }
  return i;
}

// The level's own loop inlines here: one call less on short inputs.
template <Class C>
ZTK_AVX2 bool all(ByteView bytes) {
  // A block a loop stopped at holds a byte outside the class: the answer is
  // known without finding it, and no narrower level's code is reached.
  const size_t wide = clean_prefix<C>(bytes);
  if (wide + 64 <= bytes.size) return false;
  return sse2::rest_passes<C>(bytes, wide);
}

ZTK_AVX2 void replace(ByteView bytes, uint8_t replacement, uint8_t *out) {
  const size_t done = sse2::replace_blocks(bytes, replace_blocks(bytes, replacement, out), replacement, out);
  plain::replace_from(bytes, done, replacement, out);
}

}  // namespace

const Kernels kKernels = {all<Class::Ascii>, all<Class::Printable>, all<Class::NoControl>, replace};

}  // namespace ztk::byte_checks::avx2
#endif  // ZTK_WIDE_VECTORS
