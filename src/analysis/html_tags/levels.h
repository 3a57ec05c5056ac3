// The tag remover of each level. Every level walks the same state through
// bitmasks of the brackets of its blocks (walk.h) and stores a block with no
// "<" at depth 0 as it is; the levels differ in how they find the brackets,
// and finish the last bytes with narrower blocks, so no load passes the end
// of the input.
#pragma once

#include <cstring>

#include "analysis/html_tags.h"
#include "analysis/html_tags/walk.h"

namespace ztk::tags {

namespace plain {
// Internal to each source, so that a copy compiled for NEON (32-bit ARM
// builds only the NEON sources with NEON enabled) is never the one another
// source calls.
namespace {
// Bit k set where byte k of the little-endian word x equals the byte of `all`
// (`all` holds it in every byte): a zero test per byte without carries
// between them, then the eight top bits gathered by one multiplication.
inline uint64_t equal_bits(uint64_t x, uint64_t all) {
  constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full;
  const uint64_t t = x ^ all;
  const uint64_t zero = ~(((t & kLow7) + kLow7) | t | kLow7);
  return ((zero >> 7) * 0x0102040810204080ull) >> 56;
}
// The mask of the bytes equal to the byte of `all` in the 64 at p.
inline uint64_t equal_bits_of(const uint8_t *p, uint64_t all) {
  uint64_t m = 0;
  for (size_t k = 0; k < 64; k += 8) {
    uint64_t x;
    std::memcpy(&x, p + k, 8);
    m |= equal_bits(x, all) << k;
  }
  return m;
}
// The masks of p[0, w) for w <= 64 bytes, eight bytes at a time.
inline void masks(const uint8_t *p, size_t w, uint64_t &open, uint64_t &close) {
  open = close = 0;
  size_t k = 0;
  for (; k + 8 <= w; k += 8) {
    uint64_t x;
    std::memcpy(&x, p + k, 8);
    open |= equal_bits(x, 0x3C3C3C3C3C3C3C3Cull) << k;   // "<"
    close |= equal_bits(x, 0x3E3E3E3E3E3E3E3Eull) << k;  // ">"
  }
  for (; k < w; ++k) {
    open |= uint64_t{p[k] == '<'} << k;
    close |= uint64_t{p[k] == '>'} << k;
  }
}
// Walks in[i, in.size) and finishes the walk, or stops at the first block
// that might write past the walk's bound.
template <class W>
inline size_t finish_from(W &w, size_t i, int64_t &depth, size_t &at) {
  for (; i < w.size; i += 64) {
    const size_t n = w.size - i < 64 ? w.size - i : 64;
    uint64_t open, close;
    masks(w.in + i, n, open, close);
    if (!w.fits(n)) {
      if (!w.bounded(open, close, i, n)) return w.stop(depth, at);
      continue;
    }
    w.step(open, close, i, n);
  }
  return w.finish(depth, at);
}
}  // namespace
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
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

}  // namespace ztk::tags
