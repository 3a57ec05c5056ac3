// The arm64 NEON operations the kernels use that 32-bit ARM lacks, built from
// the ones it has, so that one neon.cpp per family serves both. Included by
// frame/simd.h, and only in sources compiled for NEON on 32-bit ARM.
#pragma once

#if defined(__arm__) && defined(__ARM_NEON) && !defined(__aarch64__)
#include <arm_neon.h>

// Table look-ups: an index past the table gives 0 (vqtbl) or keeps the
// destination byte (vqtbx), as on arm64, because vtbl/vtbx do the same with
// their 8-byte halves.
inline uint8x16_t vqtbl1q_u8(uint8x16_t t, uint8x16_t idx) {
  const uint8x8x2_t tt = {{vget_low_u8(t), vget_high_u8(t)}};
  return vcombine_u8(vtbl2_u8(tt, vget_low_u8(idx)), vtbl2_u8(tt, vget_high_u8(idx)));
}
inline uint8x16_t vqtbx1q_u8(uint8x16_t d, uint8x16_t t, uint8x16_t idx) {
  const uint8x8x2_t tt = {{vget_low_u8(t), vget_high_u8(t)}};
  return vcombine_u8(vtbx2_u8(vget_low_u8(d), tt, vget_low_u8(idx)), vtbx2_u8(vget_high_u8(d), tt, vget_high_u8(idx)));
}
inline uint8x16_t vqtbl2q_u8(uint8x16x2_t t, uint8x16_t idx) {
  const uint8x8x4_t tt = {{vget_low_u8(t.val[0]), vget_high_u8(t.val[0]), vget_low_u8(t.val[1]), vget_high_u8(t.val[1])}};
  return vcombine_u8(vtbl4_u8(tt, vget_low_u8(idx)), vtbl4_u8(tt, vget_high_u8(idx)));
}
inline uint8x16_t vqtbx2q_u8(uint8x16_t d, uint8x16x2_t t, uint8x16_t idx) {
  const uint8x8x4_t tt = {{vget_low_u8(t.val[0]), vget_high_u8(t.val[0]), vget_low_u8(t.val[1]), vget_high_u8(t.val[1])}};
  return vcombine_u8(vtbx4_u8(vget_low_u8(d), tt, vget_low_u8(idx)), vtbx4_u8(vget_high_u8(d), tt, vget_high_u8(idx)));
}
// The second 32 bytes take the indexes 32 lower; those that wrap below 0 are
// past any table and keep what the first half gave.
inline uint8x16_t vqtbl4q_u8(uint8x16x4_t t, uint8x16_t idx) {
  const uint8x16x2_t low = {{t.val[0], t.val[1]}}, high = {{t.val[2], t.val[3]}};
  return vqtbx2q_u8(vqtbl2q_u8(low, idx), high, vsubq_u8(idx, vdupq_n_u8(32)));
}
inline uint8x16_t vqtbx4q_u8(uint8x16_t d, uint8x16x4_t t, uint8x16_t idx) {
  const uint8x16x2_t low = {{t.val[0], t.val[1]}}, high = {{t.val[2], t.val[3]}};
  return vqtbx2q_u8(vqtbx2q_u8(d, low, idx), high, vsubq_u8(idx, vdupq_n_u8(32)));
}

// Across-vector reductions. Sums widen pairwise until two 64-bit lanes are
// left; minima and maxima fold the halves, then the pairs of one half, until
// lane 0 holds the result.
inline uint64_t vaddvq_u64(uint64x2_t v) { return vgetq_lane_u64(v, 0) + vgetq_lane_u64(v, 1); }
inline uint32_t vaddvq_u32(uint32x4_t v) { return static_cast<uint32_t>(vaddvq_u64(vpaddlq_u32(v))); }
inline uint32_t vaddlvq_u16(uint16x8_t v) { return static_cast<uint32_t>(vaddvq_u64(vpaddlq_u32(vpaddlq_u16(v)))); }
inline uint16_t vaddvq_u16(uint16x8_t v) { return static_cast<uint16_t>(vaddlvq_u16(v)); }
inline uint16_t vaddlvq_u8(uint8x16_t v) { return static_cast<uint16_t>(vaddlvq_u16(vpaddlq_u8(v))); }
inline uint8_t vaddvq_u8(uint8x16_t v) { return static_cast<uint8_t>(vaddlvq_u8(v)); }
inline uint8_t vaddv_u8(uint8x8_t v) {
  return static_cast<uint8_t>(vget_lane_u64(vpaddl_u32(vpaddl_u16(vpaddl_u8(v))), 0));
}

