#include "binary/bitwise/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::bitwise::avx512 {
namespace {

constexpr uint8_t kIota[64] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                               16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31,
                               32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47,
                               48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 62, 63};

// The rule on one vector; XOR2's positions are the lanes' own.
template <Kind K>
ZTK_AVX512 inline __m512i apply_vector(__m512i x, __m512i y, __m512i positions) {
  if constexpr (K == Kind::And) return _mm512_and_si512(x, y);
  if constexpr (K == Kind::Or) return _mm512_or_si512(x, y);
  if constexpr (K == Kind::Xor) return _mm512_xor_si512(x, y);
  return _mm512_ternarylogic_epi32(x, y, positions, 0x96);  // x ^ y ^ positions
}

template <Kind K>
ZTK_AVX512 size_t stream_blocks(ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out) {
  __m512i positions = _mm512_add_epi8(_mm512_set1_epi8(static_cast<char>(position)), _mm512_loadu_si512(kIota));
  const __m512i step = _mm512_set1_epi8(64);
  size_t k = 0;
  if (data.size >= kAlignFrom) {
    // One vector as it falls, then the output's lines whole: a 64-byte store
    // across two lines costs both (XOR2 of 1 MiB about 7% slower). The bytes
    // the first vector and the aligned ones both cover are written twice,
    // alike.
    _mm512_storeu_si512(out, apply_vector<K>(_mm512_loadu_si512(data.data), _mm512_loadu_si512(mask), positions));
    k = 64 - (reinterpret_cast<uintptr_t>(out) & 63);
    positions = _mm512_add_epi8(positions, _mm512_set1_epi8(static_cast<char>(k)));
  }
  for (; k + 64 <= data.size; k += 64) {
    _mm512_storeu_si512(out + k, apply_vector<K>(_mm512_loadu_si512(data.data + k), _mm512_loadu_si512(mask + k),
                                                 positions));
    if constexpr (K == Kind::XorPosition) positions = _mm512_add_epi8(positions, step);
  }
  return k;
}

// The level's own loop inlines here: one call less per run.
template <Kind K>
ZTK_AVX512 void stream(ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out) {
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

}  // namespace ztk::bitwise::avx512
#endif  // ZTK_WIDE_VECTORS
