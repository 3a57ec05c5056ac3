// Hex dump layout: upper-case hex digits cut into groups of `hexlen`
// characters, `linelen` groups a line, each line framed by `linestart` and
// `lineend`, groups separated by `spacer`, the last line padded to full width
// with `filler` (cycling; "0" when none is given). The digits and the lines
// run at the active level (frame/dispatch.h); hex_dump/ holds one source per
// level.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::hexdump {

struct Layout {
  uint64_t hexlen;   // hex characters a group, at least 1
  uint64_t linelen;  // groups a line, at least 1
  ByteView linestart, lineend, spacer, filler;
};

struct Kernels {
  // Writes the 2 * in.size digits of in, high digit first.
  void (*digits)(ByteView in, char *out);
  // Writes the lines of the first `digits` characters at hex, which go on to
  // the end of the last line (the filler); returns the bytes written, which
  // are output_size() of them.
  size_t (*lines)(const char *hex, uint64_t digits, const Layout &layout, char *out);
  // Writes the whole lines of the first in.size / linelen * linelen bytes
  // straight from the bytes, with no hex text between, where the level has a
  // form for the layout; returns the bytes it took (0: none, the layout is
  // left to the hex text and `lines`). `out` has room for those lines.
  size_t (*byte_lines)(ByteView in, const Layout &layout, char *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

inline void write_digits(ByteView in, char *out) { kernels().digits(in, out); }
inline size_t write_lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  return kernels().lines(hex, digits, layout, out);
}

inline size_t write_byte_lines(ByteView in, const Layout &layout, char *out) {
  return kernels().byte_lines(in, layout, out);
}

// The exact output size (without the terminating zero), or 0 when it would
// exceed 0x7FFFFFFF bytes.
uint64_t output_size(uint64_t inputBytes, const Layout &layout);
// The room hex_text needs for n bytes: 2n digits and the filler, which may
// exceed what a block may hold.
uint64_t hex_text_size(uint64_t inputBytes, const Layout &layout);
// The hex text: 2n digits followed by hexlen * linelen filler characters.
void hex_text(ByteView in, const Layout &layout, char *out);
// The lines of a layout of one byte a group and a one-byte spacer (hexlen 2,
// spacer.size 1) straight from the bytes, a short call's form with no hex
// text between; returns the bytes written, output_size() of them. The
// output needs room for one byte more (the last spacer is written, then
// overwritten or left past the end).
size_t pair_lines(ByteView in, const Layout &layout, char *out);

// The plain versions every level must equal.
void digits_reference(ByteView in, char *out);
size_t lines_reference(const char *hex, uint64_t digits, const Layout &layout, char *out);

}  // namespace ztk::hexdump
