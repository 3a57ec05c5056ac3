// HTML entity codec: text to pure-ASCII HTML with entity references, entity
// references back to text, and a test for text that can go into HTML as it is.
//
// Both directions treat one UTF-16 code unit at a time and pass the runs
// between the units they treat in blocks. The decoder knows the
// names of the table (case-sensitive, at most six characters), decimal
// references and lower-case "x" hexadecimal references of up to four digits.
// Anything it does not decode is copied, starting with its "&". The kernels
// (html/kernels.cpp) take units or bytes and append to growable buffers; they
// reach the vector levels only through the unit and byte scans.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/byte_view.h"

// The growable buffers the kernels append to (text/string_handles.h).
struct AsciiStringHandle;
struct UnicodeStringHandle;

namespace ztk::html {

struct EscapeCode {
  uint32_t code;
  const char *name;
};

// The entity table in ascending code order, ending with a {0, nullptr} record.
extern const EscapeCode escapecodes[];
constexpr int kEntityCount = 253;

// The record whose code is `unit`, or null: the same answer as a scan of the
// table from its first record, found by a direct index.
const EscapeCode *find_code(uint16_t unit);
// The record named by the k units at `name`, or null.
const EscapeCode *find_name(const uint16_t *name, size_t k);

// Appends the references of `units` (a leading byte-order mark skipped) to
// `out`: every unit from 0x80 up, and the five markup characters unless
// `keepASCII`; runs of other units as their bytes.
void encode(U16View units, bool keepASCII, AsciiStringHandle &out);
// Appends `units` to `out` with their references decoded, in one pass.
void decode(U16View units, UnicodeStringHandle &out);

// True when every byte can stand in HTML unchanged: no NUL, nothing from 0x80
// up, none of " & ' < >.
bool is_html_ready(ByteView bytes);

}  // namespace ztk::html
