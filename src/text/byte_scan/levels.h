// The byte scans of each level. A level's block loops work on whole vectors
// from where they are told to start and return where they stopped; its
// table's entries finish with the narrower levels' loops and then the plain
// one, so no load passes the end of the input.
#pragma once

#include <cstring>

#include "text/byte_scan.h"

namespace ztk::scan {

// Where a block loop stopped: at a byte of the set, or where fewer than a
// block remain.
struct Stop {
  size_t at;
  bool found;
};

// The plain loops, inline so that every level finishes with them without a
// call: the codecs scan many short runs.
namespace plain {
inline size_t find_from(ByteView in, size_t i, const ByteSet &set) {
  while (i < in.size && !set.contains(in[i])) ++i;
  return i;
}

// `out` is where in[from] goes; the scan goes on from `i`.
inline size_t copy_from(ByteView in, size_t from, size_t i, const ByteSet &stop, uint8_t add, uint8_t *out) {
  for (; i < in.size && !stop.contains(in[i]); ++i) out[i - from] = static_cast<uint8_t>(in[i] + add);
  return i;
}

inline size_t count_from(ByteView in, size_t i, uint8_t b) {
  size_t total = 0;
  for (; i < in.size; ++i) total += in[i] == b;
  return total;
}

// `next` is the first place a match may start (matches do not overlap).
// Inline, as the loops above: after the blocks only a few places are left,
// fewer than a call costs.
inline size_t count_needle_from(ByteView in, ByteView needle, size_t i, size_t next) {
  size_t total = 0;
  size_t p = i > next ? i : next;
  while (in.size >= needle.size && p <= in.size - needle.size) {
    // The first byte before a call: most places fail there.
    if (in[p] == needle[0] && std::memcmp(in.data + p, needle.data, needle.size) == 0) {
      ++total;
      p += needle.size;
    } else {
      ++p;
    }
  }
  return total;
}
// The same out of line, for the wider levels' entries: inlined there, it
// moved their block loops and made a 64-byte level's count of a word in 1
// MiB of text 10% slower.
size_t count_needle_rest(ByteView in, ByteView needle, size_t i, size_t next);

// Moves `out` past what it writes.
inline void unescape_from(ByteView in, size_t i, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *&out) {
  uint8_t *o = out;
  for (; i < in.size; ++i) {
    uint8_t c = in[i];
    if (c == escape) {
      if (++i == in.size) break;  // a final escape stands for nothing
      c = static_cast<uint8_t>(in[i] + escaped_add);
    }
    *o++ = static_cast<uint8_t>(c + add);
  }
  out = o;
}

extern const Kernels kKernels;
}  // namespace plain

// The contracts of the block loops are in blocks.inc.
namespace sse2 {
Stop find_blocks(ByteView bytes, size_t from, const ByteSet &set);
Stop copy_blocks(ByteView bytes, size_t from, size_t at, const ByteSet &stop, uint8_t add, uint8_t *out);
size_t count_blocks(ByteView bytes, size_t from, uint8_t b, size_t &total);
size_t count_needle_blocks(ByteView bytes, ByteView needle, size_t from, size_t &next, size_t &total);
size_t unescape_blocks(ByteView bytes, size_t from, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *&out,
                       const uint8_t *end);
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
extern const Kernels kKernels;
}  // namespace avx2

// VBMI2 has a table of its own only for unescape; it shares the others.
namespace avx512 {
size_t find(ByteView bytes, size_t from, const ByteSet &set);
size_t copy_until(ByteView bytes, size_t from, const ByteSet &stop, uint8_t add, uint8_t *out);
size_t count(ByteView bytes, uint8_t b);
size_t count_short_or_long(ByteView bytes, ByteView needle);
extern const Kernels kKernels;
}  // namespace avx512

namespace vbmi2 {
extern const Kernels kKernels;
}  // namespace vbmi2

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::scan
