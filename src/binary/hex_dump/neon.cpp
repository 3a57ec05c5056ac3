#include "binary/hex_dump/levels.h"
#include "frame/simd.h"
#include "frame/ascii.h"

#if ZTK_NEON
namespace ztk::hexdump::neon {
namespace {

// A table lookup gives each nibble its digit, and the interleaving store puts
// every high digit before its low one.
size_t digit_blocks(ByteView in, char *out) {
  const uint8x16_t table = vld1q_u8(reinterpret_cast<const uint8_t *>(ascii::kHexDigits));
  const uint8x16_t low4 = vdupq_n_u8(0x0F);
  size_t i = 0;
  for (; i + 16 <= in.size; i += 16) {
    const uint8x16_t v = vld1q_u8(in.data + i);
    const uint8x16x2_t pair = {{vqtbl1q_u8(table, vshrq_n_u8(v, 4)), vqtbl1q_u8(table, vandq_u8(v, low4))}};
    vst2q_u8(reinterpret_cast<uint8_t *>(out) + 2 * i, pair);
  }
  return i;
}

void digits(ByteView in, char *out) { plain::digits_from(in, digit_blocks(in, out), out); }

// Groups of one byte with a spacer of kSpacer bytes: the de-interleaving load
// splits 16 groups (or 8) into their first and second digits, and one
// interleaving store writes them with the spacer after each. After a line's
// last group that store writes a spacer too much; it does so only where the
// output goes on beyond it, and what follows overwrites it.
template <int kSpacer>
char *spaced_lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  constexpr size_t kGroup = 2 + kSpacer;
  const uint64_t width = 2 * layout.linelen;
  const uint64_t line = layout.linestart.size + width + (layout.linelen - 1) * kSpacer + layout.lineend.size;
  const char *const end = out + (digits + width - 1) / width * line;
  const uint8_t first = layout.spacer[0], second = layout.spacer[kSpacer - 1];
  const uint8x16_t s0 = vdupq_n_u8(first), s1 = vdupq_n_u8(second);
  const uint8x8_t h0 = vdup_n_u8(first), h1 = vdup_n_u8(second);
  for (uint64_t p = 0; p < digits; p += width) {
    out = put(out, layout.linestart);
    const auto *h = reinterpret_cast<const uint8_t *>(hex + p);
    uint64_t left = layout.linelen;
    for (; left >= 16 && static_cast<size_t>(end - out) >= 16 * kGroup; left -= 16, h += 32, out += 16 * kGroup) {
      const uint8x16x2_t d = vld2q_u8(h);
      if (kSpacer == 1) {
        const uint8x16x3_t groups = {{d.val[0], d.val[1], s0}};  // clang's stores are macros: no braces inside
        vst3q_u8(reinterpret_cast<uint8_t *>(out), groups);
      } else {
        const uint8x16x4_t groups = {{d.val[0], d.val[1], s0, s1}};
        vst4q_u8(reinterpret_cast<uint8_t *>(out), groups);
      }
    }
    if (left >= 8 && static_cast<size_t>(end - out) >= 8 * kGroup) {
      const uint8x8x2_t d = vld2_u8(h);
      if (kSpacer == 1) {
        const uint8x8x3_t groups = {{d.val[0], d.val[1], h0}};
        vst3_u8(reinterpret_cast<uint8_t *>(out), groups);
      } else {
        const uint8x8x4_t groups = {{d.val[0], d.val[1], h0, h1}};
        vst4_u8(reinterpret_cast<uint8_t *>(out), groups);
      }
      left -= 8;
      h += 16;
      out += 8 * kGroup;
    }
    if (left == 0) {
      out -= kSpacer;  // the spacer stored after the last group
    } else {
      for (;; --left, h += 2) {
        std::memcpy(out, h, 2);
        out += 2;
        if (left == 1) break;
        out[0] = static_cast<char>(first);
        if (kSpacer == 2) out[1] = static_cast<char>(second);
        out += kSpacer;
      }
    }
    out = put(out, layout.lineend);
  }
  return out;
}

size_t lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  char *const begin = out;
  if (layout.hexlen == 2 && layout.spacer.size == 1) {
    out = spaced_lines<1>(hex, digits, layout, out);
  } else if (layout.hexlen == 2 && layout.spacer.size == 2) {
    out = spaced_lines<2>(hex, digits, layout, out);
  } else {
    out = begin + plain::lines(hex, digits, layout, out);
  }
  return static_cast<size_t>(out - begin);
}

}  // namespace

const Kernels kKernels = {digits, lines, plain::no_byte_lines};

}  // namespace ztk::hexdump::neon
#endif  // ZTK_NEON
