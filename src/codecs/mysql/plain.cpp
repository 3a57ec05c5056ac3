#include "codecs/mysql.h"

#include <array>

#include "text/byte_scan.h"

namespace ztk::mysql {
namespace {

// The byte each escape stands for, by the byte after the backslash; -1: not an escape.
constexpr std::array<int16_t, 256> kUnescaped = [] {
  std::array<int16_t, 256> t{};
  for (auto &v : t) v = -1;
  t['0'] = 0x00;
  t['\''] = '\'';
  t['"'] = '"';
  t['b'] = 0x08;
  t['n'] = '\n';
  t['r'] = '\r';
  t['t'] = '\t';
  t['Z'] = 0x1A;
  t['\\'] = '\\';
  t['%'] = '%';
  t['_'] = '_';
  return t;
}();

constexpr scan::ByteSet kBackslash{{'\\', '\\'}};

}  // namespace

size_t unescape(ByteView in, uint8_t *out) {
  uint8_t *const begin = out;
  size_t p = 0;
  while (p < in.size) {
    if (in[p] != '\\') {
      // Never more output than input so far: the room the kernel needs is there.
      const size_t stop = scan::copy_until(in, p, kBackslash, 0, out);
      out += stop - p;
      p = stop;
      continue;
    }
    if (p + 1 == in.size) {
      *out++ = in[p++];
      continue;
    }
    const int16_t v = kUnescaped[in[p + 1]];
    if (v >= 0) {
      *out++ = static_cast<uint8_t>(v);
    } else {
      *out++ = '\\';
      *out++ = in[p + 1];
    }
    p += 2;
  }
  return static_cast<size_t>(out - begin);
}

}  // namespace ztk::mysql
