// The hex dump kernels of each level. A level's digit loop works on whole
// vectors from `from` and returns where it stopped; its table's entries finish
// with the narrower levels, so no load passes the end of the input. A level's
// lines take the layouts it has a vector form for and leave the others to the
// plain lines.
#pragma once

#include <cstring>

#include "binary/hex_dump.h"

namespace ztk::hexdump {

inline char *put(char *out, ByteView text) {
  if (!text.empty()) std::memcpy(out, text.data, text.size);
  return out + text.size;
}

// put() for the layout texts, a few bytes each: moves of a fixed size, two
// of them overlapping, where a call to memcpy would cost more than the copy.
inline char *put_short(char *out, ByteView text) {
  const size_t n = text.size;
  const uint8_t *from = text.data;
  if (n >= 8) {
    if (n > 16) return put(out, text);
    std::memcpy(out, from, 8);
    std::memcpy(out + n - 8, from + n - 8, 8);
  } else if (n >= 4) {
    std::memcpy(out, from, 4);
    std::memcpy(out + n - 4, from + n - 4, 4);
  } else if (n >= 2) {
    std::memcpy(out, from, 2);
    std::memcpy(out + n - 2, from + n - 2, 2);
  } else if (n == 1) {
    *out = static_cast<char>(*from);
  }
  return out + n;
}

namespace plain {
void digits_from(ByteView in, size_t from, char *out);
size_t lines(const char *hex, uint64_t digits, const Layout &layout, char *out);
// No layout is written from the bytes: everything goes through the hex text.
// (Internal to each source, as a copy compiled for NEON must not be shared.)
namespace {
inline size_t no_byte_lines(ByteView, const Layout &, char *) { return 0; }
}  // namespace
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
size_t digit_blocks(ByteView in, size_t from, char *out);
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
size_t byte_lines(ByteView in, const Layout &layout, char *out);
extern const Kernels kKernels;
}  // namespace avx2

namespace avx512 {
// The whole digit kernel of the level: its blocks, then the narrower ones.
void digits(ByteView in, char *out);
extern const Kernels kKernels;
}  // namespace avx512

namespace vbmi2 {
extern const Kernels kKernels;
}  // namespace vbmi2

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::hexdump
