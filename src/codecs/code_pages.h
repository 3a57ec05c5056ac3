// Single-byte code pages: ISO 8859-1 and Windows-1252.
//
// Each page is a table of 256 UTF-16 units indexed by byte. Encoding finds a
// character's byte (the first entry holding it) and drops characters the page
// lacks; decoding maps every byte through the table (the five bytes
// Windows-1252 leaves undefined become U+0000). Both pages hold every byte
// outside 0x80-0x9F at its own value, so only those 32 entries are read.
// Both kernels run at the active vector level (frame/dispatch.h);
// code_pages/ holds one source per level.
#pragma once

#include <array>
#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::codepage {

using Table = std::array<uint16_t, 256>;
extern const Table escapecharsISO8859;
extern const Table escapecharsCP1252;

// The byte for `unit`, or -1 when the page lacks it: the same answer as a
// scan of the table from entry 0.
int find_byte(const Table &table, uint16_t unit);

struct Kernels {
  // Writes the byte of every unit the page holds to `out` (room for
  // units.size bytes) and drops the others; returns the bytes written.
  size_t (*encode)(const Table &table, U16View units, uint8_t *out);
  // Writes the table's unit for every byte to `out` (room for bytes.size units).
  void (*decode)(const Table &table, ByteView bytes, uint16_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

inline size_t encode(const Table &table, U16View units, uint8_t *out) { return kernels().encode(table, units, out); }
inline void decode(const Table &table, ByteView bytes, uint16_t *out) { kernels().decode(table, bytes, out); }

// The one-unit-at-a-time versions every level must equal: find_byte for
// every unit, the table's entry for every byte (read only in 0x80-0x9F).
size_t encode_reference(const Table &table, U16View units, uint8_t *out);
void decode_reference(const Table &table, ByteView bytes, uint16_t *out);

}  // namespace ztk::codepage
