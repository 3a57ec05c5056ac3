// SQL boolean rewriting: every stand-alone word true or false (any letter
// case), outside single and double quotes, becomes 1 or 0. A word stands
// alone between separators: bytes below 0x21 taken as signed (so also
// 0x80-0xFF), and ( ) , ; -- "a = true" is rewritten, "a=true" is not, and
// the end of the text does not end a word. The search for quotes and words
// runs at the active vector level (frame/dispatch.h); sql_boolean/ holds one
// source per level.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"
#include "text/string_handles.h"

namespace ztk::sql {

inline bool is_separator(uint8_t b) {
  return static_cast<int8_t>(b) < 0x21 || b == '(' || b == ')' || b == ',' || b == ';';
}

struct Kernels {
  // The first index at or after `from` that holds a quote, or starts a
  // stand-alone true or false (any case); in.size when there is none. Outside
  // quotes nothing else can change the output.
  size_t (*find_event)(ByteView in, size_t from);
  // Appends the statement with its stand-alone booleans rewritten to `out`,
  // every byte as a one-byte append.
  void (*replace_booleans)(ByteView in, AsciiStringHandle &out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

inline size_t find_event(ByteView in, size_t from) { return kernels().find_event(in, from); }
inline void replace_booleans(ByteView in, AsciiStringHandle &out) { kernels().replace_booleans(in, out); }

// The byte-at-a-time versions every vector level must equal.
size_t find_event_reference(ByteView in, size_t from);
void replace_booleans_reference(ByteView in, AsciiStringHandle &out);

}  // namespace ztk::sql
