// HTML tag removal: everything from "<" to its matching ">" goes, brackets
// included; brackets nest. With a replacement, each removed byte inside a tag
// is replaced by it. A ">" with no tag open is ordinary text.
#pragma once

#include "text/byte_view.h"

namespace ztk::tags {

// Calls emit(const uint8_t *bytes, size_t n) for each run of output.
template <class Emit>
void remove_tags(ByteView in, ByteView replacement, Emit emit) {
  int64_t depth = 0;
  size_t run = 0;  // start of the text bytes not yet emitted
  for (size_t i = 0; i < in.size; ++i) {
    const uint8_t b = in[i];
    const bool bracket = b == '<' || (b == '>' && depth > 0);
    if (depth == 0 && !bracket) continue;  // text: emitted as part of a run
    if (depth == 0 && i > run) emit(in.data + run, i - run);
    if (b == '<') {
      ++depth;
    } else if (b == '>' && depth > 0) {
      --depth;
    } else if (!replacement.empty()) {
      emit(replacement.data, replacement.size);
    }
    run = i + 1;
  }
  if (depth == 0 && in.size > run) emit(in.data + run, in.size - run);
}

}  // namespace ztk::tags
