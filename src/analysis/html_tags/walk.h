// One pass of the tag remover over bitmasks of the brackets, block after
// block, whatever found them. Text runs are copied when they end, in 16-byte
// moves; runs inside a tag are filled the same way when there is a filler.
// Only the brackets cost a few instructions each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "analysis/html_tags.h"
#include "frame/byte_view.h"

namespace ztk::tags {
// Internal to each source that includes it, so that a copy compiled for NEON
// (32-bit ARM builds only the NEON sources with NEON enabled) is never the
// one another source calls.
namespace {

// The index of the lowest set bit of x (not 0), with no sign to extend.
inline unsigned lowest(uint64_t x) { return static_cast<unsigned>(__builtin_ctzll(x)); }

// The same as a word, for address arithmetic. On x86-64 one BSF: the
// compiler's TZCNT comes with a clearing XOR against a false dependency of
// older cores, an instruction more per bracket where a tag costs about 20.
inline uint64_t lowest_word(uint64_t x) {
#if defined(__x86_64__)
  uint64_t r;
  __asm__("bsfq %1, %0" : "=r"(r) : "rm"(x) : "cc");
  return r;
#else
  return static_cast<uint64_t>(__builtin_ctzll(x));
#endif
}

// kFill: with a filler (the form that writes a replacement for the bytes
// inside tags); the two forms are separate instances, so that the one without
// carries none of the other's tests or registers. kBound: with a filler, the
// bound may be reached; a call whose whole rest surely fits (a replacement of
// one byte, a short rest) takes the instance without its tests.
template <bool kFill, bool kBound = kFill>
struct Walk {
  const uint8_t *in;
  size_t size;
  uint8_t *out;          // where the next byte goes
  uint8_t *outStart;
  uint8_t *outEnd;       // whole 16-byte stores may reach up to here
  const Filler *filler;
  ptrdiff_t inFar;       // the last offset 64 bytes can be read from
  ptrdiff_t outFar;      // the last output offset 64 bytes can be stored at
  ptrdiff_t blockFar;     // the last block that can take the whole-block path
  uintptr_t outBlockFar;  // the last output address from which that path may write
  uint8_t *bound;         // with a filler: no byte is written past it
  uintptr_t blockBound;   // with a filler: the last output address a block of 64 may start from
  // filled[k]: k times the filler's unit up to k = 16, once blocks() has set
  // it up. Room for 64: a member of 17 changed how the compiler kept the
  // walk's other fields at the wider levels (their loops 0.7% more
  // instructions), where this one costs only stack.
  size_t filled[64];
  bool filled_ready = false;
  size_t start;          // the current run: text at depth 0, the bytes since the last bracket inside a tag
  int64_t depth;

  Walk(ByteView bytes, size_t from, const Filler &f, int64_t d, uint8_t *o, uint8_t *end, uint8_t *b)
      : in(bytes.data),
        size(bytes.size),
        out(o),
        outStart(o),
        outEnd(end),
        filler(&f),
        inFar(static_cast<ptrdiff_t>(bytes.size) - 64),
        outFar((end - o) - 64),
        bound(b),
        start(from),
        depth(d) {
    // The whole-block path reads up to 64 bytes from anywhere in its block
    // and stores up to 64 bytes past every piece it writes: a block of 64
    // writes at most 64 times the filler's unit, or 64 bytes. Set up in a
    // few instructions, for the short calls: an address below `o` (no room)
    // turns the path off.
    blockFar = static_cast<ptrdiff_t>(bytes.size) - 128;
    outBlockFar = reinterpret_cast<uintptr_t>(end) - (64 * f.unit + 128);
    blockBound = reinterpret_cast<uintptr_t>(b) - 64 * f.unit;
  }

  // With a filler: whether the next `width` bytes of input, whatever they
  // are, write no byte past the bound (the form without one never stops).
  bool fits(size_t width) const {
    return !kBound || reinterpret_cast<uintptr_t>(out) + width * filler->unit <= reinterpret_cast<uintptr_t>(bound);
  }
  bool fits_block() const { return !kBound || reinterpret_cast<uintptr_t>(out) <= blockBound; }
  // With a filler: the end of the whole blocks from `i` on that surely fit
  // below the bound, at most `size` (the form without one: `size`), so that
  // a loop of blocks tests its room once a stretch, not once a block.
  size_t sure_end(size_t i) const {
    if (!kBound) return size;
    const size_t room = static_cast<size_t>(bound - out) / (64 * filler->unit);
    return room >= (size - i) / 64 ? size : i + 64 * room;
  }

