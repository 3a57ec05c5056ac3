#include "binary/bitwise/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::bitwise::sse2 {

template <Kind K>
size_t stream_blocks(ByteView data, const uint8_t *mask, size_t from, uint8_t position, uint8_t *out) {
  __m128i positions = _mm_add_epi8(_mm_set1_epi8(static_cast<char>(position + from)),
                                   _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
  const __m128i step = _mm_set1_epi8(16);
  size_t k = from;
  for (; k + 16 <= data.size; k += 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i *>(data.data + k));
    const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i *>(mask + k));
    __m128i r;
    if constexpr (K == Kind::And) {
      r = _mm_and_si128(x, y);
    } else if constexpr (K == Kind::Or) {
      r = _mm_or_si128(x, y);
    } else if constexpr (K == Kind::Xor) {
      r = _mm_xor_si128(x, y);
    } else {
      r = _mm_xor_si128(_mm_xor_si128(x, y), positions);
      positions = _mm_add_epi8(positions, step);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + k), r);
  }
  return k;
}

template size_t stream_blocks<Kind::And>(ByteView, const uint8_t *, size_t, uint8_t, uint8_t *);
template size_t stream_blocks<Kind::Or>(ByteView, const uint8_t *, size_t, uint8_t, uint8_t *);
template size_t stream_blocks<Kind::Xor>(ByteView, const uint8_t *, size_t, uint8_t, uint8_t *);
template size_t stream_blocks<Kind::XorPosition>(ByteView, const uint8_t *, size_t, uint8_t, uint8_t *);

namespace {

template <Kind K>
void stream(ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out) {
  plain::stream_from<K>(data, mask, stream_blocks<K>(data, mask, 0, position, out), position, out);
}

}  // namespace

const Kernels kKernels = {
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream<Kind::And>(data, mask, 0, out); },
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream<Kind::Or>(data, mask, 0, out); },
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream<Kind::Xor>(data, mask, 0, out); },
    stream<Kind::XorPosition>,
};

}  // namespace ztk::bitwise::sse2
#endif  // ZTK_X86
