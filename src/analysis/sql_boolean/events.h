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

// The separators as a table: a test of a byte with no branch.
struct SeparatorTable {
  bool at[256] = {};
  constexpr SeparatorTable() {
    for (int b = 0; b < 256; ++b) at[b] = b >= 0x80 || b < 0x21 || b == '(' || b == ')' || b == ',' || b == ';';
  }
};
inline constexpr SeparatorTable kSeparators{};

// What starts at p: 1 for a stand-alone true, 2 for a stand-alone false, 0
// otherwise (p is after a separator). Eight bytes read at once where the text
// holds them, compared in any case: a byte | 0x20 is a lower-case letter of
// the words exactly as word_at tests it.
[[gnu::always_inline]] inline int word_kind(ByteView in, size_t p) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  if (in.size - p >= 8) {
    uint64_t x;
    std::memcpy(&x, in.data + p, 8);
    const uint64_t lower = x | 0x2020202020202020ULL;
    constexpr uint64_t kTrue = uint64_t{'t'} | uint64_t{'r'} << 8 | uint64_t{'u'} << 16 | uint64_t{'e'} << 24;
    constexpr uint64_t kFalse = uint64_t{'f'} | uint64_t{'a'} << 8 | uint64_t{'l'} << 16 | uint64_t{'s'} << 24 |
                                uint64_t{'e'} << 32;
    const bool isTrue = (lower & 0xFFFFFFFFULL) == kTrue && kSeparators.at[(x >> 32) & 0xFF];
    const bool isFalse = (lower & 0xFFFFFFFFFFULL) == kFalse && kSeparators.at[(x >> 40) & 0xFF];
    return isTrue ? 1 : isFalse ? 2 : 0;
  }
#endif
  return word_at(in, p, "true", 4) ? 1 : word_at(in, p, "false", 5) ? 2 : 0;
}

// The index of the lowest set lane of m, which is not 0. (On x86-64 the
// builtin's int result would be widened again before every use as an index;
// rep bsf is tzcnt where the CPU has it and bsf elsewhere, the same for a
// word that is not 0.)
[[gnu::always_inline]] inline size_t lowest_lane(uint64_t m) {
#if defined(__x86_64__)
  size_t k;
  __asm__("rep bsfq %1, %0" : "=r"(k) : "rm"(m) : "cc");
  return k;
#else
  return static_cast<size_t>(__builtin_ctzll(m));
#endif
}

// Copies n bytes with fixed-size moves, never past either end: the runs
// between booleans are short, where a call to memcpy costs more than they do.
[[gnu::always_inline]] inline void copy_run(uint8_t *to, const uint8_t *from, size_t n) {
  if (n > 64) {
    std::memcpy(to, from, n);
  } else if (n >= 16) {
    for (size_t k = 0; k + 16 < n; k += 16) std::memcpy(to + k, from + k, 16);
    std::memcpy(to + n - 16, from + n - 16, 16);
  } else if (n >= 8) {
    std::memcpy(to, from, 8);
    std::memcpy(to + n - 8, from + n - 8, 8);
  } else if (n >= 4) {
    std::memcpy(to, from, 4);
    std::memcpy(to + n - 4, from + n - 4, 4);
  } else {
    for (size_t k = 0; k < n; ++k) to[k] = from[k];
  }
}

// Copies n bytes, 16 at a time while there are as many: the runs of the
// first and last blocks, at most a few blocks long.
[[gnu::always_inline]] inline void copy_pieces(uint8_t *to, const uint8_t *from, size_t n) {
  for (; n >= 16; n -= 16, to += 16, from += 16) std::memcpy(to, from, 16);
  copy_run(to, from, n);
}

// Copies 64 bytes with fixed-size moves.
[[gnu::always_inline]] inline void copy64(uint8_t *to, const uint8_t *from) {
  std::memcpy(to, from, 16);
  std::memcpy(to + 16, from + 16, 16);
  std::memcpy(to + 32, from + 32, 16);
  std::memcpy(to + 48, from + 48, 16);
}

// What the blocks read in place start from and hand back: the block at `at`
// (up to `last`), whose byte at[i] goes to outAt[i] (the output is written
// up to there); and the quote open, 0 for none.
struct InPlace {
  const uint8_t *at;
  const uint8_t *last;
  uint8_t *outAt;
  uint8_t quote;
};

