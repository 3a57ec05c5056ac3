#include "codecs/html/levels.h"

namespace ztk::html::plain {

const Kernels kKernels = {
    [](U16View units, uint16_t *out, uint16_t *outEnd) {
      DecodeWalk w(units, out, outEnd);
      return decode_from(w, 0);
    },
    [](U16View units, size_t from, bool keepASCII, uint8_t *out) {
      EncodeWalk w(units.data, out);
      return encode_from(w, units, from, keepASCII);
    },
};

}  // namespace ztk::html::plain
