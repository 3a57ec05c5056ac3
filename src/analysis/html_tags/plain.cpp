#include "analysis/html_tags/levels.h"

namespace ztk::tags::plain {
namespace {

template <bool kFill>
size_t strip_as(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd) {
  Walk<kFill> w(in, from, filler, depth, out, outEnd);
  return finish_from(w, from, depth);
}

// The two forms apart, each with its own walk.
size_t strip(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd) {
  return filler.unit != 0 ? strip_as<true>(in, from, filler, depth, out, outEnd)
                          : strip_as<false>(in, from, filler, depth, out, outEnd);
}

}  // namespace

const Kernels kKernels = {strip};

}  // namespace ztk::tags::plain
