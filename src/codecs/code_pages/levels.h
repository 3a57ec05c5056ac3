// The code-page kernels of each level, and what they share: the pages'
// entries for 0x80-0x9F and the slots that find Windows-1252's entries above
// 0xFF by unit. Every level encodes either in blocks of its own or in chunks
// (every unit narrowed at once, the stops marked, then fixed one by one) with
// its unit scans; it decodes in blocks of its own, then widens the rest and
// gives the bytes in 0x80-0x9F their entries.
#pragma once

#include "codecs/code_pages.h"
#include "text/unit_scan.h"

namespace ztk::codepage {

constexpr Table identity() {
  Table t{};
  for (int b = 0; b < 256; ++b) t[b] = static_cast<uint16_t>(b);
  return t;
}

// Windows-1252 differs from ISO 8859-1 only in 0x80-0x9F (Microsoft's
// published bestfit mapping for code page 1252); 0 marks the five bytes the
// code page leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D).
constexpr uint16_t kCP1252High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 0x80-0x87
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,       // 0x88-0x8F
    0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 0x90-0x97
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178,  // 0x98-0x9F
};

constexpr Table cp1252() {
  Table t = identity();
  for (int i = 0; i < 32; ++i) t[0x80 + i] = kCP1252High[i];
  return t;
}

// Where a page's entries for 0x80-0x9F that lie above 0xFF are found, by
// unit: a hash of the unit picks one of 64 slots, which holds that entry and
// its byte. Made at compile time for Windows-1252 (the one page with such
// entries), with the first multiplier that gives each entry a slot of its
// own; a page serves itself from them when its 32 entries are these.
struct HighSlots {
  static constexpr int kShift = 10;  // the product's top six bits
  static constexpr int slot(uint16_t unit, uint16_t multiplier) {
    return static_cast<uint16_t>(uint32_t{unit} * multiplier) >> kShift;
  }

  alignas(64) uint16_t entries[32] = {};  // the page's entries for 0x80-0x9F
  alignas(64) uint16_t units[64] = {};    // 0: a free slot (no entry above 0xFF is 0)
  alignas(64) uint16_t bytes[64] = {};
  uint16_t multiplier = 1;
  bool made = false;  // false: no multiplier gave every entry a slot of its own

  constexpr explicit HighSlots(const Table &table) {
    for (int b = 0; b < 32; ++b) entries[b] = table[0x80 + b];
    for (uint32_t m = 1; m < 0x10000; m += 2) {
      if (fill(static_cast<uint16_t>(m))) {
        multiplier = static_cast<uint16_t>(m);
        made = true;
        return;
      }
    }
  }

 private:
  constexpr bool fill(uint16_t m) {
    for (int k = 0; k < 64; ++k) units[k] = bytes[k] = 0;
    for (int b = 0; b < 32; ++b) {
      const uint16_t unit = entries[b];
      if (unit <= 0xFF) continue;
      const int k = slot(unit, m);
      if (units[k] == unit) continue;  // a repeated entry: its first byte stays
      if (units[k] != 0) return false;
      units[k] = unit;
      bytes[k] = static_cast<uint16_t>(0x80 + b);
    }
    return true;
  }
};

inline constexpr HighSlots kCP1252Slots(cp1252());
static_assert(kCP1252Slots.made, "every entry above 0xFF has a slot of its own");

// find_byte, inline where a kernel searches.
inline int search_byte(const Table &table, uint16_t unit) {
  // Both pages hold every byte outside 0x80-0x9F at its own value, so only
  // those 32 entries need searching; the first match in byte order wins.
  if (unit < 0x80) return unit;
  for (int b = 0x80; b <= 0x9F; ++b) {
    if (table[b] == unit) return b;
  }
  return (unit >= 0xA0 && unit < 0x100) ? unit : -1;
}

