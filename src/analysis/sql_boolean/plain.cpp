#include "analysis/sql_boolean/events.h"
#include "analysis/sql_boolean/levels.h"

namespace ztk::sql::plain {
namespace {

bool is_event(ByteView in, size_t p, uint8_t quote) {
  if (quote != 0) return in[p] == quote;
  if (in[p] == '\'' || in[p] == '"') return true;
  // Most bytes follow a byte that is no separator: keep that path straight.
  if (__builtin_expect(p > 0 && !is_separator(in[p - 1]), 1)) return false;
  return word_at(in, p);
}

// A byte at a time.
struct Cursor {
  ByteView in;
  size_t next(size_t p, uint8_t quote) const {
    while (p < in.size && !is_event(in, p, quote)) ++p;
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
