#include "text/byte_scan/levels.h"

#include <cstring>

#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::scan::neon {
namespace {

#define ZTK_SCAN_TARGET
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
  static reg add(reg a, reg b) { return vaddq_u8(a, b); }
  static mask none() { return vdupq_n_u8(0); }
  static mask in_range(reg v, reg first, reg span) { return vcleq_u8(vsubq_u8(v, first), span); }
  static mask either(mask a, mask b) { return vorrq_u8(a, b); }
  static mask both(mask a, mask b) { return vandq_u8(a, b); }
  static mask equal(reg a, reg b) { return vceqq_u8(a, b); }
  static uint64_t bits(mask m) {
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(m), 4)), 0) & kAll;
  }
  static reg count_equal(reg lanes, reg v, reg b) { return vsubq_u8(lanes, vceqq_u8(v, b)); }
  static reg count_mask(reg lanes, mask m) { return vsubq_u8(lanes, m); }
  static uint64_t sum(reg lanes) { return vaddlvq_u8(lanes); }
};
#include "text/byte_scan/blocks.inc"
#undef ZTK_SCAN_TARGET

// A scan with less than a block left skips the blocks: setting up their
// tests would cost more than the few bytes. The entries are flattened, their
// block loops inlined: the codecs call find and copy_until after every escape.
__attribute__((flatten)) size_t find(ByteView in, size_t from, const ByteSet &set) {
  if (in.size - from >= V::kWidth) {
    const Stop s = find_blocks(in, from, set);
    if (s.found) return s.at;
    from = s.at;
  }
  return plain::find_from(in, from, set);
}

__attribute__((flatten)) size_t copy_until(ByteView in, size_t from, const ByteSet &stop, uint8_t add, uint8_t *out) {
  size_t at = from;
  if (in.size - from >= V::kWidth) {
    const Stop s = copy_blocks(in, from, from, stop, add, out);
    if (s.found) return s.at;
    at = s.at;
  }
  return plain::copy_from(in, from, at, stop, add, out);
}

__attribute__((flatten)) size_t count(ByteView in, uint8_t b) {
  size_t total = 0;
  const size_t i = count_blocks(in, 0, b, total);
  return total + plain::count_from(in, i, b);
}

__attribute__((flatten)) size_t count_needle(ByteView in, ByteView needle) {
  size_t total = 0, next = 0;
  const size_t i = count_needle_blocks(in, needle, 0, next, total);
  return total + plain::count_needle_from(in, needle, i, next);
}

__attribute__((flatten)) size_t unescape(ByteView in, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *out) {
  uint8_t *o = out;
  const size_t i = unescape_blocks(in, 0, escape, add, escaped_add, o, out + in.size);
  plain::unescape_from(in, i, escape, add, escaped_add, o);
  return static_cast<size_t>(o - out);
}

}  // namespace

const Kernels kKernels = {find, copy_until, count, count_needle, unescape};

}  // namespace ztk::scan::neon
#endif  // ZTK_NEON
