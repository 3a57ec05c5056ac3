// HTML entity codec: text to pure-ASCII HTML with entity references, entity
// references back to text, and a test for text that can go into HTML as it is.
//
// Both directions treat one UTF-16 code unit at a time. The decoder knows the
// names of the table (case-sensitive, at most six characters), decimal
// references and lower-case "x" hexadecimal references of up to four digits.
// Anything it does not decode is copied, starting with its "&". Both run at
// the active vector level (html/ holds one source per level): blocks of
// units are marked and stored whole, and only the units that matter are
// treated one at a time, inside the block loop.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"
#include "text/byte_scan.h"

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

struct Kernels {
  // Writes `units` with their references decoded to `out`, which has room
  // for units.size units; whole 16-byte stores may go past what is written,
  // never past `outEnd`. Returns the units written.
  size_t (*decode)(U16View units, uint16_t *out, uint16_t *outEnd);
  // Writes the references of units[from, units.size) to `out`, which has
  // room for 10 bytes a unit and 48 more. Returns the bytes written.
  size_t (*encode)(U16View units, size_t from, bool keepASCII, uint8_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

// Appends the references of `units` (a leading byte-order mark skipped) to
// `out`: every unit from 0x80 up, and the five markup characters unless
// `keepASCII`; runs of other units as their bytes.
void encode(U16View units, bool keepASCII, AsciiStringHandle &out);
// Appends `units` to `out` with their references decoded, in one pass.
void decode(U16View units, UnicodeStringHandle &out);

// The one-append-at-a-time versions every level must equal.
void encode_by_units(U16View units, bool keepASCII, AsciiStringHandle &out);
void decode_by_units(U16View units, UnicodeStringHandle &out);

// True when every byte can stand in HTML unchanged: no NUL, nothing from 0x80
// up, none of " & ' < >. Inline: most texts that are not ready stop at their
// first bytes, where a call would cost more than the test.
inline bool is_html_ready(ByteView bytes) {
  // Zero, the five markup characters and every byte of a multi-byte character.
  static constexpr scan::ByteSet kNotReady{{0, 0}, {'"', '"'}, {'&', '\''}, {'<', '<'}, {'>', '>'}, {0x80, 0xFF}};
  return scan::find(bytes, 0, kNotReady) == bytes.size;
}

}  // namespace ztk::html
