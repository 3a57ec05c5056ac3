#include "binary/bitwise/levels.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::bitwise::neon {
namespace {

template <Kind K>
size_t stream_blocks(ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out) {
  static constexpr uint8_t kIota[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  uint8x16_t positions = vaddq_u8(vdupq_n_u8(position), vld1q_u8(kIota));
  const uint8x16_t step = vdupq_n_u8(16);
  size_t k = 0;
  for (; k + 16 <= data.size; k += 16) {
    const uint8x16_t x = vld1q_u8(data.data + k), y = vld1q_u8(mask + k);
    uint8x16_t r;
    if constexpr (K == Kind::And) {
      r = vandq_u8(x, y);
    } else if constexpr (K == Kind::Or) {
      r = vorrq_u8(x, y);
    } else if constexpr (K == Kind::Xor) {
      r = veorq_u8(x, y);
    } else {
      r = veorq_u8(veorq_u8(x, y), positions);
      positions = vaddq_u8(positions, step);
    }
    vst1q_u8(out + k, r);
  }
  return k;
}

template <Kind K>
void stream(ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out) {
  plain::stream_from<K>(data, mask, stream_blocks<K>(data, mask, position, out), position, out);
}

}  // namespace

const Kernels kKernels = {
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream<Kind::And>(data, mask, 0, out); },
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream<Kind::Or>(data, mask, 0, out); },
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream<Kind::Xor>(data, mask, 0, out); },
    stream<Kind::XorPosition>,
};

}  // namespace ztk::bitwise::neon
#endif  // ZTK_NEON