// The units a page holds at their own value, 0x80-0x9F excepted, pass in runs.
// The methods' two pages are known by their address: a short call would
// otherwise spend more on the 32 compares than on its units.
inline bool identity_high(const Table &table) {
  if (&table == &escapecharsISO8859) return true;
  if (&table == &escapecharsCP1252) return false;
  for (int b = 0x80; b <= 0x9F; ++b) {
    if (table[b] != b) return false;
  }
  return true;
}

// The page's entries for 0x80-0x9F are Windows-1252's.
inline bool slots_serve(const Table &table) {
  if (&table == &escapecharsCP1252) return true;  // made, as asserted above
  if (&table == &escapecharsISO8859) return false;
  for (int b = 0; b < 32; ++b) {
    if (table[0x80 + b] != kCP1252Slots.entries[b]) return false;
  }
  return true;
}

// The byte of a unit a run stopped at, or -1. When the page's entries for
// 0x80-0x9F are Windows-1252's (`slotted`), those above 0xFF are found by
// their slot, and a unit in 0x80-0x9F is none of them (the page's other
// entries there are 0); the rest by the search.
inline int stop_byte(const Table &table, bool slotted, uint16_t unit) {
  if (slotted && unit > 0xFF) {
    const int k = HighSlots::slot(unit, kCP1252Slots.multiplier);
    return kCP1252Slots.units[k] == unit ? kCP1252Slots.bytes[k] : -1;
  }
  if (slotted && unit >= 0x80 && unit <= 0x9F) return -1;
  return search_byte(table, unit);
}

// A vector level's block of `lanes` units with stops, its narrowed bytes
// stored at out[w] and right up to its first stop: each stop gets its byte in
// place, and once one is dropped the lanes after it move down, each narrowed
// again from its unit (read back from a copy of the block just stored, in
// pieces, they would wait on the stores). Returns the new w. `ownC1`: the
// page maps 0x80-0x9F to characters of its own; otherwise it stops only
// above 0xFF, where it holds nothing.
inline size_t place_stops(const Table &table, bool ownC1, bool slotted, const uint16_t *units, size_t lanes,
                          uint32_t stops, uint8_t *out, size_t w) {
  size_t dropped = 0, next = 0;  // next: the first lane not yet placed
  for (uint32_t m = stops; m != 0; m &= m - 1) {
    const size_t k = static_cast<size_t>(__builtin_ctz(m));
    if (dropped > 0) {
      for (size_t j = next; j < k; ++j) out[w + j - dropped] = static_cast<uint8_t>(units[j]);
    }
    const int byte = ownC1 ? stop_byte(table, slotted, units[k]) : -1;
    if (byte >= 0) {
      out[w + k - dropped] = static_cast<uint8_t>(byte);
    } else {
      ++dropped;
    }
    next = k + 1;
  }
  if (dropped > 0) {
    for (size_t j = next; j < lanes; ++j) out[w + j - dropped] = static_cast<uint8_t>(units[j]);
  }
  return w + lanes - dropped;
}

namespace plain {
// Encodes the units from `from` on, `written` bytes being in place, in chunks
// with the unit scans `scan`; returns the bytes written in all. `ownC1`: the
// page maps 0x80-0x9F to characters of its own (!identity_high).
size_t encode_chunks(const Table &table, bool ownC1, U16View units, size_t from, size_t written, uint8_t *out,
                     const units::Kernels &scan);
// Decodes the bytes from `from` on: widened by `widen`, then those in
// 0x80-0x9F given the page's entries.
void decode_from(const Table &table, ByteView bytes, size_t from, uint16_t *out,
                 void (*widen)(const uint8_t *in, size_t n, uint16_t *out));
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
size_t encode(const Table &table, U16View units, uint8_t *out);
extern const Kernels kKernels;
}  // namespace avx2

namespace avx512 {
void decode(const Table &table, ByteView bytes, uint16_t *out);
extern const Kernels kKernels;
}  // namespace avx512

namespace vbmi2 {
extern const Kernels kKernels;
}  // namespace vbmi2

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::codepage
