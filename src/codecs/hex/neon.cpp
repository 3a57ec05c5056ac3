#include "codecs/hex/levels.h"
#include "frame/simd.h"
#include "frame/ascii.h"

#if ZTK_NEON
namespace ztk::hex::neon {
namespace {

// A table lookup gives each nibble its digit in one instruction, and the
// interleaving store puts every high digit before its low one.
size_t encode_blocks(ByteView in, char *out) {
  const uint8x16_t digits = vld1q_u8(reinterpret_cast<const uint8_t *>(ascii::kHexDigits));
  const uint8x16_t low4 = vdupq_n_u8(0x0F);
  size_t i = 0;
  for (; i + 16 <= in.size; i += 16) {
    const uint8x16_t v = vld1q_u8(in.data + i);
    uint8x16x2_t pair;
    pair.val[0] = vqtbl1q_u8(digits, vshrq_n_u8(v, 4));
    pair.val[1] = vqtbl1q_u8(digits, vandq_u8(v, low4));
    vst2q_u8(reinterpret_cast<uint8_t *>(out) + 2 * i, pair);
  }
  return i;
}

// The values of the bytes 0x30-0x6F, from '0' on: a lookup past the table's 64
// bytes gives 0, which is what a byte that is no hex digit stands for, and the
// bytes below '0' wrap around to such indexes.
constexpr uint8_t kFromZero[64] = {
    0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 0, 0, 0,  // 0x30
    0, 10, 11, 12, 13, 14, 15, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x40
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x50
    0, 10, 11, 12, 13, 14, 15, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x60
};

// The de-interleaving load splits 32 digits into high and low ones, so each
// output byte is one shift-and-insert of two looked-up values.
size_t decode_blocks(ByteView digits, uint8_t *out) {
  const uint8x16x4_t table = {
      {vld1q_u8(kFromZero), vld1q_u8(kFromZero + 16), vld1q_u8(kFromZero + 32), vld1q_u8(kFromZero + 48)}};
  const uint8x16_t zero = vdupq_n_u8('0');
  size_t i = 0;
  for (; i + 32 <= digits.size; i += 32) {
    const uint8x16x2_t v = vld2q_u8(digits.data + i);
    const uint8x16_t hi = vqtbl4q_u8(table, vsubq_u8(v.val[0], zero));
    const uint8x16_t lo = vqtbl4q_u8(table, vsubq_u8(v.val[1], zero));
    vst1q_u8(out + i / 2, vsliq_n_u8(lo, hi, 4));
  }
  return i;
}

}  // namespace

const Kernels kKernels = {
    [](ByteView in, char *out) { plain::encode_from(in, encode_blocks(in, out), out); },
    [](ByteView digits, uint8_t *out) { plain::decode_from(digits, decode_blocks(digits, out), out); },
};

}  // namespace ztk::hex::neon
#endif  // ZTK_NEON