  // Stops at in[start], everything before it written; returns the bytes
  // written and hands back the depth and where it stopped.
  size_t stop(int64_t &depthAfter, size_t &at) {
    depthAfter = depth;
    at = start;
    return static_cast<size_t>(out - outStart);
  }

  // A block that might write past the bound, from its start: its runs one
  // at a time, each written where it fits whole. False at the first that
  // does not, with `start` at its first byte (there the caller's rule
  // grows, within this run); true with the block written.
  bool bounded(uint64_t open, uint64_t close, size_t base, size_t width) {
    if constexpr (kFill) {
      size_t pos = start;
      for (;;) {
        const uint64_t m = depth == 0 ? open : (open | close);  // a ">" outside a tag is text
        const size_t e = m != 0 ? base + lowest(m) : base + width;
        const size_t n = (e - pos) * (depth == 0 ? 1 : filler->unit);
        if (reinterpret_cast<uintptr_t>(out) + n > reinterpret_cast<uintptr_t>(bound)) {
          start = pos;
          return false;
        }
        if (depth == 0) {
          text(pos, e);
        } else {
          fill(e - pos);
        }
        if (m == 0) break;
        const uint64_t bit = m & (0 - m);
        depth += (open & bit) != 0 ? 1 : -1;
        const uint64_t above = ~(bit * 2 - 1);
        open &= above;
        close &= above;
        pos = e + 1;
      }
    } else {
      step_by_brackets(open, close, base, width);
    }
    start = base + width;
    return true;
  }

  // Copies in[a, b) to the output. Runs end at the latest with their block,
  // so most are at most 64 bytes long: those move in four 16-byte steps
  // without a loop where both sides have room for them.
  void text(size_t a, size_t b) {
    const uint8_t *p = in + a;
    size_t n = b - a;
    if (n <= 64 && static_cast<ptrdiff_t>(a) <= inFar && out - outStart <= outFar) {
      piece(p, n);
      return;
    }
    for (; n >= 16; n -= 16, p += 16, out += 16) std::memcpy(out, p, 16);
    if (n == 0) return;
    if (static_cast<size_t>(in + size - p) >= 16 && static_cast<size_t>(outEnd - out) >= 16) {
      std::memcpy(out, p, 16);
    } else {
      std::memcpy(out, p, n);
    }
    out += n;
  }

  // Writes the filler for k bytes, its pattern a span at a time.
  void fill(size_t k) {
    for (size_t total = k * filler->unit; total > 0;) {
      size_t n = total < filler->span ? total : filler->span;
      total -= n;
      const uint8_t *p = filler->pattern;
      for (; n >= 16; n -= 16, p += 16, out += 16) std::memcpy(out, p, 16);
      if (n == 0) continue;
      if (static_cast<size_t>(outEnd - out) >= 16) {
        std::memcpy(out, p, 16);  // the pattern has 16 readable bytes past its span
      } else {
        std::memcpy(out, p, n);
      }
      out += n;
    }
  }

  // Takes the brackets of the block of up to 64 bytes at `base`: bit k of
  // `open` and `close` for in[base + k].
  // Writes a block of `width` bytes at `base` with no "<" at depth 0 (the
  // level has stored them): what is left of the run before it is copied.
  void clean(size_t base, size_t width) {
    start = base + width;
    out += width;
  }

  // Takes the brackets of the block of `width` <= 64 bytes at `base`: bit k
  // of `open` and `close` for in[base + k]. A text run is copied up to the
  // block's end, so that a block that follows with no "<" is stored whole.
  __attribute__((always_inline)) void step(uint64_t open, uint64_t close, size_t base, size_t width) {
    if (width == 64 && whole_block(open, close, base)) return;
    step_by_brackets(open, close, base, width);
  }

  // step() without the whole-block path: for the blocks that end the input.
  // Both runs are written up to the block's end, so that the whole-block path
  // starts with nothing pending.
  __attribute__((always_inline)) void step_by_brackets(uint64_t open, uint64_t close, size_t base, size_t width) {
    brackets(open, close, base);
    if (depth == 0) {
      text(start, base + width);
    } else if (kFill) {
      fill(base + width - start);
    }
    start = base + width;
  }

