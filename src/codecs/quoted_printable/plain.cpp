// The reference every vector level must equal: a byte at a time, with the
// runs between special bytes found and copied by the byte scans.
#include "codecs/quoted_printable/levels.h"

#include <array>
#include <cstring>

#include "frame/ascii.h"
#include "text/byte_scan.h"

namespace ztk::qp::plain {
namespace {

enum Class : uint8_t { kEncoded = 0, kLiteral = 1, kWhite = 2, kLineEnd = 3, kLiteralSpecial = 4 };

// 0: written as =XX; 1 and 4: written as they are (4 marks the characters
// that some gateways mangle, kept literal all the same); 2: space and tab,
// held back until what follows is known; 3: CR and LF.
constexpr std::array<uint8_t, 256> character_class = [] {
  std::array<uint8_t, 256> c{};
  for (int b = 33; b <= 126; ++b) c[b] = b == '=' ? kEncoded : kLiteral;
  c['\t'] = c[' '] = kWhite;
  c['\n'] = c['\r'] = kLineEnd;
  for (int b : {33, 34, 35, 36, 64, 91, 92, 93, 94, 96, 123, 124, 125, 126}) c[b] = kLiteralSpecial;
  return c;
}();

// For the bytes written on their own (literal or =XX): what is written, in
// the first `size` of four bytes, so that either is one store.
struct Code {
  uint8_t bytes[4];
  uint8_t size;  // 0: white space or a line end, which have rules of their own
};
constexpr std::array<Code, 256> kCodes = [] {
  std::array<Code, 256> codes{};
  for (int b = 0; b < 256; ++b) {
    const uint8_t c = character_class[b];
    Code &code = codes[b];
    if (c == kEncoded) {
      code = {{'=', static_cast<uint8_t>(ascii::kHexDigits[b >> 4]), static_cast<uint8_t>(ascii::kHexDigits[b & 15]), 0}, 3};
    } else if (c == kLiteral || c == kLiteralSpecial) {
      code = {{static_cast<uint8_t>(b), 0, 0, 0}, 1};
    }
  }
  return codes;
}();

// What ends a run the encoder writes as it is: anything but the literal bytes,
// space and tab. (White space inside such a run is followed by more of the run,
// so it is written as it is too.)
constexpr scan::ByteSet kNotInLiteralRun{{{'\t', '\t'}, {' ', '<'}, {'>', '~'}}, true};
// The same as a table of 0 and 1, which the encoder combines without branches.
constexpr std::array<uint8_t, 256> kInRun = [] {
  std::array<uint8_t, 256> t{};
  for (int b = 0; b < 256; ++b) t[b] = kNotInLiteralRun.contains(static_cast<uint8_t>(b)) ? 0 : 1;
  return t;
}();
// What the decoder does not copy as it is.
constexpr scan::ByteSet kDecoderSpecial{{'\n', '\n'}, {'\r', '\r'}, {'=', '='}};

// The other line-end byte after position i (LF after CR, CR after LF).
bool partner_follows(ByteView in, size_t i) {
  return i + 1 < in.size && is_line_end(in[i + 1]) && in[i + 1] != in[i];
}

// The writer is a local object whose state stays in registers.
class Writer {
 public:
  Writer(const EncoderState &s, uint8_t *out) : L_(s.lineLength), col_(s.column), pending_(s.pending), o_(out), begin_(out) {}
  Writer(const Writer &) = delete;
  Writer &operator=(const Writer &) = delete;
  // Saves the state; returns the bytes written.
  size_t done(EncoderState &s) const {
    s.column = col_;
    s.pending = pending_;
    return static_cast<size_t>(o_ - begin_);
  }

  void literal(uint8_t b) {
    room(1);
    col_ += 1;
    *o_++ = b;
  }
  // The same as literal() for each of the n bytes, in order.
  void literals(const uint8_t *p, size_t n) {
    while (n > 0) {
      // A literal that would reach the column L - 1 starts a new line first.
      const int64_t fit = int64_t{L_} - 2 - col_;
      if (fit <= 0) {
        literal(*p++);
        --n;
        continue;
      }
      const size_t k = static_cast<uint64_t>(fit) < n ? static_cast<size_t>(fit) : n;
      std::memcpy(o_, p, k);
      o_ += k;
      col_ += static_cast<int64_t>(k);
      p += k;
      n -= k;
    }
  }
  // literal(b) or encoded(b), as the byte's code says, without a branch on which.
  void coded(const Code &code) {
    room(code.size);
    col_ += code.size;
    std::memcpy(o_, code.bytes, 4);
    o_ += code.size;
  }
  void encoded(uint8_t b) { coded(kCodes[b].size == 3 ? kCodes[b] : escape_of(b)); }
  void flush_literal() {
    if (pending_ != 0) literal(pending_);
    pending_ = 0;
  }
  void flush_encoded() {
    if (pending_ != 0) encoded(pending_);
    pending_ = 0;
  }
  void hold(uint8_t b) { pending_ = b; }
  void hard_break() {
    *o_++ = '\r';
    *o_++ = '\n';
    col_ = 0;
  }
  void finish() {
    flush_literal();
    if (col_ > 0) soft_break();
  }

