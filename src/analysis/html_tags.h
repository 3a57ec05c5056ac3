// HTML tag removal: everything from "<" to its matching ">" goes, brackets
// included; brackets nest. With a replacement, each removed byte inside a tag
// is replaced by it. A ">" with no tag open is ordinary text.
//
// The brackets are found a block at a time at the active vector level
// (html_tags/ holds one source per level), and the runs between them are
// moved in blocks.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/byte_view.h"
#include "frame/dispatch.h"
#include "text/byte_scan.h"
#include "text/string_handles.h"

namespace ztk::tags {

// What is written for each byte inside a tag: the replacement repeated to
// fill `span` bytes (a multiple of its length, at most 64), with 16 bytes
// readable beyond; `unit` is its length, 0 for none.
struct Filler {
  uint8_t pattern[80] = {};
  size_t unit = 0, span = 0;
};
// The filler of a replacement of at most 64 bytes.
inline Filler filler_of(ByteView replacement) {
  Filler f;
  f.unit = replacement.size;
  if (f.unit == 0) return f;
  f.span = 64 - 64 % f.unit;
  std::memcpy(f.pattern, replacement.data, f.unit);
  for (size_t have = f.unit; have < f.span; have *= 2) {
    std::memcpy(f.pattern + have, f.pattern, have < f.span - have ? have : f.span - have);
  }
  return f;
}

struct Kernels {
  // Writes the text of in[from, in.size) without its tags to `out`, and the
  // filler for every byte inside a tag; `depth` is the tag depth before and
  // after. Returns the bytes written (at most (in.size - from) times the
  // larger of 1 and the filler's unit). Whole 16-byte stores may go past
  // what is written, never past `outEnd`, and no load passes in.size.
  //
  // With a filler, no byte is written past `bound` (where the caller's
  // buffer rule would grow): the kernel stops at `at`, the first byte of a
  // run (text, or the inside of a tag, up to its bracket or a block's edge)
  // that would pass it, with all before `at` written. `at` is in.size when
  // it went through. The form without a filler writes no more than it
  // reads: its callers give it no more than the room holds, and it never
  // stops.
  size_t (*strip)(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd,
                  uint8_t *bound, size_t &at);
};

extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

// The one-byte-at-a-time version every level must equal: the whole of `in`
// from depth 0, into room for in.size times max(1, replacement.size) bytes.
size_t strip_reference(ByteView in, ByteView replacement, uint8_t *out);

// Appends the text of `in` without its tags to `out`: text as one-byte
// appends, and per byte inside a tag one append of the replacement.
// The bytes in[from, in.size) at tag depth `depth`, which it updates; false
// when the buffer died. With `next`, it stops after the first run whose
// appends grew the buffer's rule, and sets *next to where it stopped:
// in.size when none grew it.
template <class Out>
bool remove_tags_by_runs(ByteView in, size_t from, ByteView replacement, int64_t &depth, Out &out,
                         size_t *next = nullptr) {
  static constexpr scan::ByteSet kOpen{{'<', '<'}};
  static constexpr scan::ByteSet kBrackets{{'<', '<'}, {'>', '>'}};
  size_t i = from;
  if (next != nullptr) *next = in.size;
  const int64_t limit = out.limit;
  while (i < in.size) {
    const size_t end = scan::find(in, i, depth == 0 ? kOpen : kBrackets);
    if (end > i && (depth == 0 || !replacement.empty())) {
      const auto run = static_cast<int64_t>(end - i);
      if (depth == 0) {
        uint8_t *o = out.take_bytes(run);
        if (o == nullptr) return false;
        std::memcpy(o, in.data + i, end - i);
      } else {
        uint8_t *o = out.take_bytes(run, static_cast<int64_t>(replacement.size));
        if (o == nullptr) return false;
        for (int64_t k = 0; k < run; ++k, o += replacement.size) std::memcpy(o, replacement.data, replacement.size);
      }
    }
    if (end == in.size) return true;
    depth += in[end] == '<' ? 1 : -1;  // a ">" is only looked for inside a tag
    i = end + 1;
    if (next != nullptr && out.limit != limit) {
      *next = i;
      return true;
    }
  }
  return true;
}

// Appends the text of `in` without its tags to `out`: text as one-byte
// appends, and per byte inside a tag one append of the replacement. An
// append of n bytes grows the buffer's rule exactly when it would end past
// limit - 4, whatever its size: the kernel writes in place up to that bound
// and `used` moves once. Where it stops, the runs that follow go one append
// each, through the rule, until one of them has grown it; the kernel then
// goes on from there with the new bound. So the rule grows (or the buffer
// dies) at the very append where one append at a time would, about once
// every 4 KB of result, and the kernel is called about as often.
inline void remove_tags(ByteView in, ByteView replacement, AsciiStringHandle &out) {
  int64_t depth = 0;
  if (replacement.size > 64) {
    remove_tags_by_runs(in, 0, replacement, depth, out);
    return;
  }
  const Filler filler = filler_of(replacement);
  // Where the kernel stops, the run there grows the rule within this many
  // bytes (a run is cut at a block's edge at the latest); the form without a
  // filler, cut by its room, may need a few runs. A take of at most 64
  // bytes, at most 64 each, grows the rule at most once, as one append at a
  // time would: the block is resized at the same sizes.
  constexpr size_t kStretch = 64;
  const size_t per = filler.unit > 1 ? filler.unit : 1;
  for (size_t i = 0; i < in.size && out.alive();) {
    // A short rest that may grow the rule (a short call's whole input, most
    // often) goes run by run at once: the kernel would stop in it anyway.
    const size_t left = in.size - i;
    if (left <= kStretch && out.limit - out.used - 4 < static_cast<int64_t>(left * per)) {
      remove_tags_by_runs(in, i, replacement, depth, out);
      return;
    }
    uint8_t *block = reinterpret_cast<uint8_t *>(*out.handle);
    uint8_t *blockEnd = block + out.capacity + (out.slack ? growth::kSlack : 0);
    // The form without a filler never stops: it gets the stretch the rule's
    // room surely holds (a byte writes at most one), which in the method is
    // the whole input.
    size_t end = in.size;
    if (filler.unit == 0 && out.limit - out.used - 4 < static_cast<int64_t>(left)) {
      end = i + static_cast<size_t>(out.limit - out.used - 4);
    }
    size_t at = end;
    if (end > i) {
      out.used += static_cast<int32_t>(kernels().strip({in.data, end}, i, filler, depth, block + out.used, blockEnd,
                                                       block + (out.limit - 4), at));
    }
    if (at == in.size) return;
    const size_t runsEnd = in.size - at > kStretch ? at + kStretch : in.size;
    if (!remove_tags_by_runs({in.data, runsEnd}, at, replacement, depth, out, &i)) return;
  }
}

}  // namespace ztk::tags