  // A block whose brackets take turns, "<" then ">", from depth 0 or 1 (most
  // markup): one subtraction of its bracket masks tells every byte's side,
  // and the block goes out run by run, without the bracket-by-bracket walk.
  // False, with nothing written, for any other block or where the output has
  // too little room.
  __attribute__((always_inline)) bool whole_block(uint64_t open, uint64_t close, size_t base) {
    if (depth > 1 || static_cast<ptrdiff_t>(base) > blockFar) return false;
    // Bit k: in[base + k] is at depth 1 once it is read, "<" included. Where
    // the brackets take turns, each pair "<" at a, ">" at b adds bits a to
    // b - 1 by the difference of its two bits, and the pairs' spans do not
    // overlap; an open tag at the start adds bits 0 to b - 1 (the "- 1"),
    // one at the end bits a to 63 (the borrow). Where they do not take
    // turns, some "<" lands outside these spans or some ">" inside: the
    // same test as on the prefix parity of the brackets.
    const uint64_t inside = close - open - static_cast<uint64_t>(depth);
    if (((open & ~inside) | (close & inside)) != 0) return false;  // a "<" inside, or a ">" outside
    const uint8_t *block = in + base;
    if (reinterpret_cast<uintptr_t>(out) > outBlockFar) return false;
    if (!kFill) {
      copy_runs(block, ~(inside | close));
    } else {
      tag_by_tag(block, open, close, filler->unit);
    }
    depth = static_cast<int64_t>(inside >> 63);
    start = base + 64;
    return true;
  }

  // The form with a filler over whole blocks whose brackets take turns, from
  // block i on, for as long as they do and both sides have room: its state
  // in locals, so that the loop keeps it in registers, and the run after a
  // block's last bracket left open for the next block's first piece (it is
  // shorter than a block, so the run a block starts with is shorter than
  // two). `open_of(p)` and `close_of(p)` give the masks of the "<" and the
  // ">" of the 64 bytes at p. Returns where it stopped, with the open run
  // written.
  template <class OpenOf, class CloseOf>
  __attribute__((always_inline)) size_t blocks(size_t i, const OpenOf &open_of, const CloseOf &close_of) {
    static_assert(kFill, "the form without a filler has the whole-block path");
    if (depth > 1 || static_cast<ptrdiff_t>(i) > blockFar) return i;
    const uint8_t *p = in + i;
    const uint8_t *const last = in + blockFar;
    // A block writes at most 64 times the unit, the run it starts with 63
    // times as much, and the last piece's stores reach 64 bytes further; the
    // run left open when the loop ends is part of the same 127 bytes.
    const uintptr_t roomLast = outBlockFar - 64 * filler->unit - 64;
    const uintptr_t boundLast = kBound ? reinterpret_cast<uintptr_t>(bound) - 127 * filler->unit : roomLast;
    const uintptr_t oLast = roomLast < boundLast ? roomLast : boundLast;
    const uint8_t *const pattern = filler->pattern;
    const size_t unit = filler->unit;
    // The filling's length for each tag length one store fills: one load
    // added to the output, where a multiplication takes a copy and two
    // instructions.
    if (!filled_ready) {
      for (size_t k = 0; k < 17; ++k) filled[k] = k * unit;
      filled_ready = true;
    }
    uint8_t head[16];  // the pattern's first 16 bytes, which most tags take, kept in a register
    std::memcpy(head, pattern, 16);
    const size_t shortTag = 16 / unit;  // tags up to this long take one store
    // A block writes at most 64 times the unit, at most 2^shift bytes.
    const unsigned shift = 6 + (unit <= 1 ? 0 : 64 - static_cast<unsigned>(__builtin_clzll(unit - 1)));
    const uint8_t *run = in + start;
    uint8_t *o = out;
    uint64_t d = static_cast<uint64_t>(depth);
    // The blocks that surely start within both bounds are counted down, so
    // that the loop tests one count a block and keeps neither bound in a
    // register: those it frees keep the tags' state out of memory. The count
    // is taken again when it runs out, for the room then left.
    size_t left = 0;
    for (;; p += 64) {
      if (__builtin_expect(left == 0, 0)) {
        if (p > last || reinterpret_cast<uintptr_t>(o) > oLast) break;
        // The open run writes up to `unit` a byte before the block's own.
        const uintptr_t from = reinterpret_cast<uintptr_t>(o) + static_cast<size_t>(p - run) * unit;
        const size_t byRoom = from <= oLast ? ((oLast - from) >> shift) + 1 : 1;
        const size_t byInput = static_cast<size_t>(last - p) / 64 + 1;
        left = byRoom < byInput ? byRoom : byInput;
      }
      --left;
      uint64_t open = open_of(p);
      if ((open | d) == 0) {  // text throughout (a ">" too): the run before it, then the block whole
        if (run != p) o = text_at(o, run, static_cast<size_t>(p - run));
        std::memcpy(o, p, 16);
        std::memcpy(o + 16, p + 16, 16);
        std::memcpy(o + 32, p + 32, 16);
        std::memcpy(o + 48, p + 48, 16);
        o += 64;
        run = p + 64;
        continue;
      }
      uint64_t close = close_of(p);
      const uint64_t inside = close - open - d;  // as in whole_block()
      if (((open & ~inside) | (close & inside)) != 0) break;
      if (d != 0) {
        if (close == 0) {  // the whole block inside the tag: its filling so far goes out
          o = filling_at(o, static_cast<size_t>(p + 64 - run), unit, pattern, head);
          run = p + 64;
          continue;
        }
        const uint64_t b = lowest_word(close);
        close &= close - 1;
        o = filling_at(o, static_cast<size_t>(p + b - run), unit, pattern, head);
        run = p + b + 1;
      }
      if (close != 0) {
        do {
          const uint64_t a = lowest_word(open), b = lowest_word(close);
          open &= open - 1;
          o = text_at(o, run, static_cast<size_t>(p + a - run));
          const size_t k = b - a - 1;
          std::memcpy(o, head, 16);
          if (__builtin_expect(k > shortTag, 0)) o = filling_at(o, k, unit, pattern, head);
          else o += filled[k];
          run = p + b + 1;
        } while ((close &= close - 1) != 0);
      }
      if (open != 0) {  // a tag left open at the block's end
        const uint64_t a = lowest_word(open);
        o = text_at(o, run, static_cast<size_t>(p + a - run));
        run = p + a + 1;
      }
      d = inside >> 63;
    }
    out = o;
    depth = static_cast<int64_t>(d);
    start = static_cast<size_t>(run - in);
    i = static_cast<size_t>(p - in);
    // The open run goes out, so that the other paths start at the block.
    if (d == 0) {
      text(start, i);
    } else {
      fill(i - start);
    }
    start = i;
    return i;
  }

