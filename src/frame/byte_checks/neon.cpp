#include "frame/byte_checks/levels.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::byte_checks::neon {
namespace {

// The lanes of a and b folded so that one across-vector reduction decides for
// both: the class is then one bound on the extreme lane. Printable bytes are
// 0x20-0x7F, which as signed bytes is everything from 0x20 up.
template <Class C>
inline uint8x16_t fold(uint8x16_t a, uint8x16_t b) {
  if constexpr (C == Class::Ascii) return vmaxq_u8(a, b);
  if constexpr (C == Class::Printable) {
    return vreinterpretq_u8_s8(vminq_s8(vreinterpretq_s8_u8(a), vreinterpretq_s8_u8(b)));
  }
  return vminq_u8(a, b);
}

template <Class C>
inline bool folded_passes(uint8x16_t v) {
  if constexpr (C == Class::Ascii) return vmaxvq_u8(v) < 0x80;
  if constexpr (C == Class::Printable) return vminvq_s8(vreinterpretq_s8_u8(v)) >= 0x20;
  return vminvq_u8(v) >= 0x20;
}

// Bytes before the first block that holds a failing byte: 64-byte blocks while
// they last (the reduction is slow next to the loads, so it runs once for
// four), then 16-byte blocks.
template <Class C>
size_t clean_prefix(ByteView bytes) {
  size_t i = 0;
  for (; i + 64 <= bytes.size; i += 64) {
    const uint8_t *p = bytes.data + i;
    const uint8x16_t front = fold<C>(vld1q_u8(p), vld1q_u8(p + 16));
    const uint8x16_t back = fold<C>(vld1q_u8(p + 32), vld1q_u8(p + 48));
    if (!folded_passes<C>(fold<C>(front, back))) break;
  }
  for (; i + 16 <= bytes.size; i += 16) {
    if (!folded_passes<C>(vld1q_u8(bytes.data + i))) break;
  }
  return i;
}

size_t replace_blocks(ByteView bytes, uint8_t replacement, uint8_t *out) {
  const uint8x16_t r = vdupq_n_u8(replacement);
  const int8x16_t below = vdupq_n_s8(0x1F);
  size_t i = 0;
  for (; i + 16 <= bytes.size; i += 16) {
    const uint8x16_t v = vld1q_u8(bytes.data + i);
    vst1q_u8(out + i, vbslq_u8(vcgtq_s8(vreinterpretq_s8_u8(v), below), v, r));
  }
  return i;
}

template <Class C>
bool all(ByteView bytes) {
  // A block the loops stopped at holds a byte outside the class: the answer
  // is known without finding it.
  const size_t i = clean_prefix<C>(bytes);
  return i + 16 > bytes.size && plain::all_from<C>(bytes, i);
}

void replace(ByteView bytes, uint8_t replacement, uint8_t *out) {
  plain::replace_from(bytes, replace_blocks(bytes, replacement, out), replacement, out);
}

}  // namespace

const Kernels kKernels = {all<Class::Ascii>, all<Class::Printable>, all<Class::NoControl>, replace};

}  // namespace ztk::byte_checks::neon
#endif  // ZTK_NEON
