// HTML tag removal: everything from "<" to its matching ">" goes, brackets
// included; brackets nest. With a replacement, each removed byte inside a tag
// is replaced by it. A ">" with no tag open is ordinary text.
#pragma once

#include <cstdint>
#include <cstring>

#include "text/byte_scan.h"
#include "frame/byte_view.h"

namespace ztk::tags {

// Appends the text of `in` without its tags to `out` (an AsciiStringHandle
// or anything with its take_bytes): text as one-byte appends, and per byte
// inside a tag one append of the replacement. Runs up to the next bracket
// are found a block at a time.
template <class Out>
void remove_tags(ByteView in, ByteView replacement, Out &out) {
  static constexpr scan::ByteSet kOpen{{'<', '<'}};
  static constexpr scan::ByteSet kBrackets{{'<', '<'}, {'>', '>'}};
  int64_t depth = 0;
  size_t i = 0;
  while (i < in.size) {
    const size_t end = scan::find(in, i, depth == 0 ? kOpen : kBrackets);
    if (end > i && (depth == 0 || !replacement.empty())) {
      const auto run = static_cast<int64_t>(end - i);
      if (depth == 0) {
        uint8_t *o = out.take_bytes(run);
        if (o == nullptr) return;
        std::memcpy(o, in.data + i, end - i);
      } else {
        uint8_t *o = out.take_bytes(run, static_cast<int64_t>(replacement.size));
        if (o == nullptr) return;
        for (int64_t k = 0; k < run; ++k, o += replacement.size) std::memcpy(o, replacement.data, replacement.size);
      }
    }
    if (end == in.size) return;
    depth += in[end] == '<' ? 1 : -1;  // a ">" is only looked for inside a tag
    i = end + 1;
  }
}

}  // namespace ztk::tags
