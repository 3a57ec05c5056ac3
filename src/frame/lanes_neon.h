// The byte-lane operations the NEON level's block loops share (arm64, and
// 32-bit ARM sources built for NEON): a family's level source derives its
// vector type from this one and adds what only it needs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::simd::neon {

struct ByteLanes {
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
  static reg add(reg a, reg b) { return vaddq_u8(a, b); }
  static reg either_bits(reg a, reg b) { return vorrq_u8(a, b); }
  static mask none() { return vdupq_n_u8(0); }
  static mask in_range(reg v, reg first, reg span) { return vcleq_u8(vsubq_u8(v, first), span); }
  static mask either(mask a, mask b) { return vorrq_u8(a, b); }
  static mask both(mask a, mask b) { return vandq_u8(a, b); }
  static mask but(mask a, mask b) { return vbicq_u8(a, b); }
  static mask equal(reg a, reg b) { return vceqq_u8(a, b); }
  static uint64_t bits(mask m) {
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(m), 4)), 0) & kAll;
  }
  static uint64_t equal_bits(reg v, reg b) { return bits(equal(v, b)); }
  // Whether a or c has a byte equal to b's: the largest lane, no mask move.
  static bool any_equal(reg a, reg c, reg b) { return vmaxvq_u8(either(equal(a, b), equal(c, b))) != 0; }
};

}  // namespace ztk::simd::neon
#endif  // ZTK_NEON
