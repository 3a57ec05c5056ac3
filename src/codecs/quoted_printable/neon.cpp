#include "codecs/quoted_printable/levels.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::qp::neon {
namespace {

#define ZTK_QP_TARGET
struct V {
  using reg = uint8x16_t;
  static constexpr size_t kWidth = 16;
  // NEON has no byte mask move: narrowing each 16-bit pair by 4 bits gives
  // four bits per lane, of which the top one is kept.
  static constexpr int kLaneBits = 4;
  // One block a window: its sixteen lanes of four bits fill a 64-bit mask.
  static constexpr size_t kDecoderWindowBlocks = 1;
  // Its encoder's windows are one block: its lanes of four bits fill a mask.
  static constexpr size_t kEncoderWindowBlocks = 1;
  static reg load(const uint8_t *p) { return vld1q_u8(p); }
  static void store(uint8_t *p, reg v) { vst1q_u8(p, v); }
  static uint64_t bits(reg m) {
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(m), 4)), 0) & 0x8888888888888888ULL;
  }
  // "=", CR and LF.
  static uint64_t decoder_special(reg v) {
    return bits(vorrq_u8(vorrq_u8(vceqq_u8(v, vdupq_n_u8('=')), vceqq_u8(v, vdupq_n_u8('\r'))), vceqq_u8(v, vdupq_n_u8('\n'))));
  }
  // The bytes the decoder's windows look at: those it treats, exactly.
  static uint64_t decoder_candidates(reg v) { return decoder_special(v); }
  // Every byte but space and the printable ones other than "=".
  static uint64_t encoder_special(reg v) {
    return bits(vorrq_u8(vcgtq_u8(vsubq_u8(v, vdupq_n_u8(' ')), vdupq_n_u8('~' - ' ')), vceqq_u8(v, vdupq_n_u8('='))));
  }
};
using Wide = V;
#include "codecs/quoted_printable/blocks.inc"
#undef ZTK_QP_TARGET

}  // namespace

const Kernels kKernels = {encode_stretch, decode};

}  // namespace ztk::qp::neon
#endif  // ZTK_NEON
