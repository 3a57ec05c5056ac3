#include <cstring>

#include "codecs/url/levels.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::url::neon {
namespace {

#define ZTK_URL_TARGET
struct V {
  using reg = uint8x16_t;
  using mask = uint8x16_t;
  static constexpr size_t kWidth = 16;
  // NEON has no byte mask move: narrowing each 16-bit pair by 4 bits gives
  // four bits per lane, of which the top one is kept.
  static constexpr int kLaneBits = 4;
  static constexpr uint64_t kAll = 0x8888888888888888ULL;
  static reg set1(uint8_t b) { return vdupq_n_u8(b); }
  static reg load(const uint8_t *p) { return vld1q_u8(p); }
  static void store(uint8_t *p, reg v) { vst1q_u8(p, v); }
  static reg either_bits(reg a, reg b) { return vorrq_u8(a, b); }
  static mask in_range(reg v, reg first, reg span) { return vcleq_u8(vsubq_u8(v, first), span); }
  static mask either(mask a, mask b) { return vorrq_u8(a, b); }
  static mask but(mask a, mask b) { return vbicq_u8(a, b); }
  static mask equal(reg a, reg b) { return vceqq_u8(a, b); }
  static uint64_t bits(mask m) {
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(m), 4)), 0) & kAll;
  }
};
#include "codecs/url/blocks.inc"
#undef ZTK_URL_TARGET

size_t encode(ByteView in, int64_t options, char *out) {
  const int mode = static_cast<int>(options & 3);
  // Short texts: setting up the blocks would cost more than they save.
  if (in.size < kShortText) return plain::encode_from(in, mode, 0, out);
  char *o = out;
  const size_t i = encode_blocks(in, 0, mode, o);
  return static_cast<size_t>(o - out) + plain::encode_from(in, mode, i, o);
}

size_t decode(ByteView in, int64_t options, uint8_t *out) {
  const bool plusIsSpace = (options & 1) != 0;
  uint8_t *o = out;
  const size_t i = decode_blocks(in, 0, plusIsSpace, o);
  return static_cast<size_t>(decode_from(in, i, plusIsSpace, o) - out);
}

}  // namespace

const Kernels kKernels = {encode, decode};

}  // namespace ztk::url::neon
#endif  // ZTK_NEON
