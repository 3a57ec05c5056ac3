#include <array>
#include <cstring>
#include <string_view>

#include "codecs/url/levels.h"
#include "frame/ascii.h"

namespace ztk::url::plain {
namespace {

constexpr scan::ByteSet kPercent{{'%', '%'}};
constexpr scan::ByteSet kPercentOrPlus{{'%', '%'}, {'+', '+'}};

// After this many bytes in a row that stand for themselves, the rest of the
// run is likely long: it is copied in blocks from there.
constexpr int kRunStreak = 8;

}  // namespace

size_t encode_from(ByteView in, int mode, size_t from, char *out) {
  const CodeTable &codes = kCodes[mode];
  const scan::ByteSet &special = run_stops(mode);
  char *const begin = out;
  int streak = 0;
  size_t i = from;
  // Every byte but the last is written as four bytes, of which the code's
  // size count: the output holds three bytes for each input byte.
  for (; i + 1 < in.size; ++i) {
    const uint8_t b = in[i];
    const Code &c = codes[b];
    std::memcpy(out, c.bytes, 4);
    out += c.size;
    streak = (streak + 1) & -int{c.run};  // no branch on what the byte is
    if (streak == kRunStreak) {
      // The output holds three bytes for every input byte, so the room the
      // kernel needs is there.
      const size_t stop = scan::copy_until(in, i + 1, special, 0, reinterpret_cast<uint8_t *>(out));
      out += stop - (i + 1);
      i = stop - 1;
      streak = 0;
    }
  }
  if (i < in.size) {
    const Code &c = codes[in[i]];
    std::memcpy(out, c.bytes, c.size);
    out += c.size;
  }
  return static_cast<size_t>(out - begin);
}

size_t decode(ByteView in, int64_t options, uint8_t *out) {
  const bool plusIsSpace = (options & 1) != 0;
  const scan::ByteSet &special = plusIsSpace ? kPercentOrPlus : kPercent;
  uint8_t *const begin = out;
  size_t i = 0;
  // Escapes often follow each other: they are decoded here until a byte that
  // starts a run, which the kernel copies.
  while (i < in.size) {
    const uint8_t b = in[i];
    if (b == '%') {
      if (i + 2 < in.size) {
        *out++ = static_cast<uint8_t>(ascii::hex_low(in[i + 1]) << 4 | ascii::hex_low(in[i + 2]));
      } else {
        *out++ = static_cast<uint8_t>(i + 1 < in.size ? ascii::hex_low(in[i + 1]) << 4 : 0);
      }
      i += 3;
    } else if (b == '+' && plusIsSpace) {
      *out++ = ' ';
      ++i;
    } else {
      // Never more output than input so far: the room the kernel needs is there.
      const size_t stop = scan::copy_until(in, i, special, 0, out);
      out += stop - i;
      i = stop;
    }
  }
  return static_cast<size_t>(out - begin);
}

// The space and plus choices belong to each call alone.
const Kernels kKernels = {
    [](ByteView in, int64_t options, char *out) { return encode_from(in, static_cast<int>(options & 3), 0, out); },
    decode,
};

}  // namespace ztk::url::plain
