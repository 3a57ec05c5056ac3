#include "analysis/html_tags/levels.h"

namespace ztk::tags::plain {
namespace {

template <bool kFill, bool kBound>
size_t strip_as(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd,
                uint8_t *bound, size_t &at) {
  Walk<kFill, kBound> w(in, from, filler, depth, out, outEnd, bound);
  size_t i = from;
  if constexpr (kFill) {
    for (; i + 64 <= in.size; i += 64) {
      i = w.blocks(
          i, [](const uint8_t *p) { return equal_bits_of(p, 0x3C3C3C3C3C3C3C3Cull); },
          [](const uint8_t *p) { return equal_bits_of(p, 0x3E3E3E3E3E3E3E3Eull); });
      if (i + 64 > in.size) break;
      uint64_t open, close;
      masks(in.data + i, 64, open, close);
      if (!w.fits_block()) {
        if (!w.bounded(open, close, i, 64)) return w.stop(depth, at);
        continue;
      }
      w.step(open, close, i, 64);
    }
  }
  return finish_from(w, i, depth, at);
}

// The two forms apart, each with its own walk.
size_t strip(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd,
             uint8_t *bound, size_t &at) {
  if (filler.unit == 0) return strip_as<false, false>(in, from, filler, depth, out, outEnd, bound, at);
  // The bound out of reach of the whole rest: the walk without its tests.
  if ((in.size - from) * filler.unit <= static_cast<size_t>(bound - out)) {
    return strip_as<true, false>(in, from, filler, depth, out, outEnd, bound, at);
  }
  return strip_as<true, true>(in, from, filler, depth, out, outEnd, bound, at);
}

}  // namespace

const Kernels kKernels = {strip};

}  // namespace ztk::tags::plain
