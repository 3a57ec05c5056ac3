#include "text/byte_scan/levels.h"

#include <cstring>

namespace ztk::scan::plain {

size_t count_needle_rest(ByteView in, ByteView needle, size_t i, size_t next) {
  return count_needle_from(in, needle, i, next);
}

const Kernels kKernels = {
    find_from,
    [](ByteView in, size_t from, const ByteSet &stop, uint8_t add, uint8_t *out) {
      return copy_from(in, from, from, stop, add, out);
    },
    [](ByteView in, uint8_t b) { return count_from(in, 0, b); },
    [](ByteView in, ByteView needle) { return count_needle_from(in, needle, 0, 0); },
    [](ByteView in, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *out) {
      uint8_t *o = out;
      unescape_from(in, 0, escape, add, escaped_add, o);
      return static_cast<size_t>(o - out);
    },
};

}  // namespace ztk::scan::plain
