// The MySQL kernels of each level. A level's block loop works on whole
// vectors from where it is told to start and returns where it stopped; its
// table's entry finishes with the narrower level and then the one-byte loop,
// so no load passes the end of the input.
#pragma once

#include <array>

#include "codecs/mysql.h"

namespace ztk::mysql {

// What a backslash and the byte after it become, by that byte: the low byte
// is the first byte written; the sign is set where two are written (the
// backslash and the byte, for anything but an escape), so that one test of
// the loaded value tells them apart.
inline constexpr std::array<int16_t, 256> kPair = [] {
  std::array<int16_t, 256> t{};
  for (auto &v : t) v = static_cast<int16_t>(0x8000 | '\\');
  const auto escape = [&t](uint8_t after, uint8_t becomes) { t[after] = static_cast<int16_t>(becomes); };
  escape('0', 0x00);
  escape('\'', '\'');
  escape('"', '"');
  escape('b', 0x08);
  escape('n', '\n');
  escape('r', '\r');
  escape('t', '\t');
  escape('Z', 0x1A);
  escape('\\', '\\');
  escape('%', '%');
  escape('_', '_');
  return t;
}();

// The backslash at `backslash` and the byte after it (there must be one); returns
// the output's new end. A branch on whether it is an escape, not an advance
// read from the table: in a dump nearly every backslash starts one, and the
// output's place must not wait for a table load when escapes follow each
// other.
inline uint8_t *unescape_pair(const uint8_t *backslash, uint8_t *o) {
  const uint8_t after = backslash[1];
  const int16_t pair = kPair[after];
  o[0] = static_cast<uint8_t>(pair);
  if (__builtin_expect(pair >= 0, 1)) return o + 1;
  o[1] = after;
  return o + 2;
}
inline uint8_t *unescape_pair(ByteView in, size_t i, uint8_t *o) { return unescape_pair(in.data + i, o); }

// The one-byte loop from in[i]; returns the output's new end.
inline uint8_t *unescape_from(ByteView in, size_t i, uint8_t *o) {
  while (i < in.size) {
    if (in[i] != '\\' || i + 1 == in.size) {
      *o++ = in[i++];  // a final lone backslash is kept
      continue;
    }
    o = unescape_pair(in, i, o);
    i += 2;
  }
  return o;
}

namespace plain {
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
// Works while a whole block remains; `o` moves past what it writes.
size_t unescape_blocks(ByteView in, size_t i, uint8_t *&o);
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
extern const Kernels kKernels;
}  // namespace avx2

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::mysql
