// What every level of the SQL rewriting shares: the loop over events, which
// each level runs with its own cursor, and the block-wise cursor of the vector
// levels. A vector level classifies 64 bytes at a time; the last block,
// shorter than that, is classified on a padded copy, so no load passes the
// end of the text.
#pragma once

#include <cstring>

#include "analysis/sql_boolean.h"

namespace ztk::sql {

// Whether `word` (lower case) starts at p and a separator follows it.
inline bool word_at(ByteView in, size_t p, const char *word, size_t len) {
  if (p + len >= in.size) return false;  // the end of the text is not a separator
  for (size_t k = 0; k < len; ++k) {
    if ((in[p + k] | 0x20) != static_cast<uint8_t>(word[k])) return false;
  }
  return is_separator(in[p + len]);
}

inline bool word_at(ByteView in, size_t p) { return word_at(in, p, "true", 4) || word_at(in, p, "false", 5); }

// The whole rewriting over one cursor, so an event costs a few bit
// operations and no call. cursor.next(p, quote) gives the first event at or
// after p for the text outside quotes (quote 0) or inside quotes of that kind.
template <class Cursor>
[[gnu::always_inline]] inline void rewrite(ByteView in, AsciiStringHandle &out, Cursor &cursor) {
  static const uint8_t kZero = '0', kOne = '1';
  size_t run = 0;  // start of the bytes not yet copied
  auto copy_to = [&](size_t end) {
    if (end > run) {
      if (uint8_t *o = out.take_bytes(static_cast<int64_t>(end - run))) std::memcpy(o, in.data + run, end - run);
    }
  };
  size_t p = 0;
  while (out.alive()) {
    p = cursor.next(p, 0);
    if (p == in.size) break;
    const uint8_t c = in[p];
    if (c == '\'' || c == '"') {
      // Inside quotes only the closing quote of the same kind counts.
      p = cursor.next(p + 1, c);
      if (p == in.size) break;
      ++p;
      continue;
    }
    const bool is_false = (c | 0x20) == 'f';
    copy_to(p);
    if (uint8_t *o = out.take_bytes(1)) *o = is_false ? kZero : kOne;
    p += is_false ? 5 : 4;
    run = p;
  }
  copy_to(in.size);
}

// What a vector level reports for the 64 bytes of a block, lane k for byte k:
// quotes, separators, and the letters t and f (any case) that could start a
// word.
struct LaneClasses {
  uint64_t single = 0, dbl = 0, separator = 0, starts = 0;
};

// The events at or after a position, one 64-byte block of masks at a time:
// each block is classified once (Level::classify), and the quote state picks
// which of its masks count. A "t" or "f" after a separator is checked as a
// whole word in the text itself, which is rare enough to do a byte at a time.
template <class Level>
class EventCursor {
 public:
  static constexpr size_t kBlock = 64;

  explicit EventCursor(ByteView in) : in_(in) {}

  [[gnu::always_inline]] size_t next(size_t p, uint8_t quote) {
    while (p < in_.size) {
      if (!loaded_ || p < base_ || p - base_ >= kBlock) load(p);
      const uint64_t events = quote == 0 ? (single_ | dbl_ | words_) : quote == '\'' ? single_ : dbl_;
      const uint64_t m = events & (~uint64_t{0} << (p - base_));
      if (m != 0) return base_ + static_cast<size_t>(__builtin_ctzll(m));
      p = base_ + kBlock;
    }
    return in_.size;
  }

 private:
  [[gnu::always_inline]] void load(size_t base) {
    loaded_ = true;
    base_ = base;
    const uint8_t *at = in_.data + base;
    uint64_t inside = ~uint64_t{0};  // the lanes within the text
    if (in_.size - base < kBlock) {
      // Padding that is no event, nor a separator before one.
      const size_t n = in_.size - base;
      std::memcpy(copy_, at, n);
      std::memset(copy_ + n, 'x', kBlock - n);
      at = copy_;
      inside = (uint64_t{1} << n) - 1;
    }
    const LaneClasses c = Level::classify(at);
    single_ = c.single & inside;
    dbl_ = c.dbl & inside;
    // The text's first byte starts a word as if a separator stood before it.
    const uint64_t before = base == 0 || is_separator(in_[base - 1]) ? 1 : 0;
    uint64_t words = 0;
    for (uint64_t m = c.starts & inside & ((c.separator << 1) | before); m != 0; m &= m - 1) {
      if (word_at(in_, base + static_cast<size_t>(__builtin_ctzll(m)))) words |= m & (~m + 1);
    }
    words_ = words;
  }

  ByteView in_;
  size_t base_ = 0;
  bool loaded_ = false;
  uint64_t single_ = 0, dbl_ = 0, words_ = 0;
  uint8_t copy_[kBlock];
};

}  // namespace ztk::sql
