#include "analysis/sql_boolean/events.h"
#include "analysis/sql_boolean/levels.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::sql::neon {
namespace {

// The separators among the bytes 0x00-0x3F: those below 0x21, and ( ) , ;
// (a lookup past the table gives 0; the bytes from 0x80 on are added apart).
constexpr uint8_t kSeparators[64] = {
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,  // 0x00
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,  // 0x10
    0xFF, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0xFF, 0, 0, 0,                                      // 0x20
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0, 0, 0, 0,                                               // 0x30
};

// 64 lanes of all-ones or zero, as the de-interleaving load lays them out
// (vector j holds bytes j, j + 4, ...), as a mask with bit k for byte k: the
// shift-right-and-inserts gather each four bytes' lanes into a nibble.
inline uint64_t mask_of(uint8x16_t b0, uint8x16_t b1, uint8x16_t b2, uint8x16_t b3) {
  const uint8x16_t t0 = vsriq_n_u8(b1, b0, 1), t1 = vsriq_n_u8(b3, b2, 1);
  const uint8x16_t t2 = vsriq_n_u8(t1, t0, 2);
  const uint8x16_t t3 = vsriq_n_u8(t2, t2, 4);
  return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(t3), 4)), 0);
}

// The classes of 16 bytes, each lane all-ones or zero.
struct Classes {
  uint8x16_t single, dbl, separator, starts;
};

[[gnu::always_inline]] inline Classes classes_of(uint8x16_t b, const uint8x16x4_t &separators) {
  const uint8x16_t lower = vorrq_u8(b, vdupq_n_u8(0x20));
  return {vceqq_u8(b, vdupq_n_u8('\'')), vceqq_u8(b, vdupq_n_u8('"')),
          vorrq_u8(vqtbl4q_u8(separators, b), vcltzq_s8(vreinterpretq_s8_u8(b))),
          vorrq_u8(vceqq_u8(lower, vdupq_n_u8('t')), vceqq_u8(lower, vdupq_n_u8('f')))};
}

// The lanes rewrite_marked tells apart, as the x86 levels mark them: quotes
// (with # and &: byte | 5 is the same for the four), and t or f (with d and v:
// byte | 0x32 is the same for the eight in either case) after a byte that may
// separate (not above ';' as a signed byte).
[[gnu::always_inline]] inline uint8x16_t mark_lanes(uint8x16_t v, uint8x16_t before) {
  const uint8x16_t letter = vceqq_u8(vorrq_u8(v, vdupq_n_u8(0x32)), vdupq_n_u8(0x76));
  const uint8x16_t mayEnd = vcleq_s8(vreinterpretq_s8_u8(before), vdupq_n_s8(';'));
  const uint8x16_t quote = vceqq_u8(vorrq_u8(v, vdupq_n_u8(5)), vdupq_n_u8(0x27));
  return vorrq_u8(vandq_u8(letter, mayEnd), quote);
}

struct Neon {
  // 64 bytes de-interleaved (vector j holds bytes j, j + 4, ...), and the
  // bytes before each likewise, gathered to a mask by mask_of.
  [[gnu::always_inline]] static uint64_t marks_of(const uint8x16x4_t &v, const uint8x16x4_t &before) {
    return mask_of(mark_lanes(v.val[0], before.val[0]), mark_lanes(v.val[1], before.val[1]),
                   mark_lanes(v.val[2], before.val[2]), mark_lanes(v.val[3], before.val[3]));
  }
  [[gnu::always_inline]] static uint64_t marks(const uint8_t *at) { return marks_of(vld4q_u8(at), vld4q_u8(at - 1)); }
  // The marks, with the 64 bytes stored at `to` once they are read.
  [[gnu::always_inline]] static uint64_t marks_stored(const uint8_t *at, uint8_t *to) {
    const uint8x16x4_t v = vld4q_u8(at);
    vst4q_u8(to, v);
    return marks_of(v, vld4q_u8(at - 1));
  }
  [[gnu::noinline]] static void rewrite_in_place(InPlace &s) { sql::rewrite_in_place<Neon>(s); }
  [[gnu::always_inline]] static LaneClasses classify(const uint8_t *at) {
    const uint8x16x4_t separators = {
        {vld1q_u8(kSeparators), vld1q_u8(kSeparators + 16), vld1q_u8(kSeparators + 32), vld1q_u8(kSeparators + 48)}};
    const uint8x16x4_t v = vld4q_u8(at);
    const Classes c0 = classes_of(v.val[0], separators), c1 = classes_of(v.val[1], separators),
                  c2 = classes_of(v.val[2], separators), c3 = classes_of(v.val[3], separators);
    return {mask_of(c0.single, c1.single, c2.single, c3.single), mask_of(c0.dbl, c1.dbl, c2.dbl, c3.dbl),
            mask_of(c0.separator, c1.separator, c2.separator, c3.separator),
            mask_of(c0.starts, c1.starts, c2.starts, c3.starts)};
  }
};

}  // namespace

const Kernels kKernels = {
    [](ByteView in, size_t from) { return EventCursor<Neon>(in).next(from, 0); },
    [](ByteView in, AsciiStringHandle &out) { rewrite_marked<Neon>(in, out); },
};

}  // namespace ztk::sql::neon
#endif  // ZTK_NEON
