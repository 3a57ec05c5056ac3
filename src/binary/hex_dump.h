// Hex dump layout: upper-case hex digits cut into groups of `hexlen`
// characters, `linelen` groups a line, each line framed by `linestart` and
// `lineend`, groups separated by `spacer`, the last line padded to full width
// with `filler` (cycling; "0" when none is given).
#pragma once

#include <cstdint>
#include <string>

#include "text/byte_view.h"

namespace ztk::hexdump {

struct Layout {
  uint64_t hexlen;   // hex characters a group, at least 1
  uint64_t linelen;  // groups a line, at least 1
  ByteView linestart, lineend, spacer, filler;
};

// The exact output size (without the terminating zero), or 0 when it would
// exceed 0x7FFFFFFF bytes.
uint64_t output_size(uint64_t inputBytes, const Layout &layout);
// The hex text: 2n digits followed by hexlen * linelen filler characters.
void hex_text(ByteView in, const Layout &layout, char *out);
// Writes the lines; returns the number of bytes written.
size_t write_lines(const char *hex, uint64_t digits, const Layout &layout, char *out);

}  // namespace ztk::hexdump
