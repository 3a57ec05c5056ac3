// The unit-scan kernels of each level. A level's block loop works on whole
// vectors from `from` and returns where it stopped (find: at the first unit
// in the set, if a block holds one); its table's entries finish with the
// narrower levels, so no load passes the end of the input.
#pragma once

#include "text/unit_scan.h"

namespace ztk::units {

namespace plain {
// The first units are looked at one at a time: runs between special units
// are often short, and setting up the vector test would cost more. True when
// that settles the answer (`at`: the unit found, or units.size); otherwise
// `at` is where the blocks start.
inline bool find_lead(U16View units, size_t from, const UnitSet &set, size_t &at) {
  constexpr size_t kLead = 8;
  const size_t lead = units.size - from > kLead ? from + kLead : units.size;
  for (at = from; at < lead; ++at) {
    if (set.contains(units[at])) return true;
  }
  return lead == units.size;
}
inline size_t find_from(U16View units, size_t from, const UnitSet &set) {
  for (size_t i = from; i < units.size; ++i) {
    if (set.contains(units[i])) return i;
  }
  return units.size;
}
// The words from bit `from` (a multiple of 64) on.
inline void mark_from(U16View units, size_t from, const UnitSet &set, uint64_t *bits) {
  for (size_t w = from / 64; w < (units.size + 63) / 64; ++w) bits[w] = 0;
  for (size_t i = from; i < units.size; ++i) {
    if (set.contains(units[i])) bits[i / 64] |= uint64_t{1} << (i % 64);
  }
}
inline void narrow_from(const uint16_t *in, size_t n, size_t from, uint8_t *out) {
  for (size_t i = from; i < n; ++i) out[i] = static_cast<uint8_t>(in[i]);
}
inline void widen_from(const uint8_t *in, size_t n, size_t from, uint16_t *out) {
  for (size_t i = from; i < n; ++i) out[i] = in[i];
}
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
size_t find_blocks(U16View units, size_t from, const UnitSet &set);
// Whole words of 64 units from `from` (a multiple of 64); answers where they end.
size_t mark_blocks(U16View units, size_t from, const UnitSet &set, uint64_t *bits);
size_t narrow_blocks(const uint16_t *in, size_t n, size_t from, uint8_t *out);
size_t widen_blocks(const uint8_t *in, size_t n, size_t from, uint16_t *out);
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
extern const Kernels kKernels;
}  // namespace avx2

namespace avx512 {
extern const Kernels kKernels;
}  // namespace avx512

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::units