  // Writes the n < 128 bytes at p to o, with 64 readable bytes past p + n
  // and 64 bytes of room past o + n; returns o + n.
  __attribute__((always_inline)) static uint8_t *text_at(uint8_t *o, const uint8_t *p, size_t n) {
    std::memcpy(o, p, 16);
    if (n > 16) {
      std::memcpy(o + 16, p + 16, 16);
      std::memcpy(o + 32, p + 32, 16);
      std::memcpy(o + 48, p + 48, 16);
      if (n > 64) {
        std::memcpy(o + 64, p + 64, 16);
        std::memcpy(o + 80, p + 80, 16);
        std::memcpy(o + 96, p + 96, 16);
        std::memcpy(o + 112, p + 112, 16);
      }
    }
    return o + n;
  }

  // The filling of k bytes inside a tag at o; returns its end.
  __attribute__((always_inline)) uint8_t *filling_at(uint8_t *o, size_t k, size_t unit, const uint8_t *pattern,
                                                    const uint8_t *head) {
    const size_t n = k * unit;
    std::memcpy(o, head, 16);
    if (n > 16) {
      if (n > 64) {
        out = o;
        fill(k);
        return out;
      }
      std::memcpy(o + 16, pattern + 16, 16);  // within its span: the pattern has 64 readable bytes
      std::memcpy(o + 32, pattern + 32, 16);
      std::memcpy(o + 48, pattern + 48, 16);
    }
    return o + n;
  }

