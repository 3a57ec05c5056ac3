// Finding, narrowing and widening runs of UTF-16 code units: the text
// methods pass most units through unchanged, and these kernels find where
// such a run ends and move it in blocks. All four run at the active vector
// level (frame/dispatch.h); unit_scan/ holds one source per level, and every
// level must equal the one-unit-at-a-time version.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::units {

// The units a run stops at: every unit with a bit of `highBits` set (so
// 0xFF80 stops at 0x80 and above), every unit in first..first + span, and up
// to five single units.
struct UnitSet {
  uint16_t highBits = 0;
  bool hasRange = false;
  uint16_t first = 0, span = 0;
  uint16_t singles[5] = {};
  int count = 0;

  constexpr UnitSet(uint16_t high, std::initializer_list<uint16_t> units) : highBits(high) {
    for (uint16_t u : units) {
      if (count < 5) singles[count++] = u;
    }
  }
  constexpr UnitSet with_range(uint16_t lo, uint16_t hi) const {
    UnitSet s = *this;
    s.hasRange = true;
    s.first = lo;
    s.span = static_cast<uint16_t>(hi - lo);
    return s;
  }
  constexpr bool contains(uint16_t u) const {
    if ((u & highBits) != 0) return true;
    if (hasRange && static_cast<uint16_t>(u - first) <= span) return true;
    for (int k = 0; k < count; ++k) {
      if (u == singles[k]) return true;
    }
    return false;
  }
};

struct Kernels {
  // Index of the first unit at or after `from` that is in `set`; units.size when none is.
  size_t (*find)(U16View units, size_t from, const UnitSet &set);
  // Bit i % 64 of bits[i / 64] set when units[i] is in `set`, for every unit;
  // the bits of the (units.size + 63) / 64 words past the last unit are 0.
  void (*mark)(U16View units, const UnitSet &set, uint64_t *bits);
  // out[i] = the low byte of in[i], for n units.
  void (*narrow)(const uint16_t *in, size_t n, uint8_t *out);
  // out[i] = in[i], for n bytes.
  void (*widen)(const uint8_t *in, size_t n, uint16_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

inline size_t find(U16View units, size_t from, const UnitSet &set) { return kernels().find(units, from, set); }
inline void mark(U16View units, const UnitSet &set, uint64_t *bits) { kernels().mark(units, set, bits); }
inline void narrow(const uint16_t *in, size_t n, uint8_t *out) { kernels().narrow(in, n, out); }
inline void widen(const uint8_t *in, size_t n, uint16_t *out) { kernels().widen(in, n, out); }

// The one-unit-at-a-time versions every level must equal.
size_t find_reference(U16View units, size_t from, const UnitSet &set);
void mark_reference(U16View units, const UnitSet &set, uint64_t *bits);
void narrow_reference(const uint16_t *in, size_t n, uint8_t *out);
void widen_reference(const uint8_t *in, size_t n, uint16_t *out);

}  // namespace ztk::units
