#include "analysis/html_tags/levels.h"

namespace ztk::tags::plain {

const Kernels kKernels = {
    [](ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd) {
      Walk w(in, from, filler, depth, out, outEnd);
      return finish_from(w, from, depth);
    },
};

}  // namespace ztk::tags::plain