  // Writes a block whose brackets take turns as pairs of pieces, the filling
  // of a tag and the text after it: one step per tag, not per run, and no
  // test for the empty pieces ("><", "<>"), whose stores are overwritten.
  __attribute__((always_inline)) void tag_by_tag(const uint8_t *block, uint64_t open, uint64_t close, size_t unit) {
    unsigned next = 0;  // where the current text run starts
    if (depth != 0) {  // the tag open before the block closes at its first ">", if any
      if (close == 0) {
        filling(64, unit);
        return;
      }
      const unsigned b = lowest(close);
      filling(b, unit);
      close &= close - 1;
      next = b + 1;
    }
    while (close != 0) {
      const unsigned a = lowest(open), b = lowest(close);
      open &= open - 1;
      close &= close - 1;
      piece(block + next, a - next);
      filling(b - a - 1, unit);
      next = b + 1;
    }
    if (open == 0) {
      piece(block + next, 64 - next);
    } else {  // a tag left open at the block's end
      const unsigned a = lowest(open);
      piece(block + next, a - next);
      filling(63 - a, unit);
    }
  }

  // The filling of k bytes inside a tag.
  __attribute__((always_inline)) void filling(size_t k, size_t unit) {
    const size_t n = k * unit;
    if (n <= 16) {  // most tags: one store
      std::memcpy(out, filler->pattern, 16);
      out += n;
    } else if (n <= 64) {
      piece(filler->pattern, n);  // within its span: the pattern has 64 readable bytes
    } else {
      fill(k);
    }
  }

  // Writes n <= 64 bytes from p, which has 64 readable bytes.
  __attribute__((always_inline)) void piece(const uint8_t *p, size_t n) {
    std::memcpy(out, p, 16);
    if (n > 16) {
      std::memcpy(out + 16, p + 16, 16);
      std::memcpy(out + 32, p + 32, 16);
      std::memcpy(out + 48, p + 48, 16);
    }
    out += n;
  }

  // Copies the runs of `keep` (bit k for block[k]).
  __attribute__((always_inline)) void copy_runs(const uint8_t *block, uint64_t keep) {
    for_runs(keep, [&](unsigned s, unsigned e) { piece(block + s, e - s); });
  }

  // Calls f(s, e) for each run of set bits [s, e) of m, lowest first: the
  // first and the last bit of every run, both in the word.
  template <class F>
  __attribute__((always_inline)) static void for_runs(uint64_t m, F f) {
    uint64_t firsts = m & ~(m << 1), lasts = m & ~(m >> 1);
    while (firsts != 0) {
      const unsigned s = lowest(firsts), e = lowest(lasts) + 1;
      firsts &= firsts - 1;
      lasts &= lasts - 1;
      f(s, e);
    }
  }

  __attribute__((always_inline)) void brackets(uint64_t open, uint64_t close, size_t base) {
    for (;;) {
      if (depth == 0) {
        if (open == 0) return;  // a ">" outside a tag is text
        const uint64_t bit = open & (0 - open);
        const size_t at = base + static_cast<size_t>(__builtin_ctzll(open));
        text(start, at);
        const uint64_t above = ~(bit * 2 - 1);
        open &= above;
        close &= above;
        // Most tags close in their block with no "<" inside: taken whole.
        const uint64_t end = close & (0 - close);
        if (end != 0 && (open & (end - 1)) == 0) {
          const size_t last = base + static_cast<size_t>(__builtin_ctzll(close));
          if (kFill) fill(last - at - 1);
          start = last + 1;
          const uint64_t after = ~(end * 2 - 1);
          open &= after;
          close &= after;
          continue;
        }
        depth = 1;
        start = at + 1;
      } else {
        const uint64_t both = open | close;
        if (both == 0) return;
        const uint64_t bit = both & (0 - both);
        const size_t at = base + static_cast<size_t>(__builtin_ctzll(both));
        if (kFill) fill(at - start);
        start = at + 1;
        depth += (open & bit) != 0 ? 1 : -1;
        const uint64_t above = ~(bit * 2 - 1);
        open &= above;
        close &= above;
      }
    }
  }

  // Ends the last run with the input (a later call goes on from there);
  // returns the bytes written and hands back the depth and the input's end.
  size_t finish(int64_t &depthAfter, size_t &at) {
    if (depth == 0) {
      text(start, size);
    } else if (kFill) {
      fill(size - start);
    }
    depthAfter = depth;
    at = size;
    return static_cast<size_t>(out - outStart);
  }
};

}  // namespace
}  // namespace ztk::tags
