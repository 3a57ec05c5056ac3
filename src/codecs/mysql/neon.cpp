#include "codecs/mysql/levels.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::mysql::neon {
namespace {

#define ZTK_MYSQL_TARGET
struct V {
  using reg = uint8x16_t;
  static constexpr size_t kWidth = 16;
  // NEON has no byte mask move: narrowing each 16-bit pair by 4 bits gives
  // four bits per lane, of which the top one is kept.
  static constexpr int kLaneBits = 4;
  static reg set1(uint8_t b) { return vdupq_n_u8(b); }
  static reg load(const uint8_t *p) { return vld1q_u8(p); }
  static void store(uint8_t *p, reg v) { vst1q_u8(p, v); }
  static uint64_t equal_bits(reg v, reg b) {
    const uint8x8_t narrowed = vshrn_n_u16(vreinterpretq_u16_u8(vceqq_u8(v, b)), 4);
    return vget_lane_u64(vreinterpret_u64_u8(narrowed), 0) & 0x8888888888888888ULL;
  }
  static bool any_equal(reg a, reg c, reg b) { return vmaxvq_u8(vorrq_u8(vceqq_u8(a, b), vceqq_u8(c, b))) != 0; }
};
#include "codecs/mysql/blocks.inc"
#undef ZTK_MYSQL_TARGET

size_t unescape(ByteView in, uint8_t *out) {
  uint8_t *o = out;
  const size_t i = unescape_blocks(in, 0, o);
  return static_cast<size_t>(unescape_from(in, i, o) - out);
}

}  // namespace

const Kernels kKernels = {unescape};

}  // namespace ztk::mysql::neon
#endif  // ZTK_NEON
