// The HTML codec's kernels of each level. Every level walks the same state
// (walk.h) through masks of its blocks of 32 units and finishes the units
// after its last whole block with the plain loops, or reads them through a
// mask, so no load passes the end of the input.
#pragma once

#include "codecs/html.h"
#include "codecs/html/walk.h"

namespace ztk::html {

namespace plain {
// Internal to each source, so that a copy compiled for NEON (32-bit ARM
// builds only the NEON sources with NEON enabled) is never the one another
// source calls.
namespace {
// Unit c is written as a reference.
inline bool special(uint16_t c, bool keepASCII) {
  // The five markup characters are all below 64: one bit each in a word.
  constexpr uint64_t kMarkup = 1ull << '"' | 1ull << '&' | 1ull << '\'' | 1ull << '<' | 1ull << '>';
  return c >= 0x80 || (!keepASCII && c < 64 && (kMarkup >> c & 1) != 0);
}
// Decodes from unit i on, 32 units a block, and ends the walk.
inline size_t decode_from(DecodeWalk &w, size_t i) {
  for (; i < w.n; i += 32) {
    const size_t width = w.n - i < 32 ? w.n - i : 32;
    uint32_t amps = 0;
    for (size_t j = 0; j < width; ++j) amps |= uint32_t{w.u[i + j] == '&'} << j;
    w.step(amps, i, width);
  }
  return w.finish();
}
// Encodes units[i, units.size) a unit at a time; returns the bytes written.
template <bool kKeepASCII>
inline size_t encode_units(EncodeWalk &w, U16View units, size_t i) {
  // A local pointer: the byte stores could otherwise reach w.out itself.
  uint8_t *o = w.out;
  const uint16_t *u = units.data;
  for (const size_t n = units.size; i < n; ++i) {
    const uint16_t c = u[i];
    if (special(c, kKeepASCII)) {
      o = EncodeWalk::reference(c, o);
    } else {
      *o++ = static_cast<uint8_t>(c);
    }
  }
  w.out = o;
  return w.written();
}
inline size_t encode_from(EncodeWalk &w, U16View units, size_t i, bool keepASCII) {
  return keepASCII ? encode_units<true>(w, units, i) : encode_units<false>(w, units, i);
}
}  // namespace
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
extern const Kernels kKernels;
// The wider x86 levels decode with it too.
size_t decode(U16View in, uint16_t *out, uint16_t *outEnd);
}  // namespace sse2

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

namespace avx2 {
extern const Kernels kKernels;
// The AVX-512 levels encode with it too.
size_t encode_any(U16View units, size_t from, bool keepASCII, uint8_t *out);
}  // namespace avx2

namespace avx512 {
extern const Kernels kKernels;
}  // namespace avx512

}  // namespace ztk::html