// The blocks of rewrite_marked that the text goes on for more than a block
// after, each stored as it is read, and after a word the 64 bytes after it:
// a word moves the output back by the bytes it saves. A word that ends past
// its block's end starts the next block where it ends, so that block's
// store writes nothing of the word. Each mark costs the test of its kind
// only: the loop outside quotes tells words from quotes, the one inside
// looks for the closing quote alone. Each level runs this in a function of
// its own (Level::rewrite_in_place), where the loop's state has the
// registers to itself.
template <class Level>
[[gnu::always_inline]] inline void rewrite_in_place(InPlace &s) {
  uint32_t kTrue, kFals;  // the first four letters in any case, as one load of them | 0x20 gives them
  std::memcpy(&kTrue, "true", 4);
  std::memcpy(&kFals, "fals", 4);
  const bool *separators = kSeparators.at;
  // (Values the compiler cannot build again, so that it keeps them in
  // registers across the jumps between the loops.)
  __asm__("" : "+r"(kTrue), "+r"(kFals), "+r"(separators));
  constexpr size_t kBlock = 64;
  const uint8_t *at = s.at;
  // Where the output of a byte of the text goes, as the distance between
  // the two (taken modulo the address space): a block moves on with one step.
  uintptr_t shift = reinterpret_cast<uintptr_t>(s.outAt) - reinterpret_cast<uintptr_t>(at);
  auto out_of = [&](const uint8_t *p) __attribute__((always_inline)) {
    return reinterpret_cast<uint8_t *>(reinterpret_cast<uintptr_t>(p) + shift);
  };
  uint8_t quote = s.quote;
  // The quote state is where the code runs: the marks outside quotes and
  // those inside them have a loop each, each going on to the next block
  // itself, and a quote jumps from one to the other with no test of a state
  // on the way.
  const uint8_t *const last = s.last;
  auto marks = [&]() __attribute__((always_inline)) { return Level::marks_stored(at, out_of(at)); };
  // The next block's, read before the step to it, so the loop steps once.
  auto next_marks = [&]() __attribute__((always_inline)) {
    return Level::marks_stored(at + kBlock, out_of(at + kBlock));
  };
  const uint8_t *const lastButOne = last - kBlock;
  uint64_t m;
  if (at > last) goto done;
  m = marks();
  if (quote != 0) goto inside;
outside:
  // (Each loop clears a mark last, so the clearing itself tells whether any
  // is left.)
  while (m == 0) {
    if (at > lastButOne) goto done_next;
    m = next_marks();
    at += kBlock;
  }
  for (;;) {
    const size_t k = lowest_lane(m);
    const uint8_t *const word = at + k;
    uint32_t w;
    std::memcpy(&w, word, 4);
    w |= 0x20202020U;
    // Each kind writes with its length fixed, so a word is a byte, a step
    // back and one fixed copy. The lanes after a word that ends past the
    // block are its letters, no marks.
    if (w == kTrue) {
      if (separators[word[4]] && separators[word[-1]]) {
        *out_of(word) = '1';
        shift -= 3;
        copy64(out_of(word + 4), word + 4);
        if (__builtin_expect(k > kBlock - 4, 0)) {
          at = word + 4 - kBlock;
          goto outside_next;
        }
      }
    } else if (w == kFals) {
      if ((word[4] | 0x20) == 'e' && separators[word[5]] && separators[word[-1]]) {
        *out_of(word) = '0';
        shift -= 4;
        copy64(out_of(word + 5), word + 5);
        if (__builtin_expect(k > kBlock - 5, 0)) {
          at = word + 5 - kBlock;
          goto outside_next;
        }
      }
    } else if (static_cast<uint8_t>(w) < 0x40 && (static_cast<uint8_t>(w) == '\'' || static_cast<uint8_t>(w) == '"')) {
      // (A letter's byte | 0x20 is above it, a quote's below, and itself.
      // The empty asm keeps the compiler from copying the byte to `quote`
      // ahead of the test, for every letter.)
      quote = static_cast<uint8_t>(w);
      __asm__("" : "+r"(quote));
      m &= m - 1;
      goto inside;
    }
    m &= m - 1;
    if (m == 0) goto outside;
  }
outside_next:
  m = 0;
  goto outside;
inside:
  while (m == 0) {
    if (at > lastButOne) goto done_next;
    m = next_marks();
    at += kBlock;
  }
  for (;;) {
    const size_t k = lowest_lane(m);
    m &= m - 1;
    if (at[k] == quote) {
      quote = 0;
      goto outside;
    }
    if (m == 0) goto inside;
  }
done_next:
  // (Stepped apart from the loop's own step, which stays in the loop.)
  __asm__("" : "+r"(at));
  at += kBlock;
done:
  s.at = at;
  s.outAt = out_of(at);
  s.quote = quote;
}

