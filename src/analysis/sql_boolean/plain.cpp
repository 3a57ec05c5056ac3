#include "analysis/sql_boolean/events.h"
#include "analysis/sql_boolean/levels.h"

namespace ztk::sql::plain {
namespace {

// A byte at a time. Outside quotes a byte is first tested for the letters a
// word starts with, which most bytes are not, before the byte before it.
struct Cursor {
  ByteView in;
  size_t next(size_t p, uint8_t quote) const {
    if (quote != 0) {
      while (p < in.size && in[p] != quote) ++p;
    } else {
      for (; p < in.size; ++p) {
        const uint8_t c = in[p], lower = c | 0x20;
        if (c == '\'' || c == '"') break;
        if ((lower == 't' || lower == 'f') && (p == 0 || is_separator(in[p - 1])) && word_at(in, p)) break;
      }
    }
    return p < in.size ? p : in.size;  // a start past the end finds nothing, as at every level
  }
};

}  // namespace

const Kernels kKernels = {
    [](ByteView in, size_t from) { return Cursor{in}.next(from, 0); },
    [](ByteView in, AsciiStringHandle &out) {
      Cursor cursor{in};
      rewrite(in, out, cursor);
    },
};

}  // namespace ztk::sql::plain
