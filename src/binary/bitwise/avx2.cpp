#include "binary/bitwise/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::bitwise::avx2 {
namespace {

ZTK_AVX2 inline __m256i load(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }

// The rule on one vector; XOR2's positions are the lanes' own.
template <Kind K>
ZTK_AVX2 inline __m256i apply_vector(__m256i x, __m256i y, __m256i positions) {
  if constexpr (K == Kind::And) return _mm256_and_si256(x, y);
  if constexpr (K == Kind::Or) return _mm256_or_si256(x, y);
  if constexpr (K == Kind::Xor) return _mm256_xor_si256(x, y);
  return _mm256_xor_si256(_mm256_xor_si256(x, y), positions);
}

template <Kind K>
ZTK_AVX2 size_t stream_blocks(ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out) {
  __m256i positions = _mm256_add_epi8(
      _mm256_set1_epi8(static_cast<char>(position)),
      _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24,
                       25, 26, 27, 28, 29, 30, 31));
  const __m256i step = _mm256_set1_epi8(32);
  size_t k = 0;
  if (data.size >= kAlignFrom) {
    // One vector as it falls, then stores aligned to the output's half
    // lines, none across two lines. The bytes the first vector and the
    // aligned ones both cover are written twice, alike.
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), apply_vector<K>(load(data.data), load(mask), positions));
    k = 32 - (reinterpret_cast<uintptr_t>(out) & 31);
    positions = _mm256_add_epi8(positions, _mm256_set1_epi8(static_cast<char>(k)));
  }
  for (; k + 32 <= data.size; k += 32) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + k),
                        apply_vector<K>(load(data.data + k), load(mask + k), positions));
    if constexpr (K == Kind::XorPosition) positions = _mm256_add_epi8(positions, step);
  }
  return k;
}

// The level's own loop inlines here: one call less per run.
template <Kind K>
ZTK_AVX2 void stream(ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out) {
  const size_t done = sse2::stream_blocks<K>(data, mask, stream_blocks<K>(data, mask, position, out), position, out);
  plain::stream_from<K>(data, mask, done, position, out);
}

}  // namespace

const Kernels kKernels = {
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream<Kind::And>(data, mask, 0, out); },
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream<Kind::Or>(data, mask, 0, out); },
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream<Kind::Xor>(data, mask, 0, out); },
    stream<Kind::XorPosition>,
};

}  // namespace ztk::bitwise::avx2
#endif  // ZTK_WIDE_VECTORS