// The rewriting from one mask a block that may hold more lanes than the
// events: Level::marks(at) sets lane k of 64 for every quote and every t or f
// (any case) whose byte before (at[k - 1]) may be a separator, and may set
// others, as long as the marks are cheap to compute; each mark is then told
// apart by its byte and checked in place. Quotes are walked in order, so a
// quote inside quotes of the other kind, and any mark inside quotes, is text.
// A block is read from at[-1] to at[71] (the byte before it and a word's last
// bytes); the first block and those near the end are read from a padded
// copy, whose padding is no separator, so a word at the end of the text is
// no word, as the end of the text is no separator.
//
// The output never runs ahead of the input, so it is written in place in
// room taken once for the whole text (counted as one append, as the
// byte-at-a-time appends of at most that many bytes would leave the buffer's
// rule where it was); a buffer with less room takes the event loop. Where
// the text goes on for more than a block after a block, the block's bytes
// are stored as they are read (Level::marks_stored) and, after a word, the
// 64 bytes after it, ahead of where the output has reached: a word is then
// a byte and one fixed copy. In the first and last blocks the bytes before
// each word are copied as a run.
template <class Level>
[[gnu::always_inline]] inline void rewrite_marked(ByteView in, AsciiStringHandle &out) {
  if (!out.alive()) return;
  if (int64_t{out.used} + static_cast<int64_t>(in.size) + 4 > out.limit) {
    EventCursor<Level> cursor(in);
    rewrite(in, out, cursor);
    return;
  }
  uint8_t *const begin = out.take_append(static_cast<int64_t>(in.size), 0);
  if (begin == nullptr) return;
  uint32_t kTrue, kFals;  // the first four letters in any case, as one load of them | 0x20 gives them
  std::memcpy(&kTrue, "true", 4);
  std::memcpy(&kFals, "fals", 4);
  uint8_t *o = begin;  // where in[from] goes
  size_t from = 0;     // the bytes before it are written
  uint8_t quote = 0;   // the quote open, 0 for none
  constexpr size_t kBlock = 64, kAfter = 8;  // a word's bytes read past a block
  // The events of the block at `base` read at `at`.
  auto events = [&](const uint8_t *at, size_t base, uint64_t m) __attribute__((always_inline)) {
    for (; m != 0; m &= m - 1) {
      const size_t k = static_cast<unsigned>(__builtin_ctzll(m));
      const uint8_t *const word = at + k;
      const uint8_t c = word[0];
      if (quote != 0) {
        if (c == quote) quote = 0;
        continue;
      }
      // A word first, the quotes after: a quote's load | 0x20 is no word.
      uint32_t w;
      std::memcpy(&w, word, 4);
      w |= 0x20202020U;
      size_t len;
      if (w == kTrue && kSeparators.at[word[4]]) {
        len = 4;
      } else if (w == kFals && (word[4] | 0x20) == 'e' && kSeparators.at[word[5]]) {
        len = 5;
      } else {
        if (c == '\'' || c == '"') quote = c;
        continue;
      }
      if (!kSeparators.at[word[-1]]) continue;
      const size_t p = base + k;
      // A word starts after the separator that follows the word before.
      if (p < from) __builtin_unreachable();
      copy_pieces(o, in.data + from, p - from);
      o += p - from;
      *o++ = len == 5 ? '0' : '1';
      from = p + len;
    }
  };
  alignas(16) uint8_t copy[1 + kBlock + kAfter];
  auto padded = [&](size_t base) __attribute__((always_inline)) {
    const size_t n = in.size - base < kBlock + kAfter ? in.size - base : kBlock + kAfter;
    copy[0] = base == 0 ? ' ' : in[base - 1];  // the text's start counts as a separator
    std::memcpy(copy + 1, in.data + base, n);
    std::memset(copy + 1 + n, 'x', kBlock + kAfter - n);
    events(copy + 1, base, Level::marks(copy + 1));
  };
  size_t base = 0;
  if (in.size > 0) {
    padded(0);
    base = kBlock;
  }
  if (base + kBlock + kBlock + kAfter <= in.size) {
    // The bytes so far written, as the blocks after write ahead; a word
    // that ended past the block's end starts the blocks where it ends.
    if (from <= base) {
      copy_pieces(o, in.data + from, base - from);
      o += base - from;
      from = base;
    }
    InPlace state{in.data + from, in.data + (in.size - (kBlock + kBlock + kAfter)), o, quote};
    Level::rewrite_in_place(state);
    base = from = static_cast<size_t>(state.at - in.data);
    o = state.outAt;
    quote = state.quote;
  }
  for (; base < in.size; base += kBlock) padded(base);
  copy_pieces(o, in.data + from, in.size - from);
  o += in.size - from;
  const auto written = static_cast<int64_t>(o - begin);
  out.take_append(written, written);
}

}  // namespace ztk::sql
