#include "codecs/quoted_printable.h"

#include <array>

#include "frame/registry.h"
#include "frame/string_access.h"
#include "text/ascii.h"
#include "text/byte_scan.h"

// The encoder's line length: set by the two-argument form (values of 2 and
// more), reset to 72 by the one-argument form, kept between calls otherwise.
static int32_t LINELEN = 72;

namespace ztk::qp {
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

constexpr uint8_t line_break[] = {'\r', '\n'};

// What ends a run the encoder writes as it is: anything but the literal bytes,
// space and tab. (White space inside such a run is followed by more of the run,
// so it is written as it is too.)
constexpr scan::ByteSet kNotInLiteralRun{{{'\t', '\t'}, {' ', '<'}, {'>', '~'}}, true};
// What the decoder does not copy as it is.
constexpr scan::ByteSet kDecoderSpecial{{'\n', '\n'}, {'\r', '\r'}, {'=', '='}};

bool is_line_end(uint8_t b) { return b == '\r' || b == '\n'; }

// The other line-end byte after position i (LF after CR, CR after LF).
bool partner_follows(ByteView in, size_t i) {
  return i + 1 < in.size && is_line_end(in[i + 1]) && in[i + 1] != in[i];
}

// Single bytes and escapes gathered for the sink, which takes them in blocks;
// runs go to the sink straight from the input, after what is staged.
class Staged {
 public:
  explicit Staged(ByteSink &out) : out_(out) {}
  ~Staged() { flush(); }
  Staged(const Staged &) = delete;
  Staged &operator=(const Staged &) = delete;

  void put(const uint8_t *p, int n) {
    if (staged_ + n > static_cast<int>(sizeof stage_)) flush();
    for (int k = 0; k < n; ++k) stage_[staged_++] = p[k];
  }
  void put(uint8_t b) {
    if (staged_ == static_cast<int>(sizeof stage_)) flush();
    stage_[staged_++] = b;
  }
  void run(const uint8_t *p, size_t n) {
    if (n <= 64) return put(p, static_cast<int>(n));
    flush();
    out_.put(p, static_cast<int32_t>(n));
  }
  void flush() {
    out_.put(stage_, staged_);
    staged_ = 0;
  }

 private:
  ByteSink &out_;
  int staged_ = 0;
  uint8_t stage_[256];
};

// Literal runs go out a line at a time.
class Encoder {
 public:
  Encoder(int32_t lineLength, ByteSink &out) : L_(lineLength), out_(out) {}
  Encoder(const Encoder &) = delete;
  Encoder &operator=(const Encoder &) = delete;

  void literal(uint8_t b) {
    room(1);
    col_ += 1;
    out_.put(b);
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
      out_.run(p, k);
      col_ += static_cast<int32_t>(k);
      p += k;
      n -= k;
    }
  }
  void encoded(uint8_t b) {
    room(3);
    col_ += 3;
    uint8_t escape[3] = {'='};
    ascii::put_hex(reinterpret_cast<char *>(escape) + 1, b);
    out_.put(escape, 3);
  }
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
    out_.put(line_break, 2);
    col_ = 0;
  }
  void finish() {
    flush_literal();
    if (col_ > 0) soft_break();
    out_.flush();
  }

 private:
  void room(int k) {
    if (int64_t{col_} + k >= int64_t{L_} - 1) soft_break();
  }
  void soft_break() {
    out_.put('=');
    hard_break();
  }

  const int32_t L_;
  Staged out_;
  int32_t col_ = 0;
  uint8_t pending_ = 0;
};

}  // namespace

void encode(ByteView in, int32_t lineLength, ByteSink &out) {
  Encoder coder(lineLength, out);
  for (size_t i = 0; i < in.size && out.alive(); ++i) {
    const uint8_t b = in[i];
    if (!kNotInLiteralRun.contains(b)) {
      size_t stop = scan::find(in, i, kNotInLiteralRun);
      // White space right before a line end is escaped: it is left to the byte rules.
      if (stop < in.size && is_line_end(in[stop]) && character_class[in[stop - 1]] == kWhite) --stop;
      if (stop > i) {
        coder.flush_literal();
        coder.literals(in.data + i, stop - i);
        i = stop - 1;
        continue;
      }
    }
    switch (character_class[b]) {
      case kEncoded:
        coder.flush_literal();
        coder.encoded(b);
        break;
      case kLiteral:
      case kLiteralSpecial:
        coder.flush_literal();
        coder.literal(b);
        break;
      case kWhite:
        coder.flush_literal();
        coder.hold(b);
        break;
      case kLineEnd:
        if (partner_follows(in, i)) ++i;
        coder.flush_encoded();  // white space at a line's end is always escaped
        coder.hard_break();
        break;
    }
  }
  coder.finish();
}

size_t decode(ByteView in, uint8_t *out) {
  uint8_t *const begin = out;
  size_t i = 0;
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
  return static_cast<size_t>(out - begin);
}

}  // namespace ztk::qp

namespace {
template <class Coder>
REALstring transform(REALstring s, Coder coder) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const int64_t capacity = int64_t{in.length} + 1024;
  if (capacity > 0x7FFFFFFF) return nullptr;
  ztk::ByteSink out(capacity);
  if (!out.alive()) return nullptr;
  coder(in.view(), out);
  return out.build(enc::kASCII);
}
}  // namespace

REALstring EncodingToQuotedPrintable2(REALstring s, RBInteger lineLength) {
  if (lineLength >= 2) LINELEN = lineLength > INT32_MAX ? INT32_MAX : static_cast<int32_t>(lineLength);
  return transform(s, [](ztk::ByteView in, ztk::ByteSink &out) { ztk::qp::encode(in, LINELEN, out); });
}

REALstring EncodingToQuotedPrintable1(REALstring s) { return EncodingToQuotedPrintable2(s, 72); }

// Serves DecodingFromQuotedPrintableZTK (the handler keeps its historical name).
REALstring DecodingToQuotedPrintable(REALstring s) {
  return transform(s, [](ztk::ByteView in, ztk::ByteSink &out) {
    out.append(in.size, [in](uint8_t *room) { return ztk::qp::decode(in, room); });
  });
}
