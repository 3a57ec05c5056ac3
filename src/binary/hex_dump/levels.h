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