namespace ztk::a32 {
// `pairwise` is vpmin or vpmax of a half register of kLanes lanes.
template <int kLanes, class Half, class Pairwise>
inline Half fold(Half low, Half high, Pairwise pairwise) {
  Half m = pairwise(low, high);
  for (int lanes = kLanes; lanes > 1; lanes /= 2) m = pairwise(m, m);
  return m;
}
}  // namespace ztk::a32

#define ZTK_A32_FOLD(name, result, vector, half, lanes, pairwise, suffix)                                  \
  inline result name(vector v) {                                                                        \
    return vget_lane_##suffix(ztk::a32::fold<lanes>(vget_low_##suffix(v), vget_high_##suffix(v),          \
                                                    [](half a, half b) { return pairwise##_##suffix(a, b); }), \
                              0);                                                                        \
  }
ZTK_A32_FOLD(vmaxvq_u8, uint8_t, uint8x16_t, uint8x8_t, 8, vpmax, u8)
ZTK_A32_FOLD(vminvq_u8, uint8_t, uint8x16_t, uint8x8_t, 8, vpmin, u8)
ZTK_A32_FOLD(vmaxvq_s8, int8_t, int8x16_t, int8x8_t, 8, vpmax, s8)
ZTK_A32_FOLD(vminvq_s8, int8_t, int8x16_t, int8x8_t, 8, vpmin, s8)
ZTK_A32_FOLD(vmaxvq_u16, uint16_t, uint16x8_t, uint16x4_t, 4, vpmax, u16)
ZTK_A32_FOLD(vminvq_u16, uint16_t, uint16x8_t, uint16x4_t, 4, vpmin, u16)
ZTK_A32_FOLD(vmaxvq_u32, uint32_t, uint32x4_t, uint32x2_t, 2, vpmax, u32)
#undef ZTK_A32_FOLD

// Whole-register permutes and pairwise adds.
inline uint8x16_t vpaddq_u8(uint8x16_t a, uint8x16_t b) {
  return vcombine_u8(vpadd_u8(vget_low_u8(a), vget_high_u8(a)), vpadd_u8(vget_low_u8(b), vget_high_u8(b)));
}
inline uint8x16_t vuzp1q_u8(uint8x16_t a, uint8x16_t b) { return vuzpq_u8(a, b).val[0]; }
inline uint8x16_t vuzp2q_u8(uint8x16_t a, uint8x16_t b) { return vuzpq_u8(a, b).val[1]; }
inline uint8x16_t vzip1q_u8(uint8x16_t a, uint8x16_t b) { return vzipq_u8(a, b).val[0]; }
inline uint8x16_t vzip2q_u8(uint8x16_t a, uint8x16_t b) { return vzipq_u8(a, b).val[1]; }
inline uint16x8_t vuzp1q_u16(uint16x8_t a, uint16x8_t b) { return vuzpq_u16(a, b).val[0]; }
inline uint16x8_t vuzp2q_u16(uint16x8_t a, uint16x8_t b) { return vuzpq_u16(a, b).val[1]; }
inline uint16x8_t vzip1q_u16(uint16x8_t a, uint16x8_t b) { return vzipq_u16(a, b).val[0]; }
inline uint16x8_t vzip2q_u16(uint16x8_t a, uint16x8_t b) { return vzipq_u16(a, b).val[1]; }

// Narrowing into the high half, widening from it, compares with zero.
inline uint8x16_t vmovn_high_u16(uint8x8_t low, uint16x8_t v) { return vcombine_u8(low, vmovn_u16(v)); }
inline uint16x8_t vmovl_high_u8(uint8x16_t v) { return vmovl_u8(vget_high_u8(v)); }
inline uint8x16_t vqmovn_high_u16(uint8x8_t low, uint16x8_t v) { return vcombine_u8(low, vqmovn_u16(v)); }
inline uint8x16_t vceqzq_u8(uint8x16_t v) { return vceqq_u8(v, vdupq_n_u8(0)); }
inline uint8x16_t vcltzq_s8(int8x16_t v) { return vcltq_s8(v, vdupq_n_s8(0)); }
inline uint16x8_t vceqzq_u16(uint16x8_t v) { return vceqq_u16(v, vdupq_n_u16(0)); }

#endif
