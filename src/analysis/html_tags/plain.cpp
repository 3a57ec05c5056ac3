#include "analysis/html_tags/levels.h"

namespace ztk::tags::plain {
namespace {

template <bool kFill>
size_t strip_as(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd,
                      uint8_t *bound, size_t &at) {
  Walk<kFill> w(in, from, filler, depth, out, outEnd, bound);
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
  return filler.unit != 0 ? strip_as<true>(in, from, filler, depth, out, outEnd, bound, at)
                          : strip_as<false>(in, from, filler, depth, out, outEnd, bound, at);
}

}  // namespace

const Kernels kKernels = {strip};

}  // namespace ztk::tags::plain
