// SQL boolean rewriting: every stand-alone word true or false (any letter
// case), outside single and double quotes, becomes 1 or 0. A word stands
// alone between separators: bytes below 0x21 taken as signed (so also
// 0x80-0xFF), and ( ) , ; -- "a = true" is rewritten, "a=true" is not, and
// the end of the text does not end a word.
#pragma once

#include <cstdint>

#include "text/byte_view.h"

namespace ztk::sql {

inline bool is_separator(uint8_t b) {
  return static_cast<int8_t>(b) < 0x21 || b == '(' || b == ')' || b == ',' || b == ';';
}

namespace detail {
// Whether `word` (lower case) starts at p and a separator follows it.
inline bool word_at(ByteView in, size_t p, const char *word, size_t len) {
  if (p + len >= in.size) return false;  // the end of the text is not a separator
  for (size_t k = 0; k < len; ++k) {
    if ((in[p + k] | 0x20) != static_cast<uint8_t>(word[k])) return false;
  }
  return is_separator(in[p + len]);
}
}  // namespace detail

// Calls emit(const uint8_t *bytes, size_t n) for each run of output.
template <class Emit>
void replace_booleans(ByteView in, Emit emit) {
  static const uint8_t kZero = '0', kOne = '1';
  bool single = false, dbl = false;
  int word = 1;  // 1 when the next byte would start a word
  size_t run = 0;  // start of the bytes copied since the last replacement
  size_t p = 0;
  while (p < in.size) {
    const uint8_t c = in[p];
    if (c == '\'' && !dbl) single = !single;
    if (c == '"' && !single) dbl = !dbl;
    const int w = is_separator(c) ? 0 : word;
    const uint8_t *replacement = nullptr;
    size_t skip = 1;
    if (!single && !dbl && w == 1) {
      if (detail::word_at(in, p, "false", 5)) {
        replacement = &kZero;
        skip = 5;
      } else if (detail::word_at(in, p, "true", 4)) {
        replacement = &kOne;
        skip = 4;
      }
    }
    if (replacement != nullptr) {
      if (p > run) emit(in.data + run, p - run);
      emit(replacement, 1);
      run = p + skip;
    }
    p += skip;
    word = w + 1 > 2 ? 2 : w + 1;
  }
  if (in.size > run) emit(in.data + run, in.size - run);
}

}  // namespace ztk::sql