 private:
  static Code escape_of(uint8_t b) {
    return {{'=', static_cast<uint8_t>(ascii::kHexDigits[b >> 4]), static_cast<uint8_t>(ascii::kHexDigits[b & 15]), 0}, 3};
  }
  void room(int k) {
    if (int64_t{col_} + k >= int64_t{L_} - 1) soft_break();
  }
  void soft_break() {
    *o_++ = '=';
    hard_break();
  }

  const int32_t L_;
  int64_t col_;
  uint8_t pending_;
  uint8_t *o_;
  uint8_t *const begin_;
};

// Encodes from i up to `end` (one byte past it when a line end's partner is
// there); returns where it stopped.
size_t encode_stretch(ByteView in, size_t i, size_t end, Writer &w) {
  for (; i < end; ++i) {
    const uint8_t b = in[i];
    // A run is worth finding when it is at least three bytes long; on bytes
    // that change class often, a branch per byte on what each one is would
    // mostly be mispredicted, so that test is one branch for three bytes.
    const bool run = i + 2 < in.size && (kInRun[b] & kInRun[in[i + 1]] & kInRun[in[i + 2]]) != 0;
    if (!run && kCodes[b].size != 0) {
      w.flush_literal();
      w.coded(kCodes[b]);
      continue;
    }
    if (run) {
      // A run cut at the stretch's end goes on in the next stretch.
      size_t stop = scan::find(ByteView{in.data, end}, i, kNotInLiteralRun);
      // White space right before a line end is escaped: it is left to the byte rules.
      if (stop < in.size && is_line_end(in[stop]) && character_class[in[stop - 1]] == kWhite) --stop;
      if (stop > i) {
        w.flush_literal();
        w.literals(in.data + i, stop - i);
        i = stop - 1;
        continue;
      }
    }
    // Only space, tab and line ends are left: every other byte went out above.
    if (character_class[b] == kWhite) {
      w.flush_literal();
      w.hold(b);
    } else {
      if (partner_follows(in, i)) ++i;
      w.flush_encoded();  // white space at a line's end is always escaped
      w.hard_break();
    }
  }
  return i;
}

}  // namespace

size_t encode_from(ByteView in, size_t i, size_t end, EncoderState &state, uint8_t *&o) {
  Writer w(state, o);
  i = encode_stretch(in, i, end, w);
  if (i >= in.size) w.finish();
  o += w.done(state);
  return i;
}

void decode_from(ByteView in, size_t i, uint8_t *&o) {
  uint8_t *out = o;
  // Consumes the line end at i and its partner, if any. A branch, not a
  // computed step: the next position then does not wait for the load of the
  // byte after the line end.
  auto skip_line_end = [&] {
    if (__builtin_expect(partner_follows(in, i), 1)) {
      i += 2;
    } else {
      i += 1;
    }
  };
  while (i < in.size) {
    const uint8_t c = in[i];
    if (c == '=') {
      if (++i == in.size) break;  // a final "=" is dropped
      const uint8_t c2 = in[i];
      if (is_line_end(c2)) {
        skip_line_end();  // soft line break
      } else if (c2 == ' ' || c2 == '\t') {
        // Soft break with trailing white space: skip to the line end (stray
        // bytes included) and consume it with its partner.
        while (i < in.size && !is_line_end(in[i])) ++i;
        if (i < in.size) skip_line_end();
      } else {
        const bool hasC3 = i + 1 < in.size;
        if (hasC3) {
          const uint8_t hi = ascii::kHexValue.value[c2], lo = ascii::kHexValue.value[in[i + 1]];
          if ((hi | lo) < ascii::kNotHex) *out++ = static_cast<uint8_t>(hi << 4 | lo);
        }
        i += hasC3 ? 2 : 1;
      }
    } else if (is_line_end(c)) {
      skip_line_end();
      *out++ = '\n';
    } else {
      // Never more output than input so far: the room the kernel needs is there.
      const size_t stop = scan::copy_until(in, i, kDecoderSpecial, 0, out);
      out += stop - i;
      i = stop;
    }
  }
  o = out;
}

const Kernels kKernels = {
    [](ByteView in, size_t from, size_t end, EncoderState &state, uint8_t *out, size_t &written) {
      uint8_t *o = out;
      const size_t i = encode_from(in, from, end, state, o);
      written = static_cast<size_t>(o - out);
      return i;
    },
    [](ByteView in, uint8_t *out) {
      uint8_t *o = out;
      decode_from(in, 0, o);
      return static_cast<size_t>(o - out);
    },
};

}  // namespace ztk::qp::plain

