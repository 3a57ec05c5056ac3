// The quoted-printable kernels of each level. A level's block loops work on
// whole vectors, with the byte after them (or two, for the decoder's look
// ahead) still inside the input, and return where they stopped; its table's
// entries finish with the plain loops, so no load passes the end of the
// input.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "codecs/quoted_printable.h"
#include "frame/ascii.h"

namespace ztk::qp {

// Byte classes the block loops' scalar steps look up.
// kDecoderSpecial: what the decoder does not copy as it is.
enum ByteKind : uint8_t { kOtherByte = 0, kLineEndByte = 1, kWhiteByte = 2, kDecoderSpecial = 4 };
inline constexpr std::array<uint8_t, 256> kKind = [] {
  std::array<uint8_t, 256> k{};
  k['='] = kDecoderSpecial;
  k['\r'] = k['\n'] = kLineEndByte | kDecoderSpecial;
  k[' '] = k['\t'] = kWhiteByte;
  return k;
}();
inline bool is_line_end(uint8_t b) { return (kKind[b] & kLineEndByte) != 0; }
inline bool is_white(uint8_t b) { return kKind[b] == kWhiteByte; }
inline bool is_decoder_special(uint8_t b) { return (kKind[b] & kDecoderSpecial) != 0; }

// A hex digit pair's byte as the sum of two lookups: the first digit's value
// times 16 and the second's value, where anything that is no hex digit adds
// 0x100, so that a sum below 0x100 is a valid pair's byte.
struct PairTables {
  uint16_t high[256];
  uint16_t low[256];
};
inline constexpr PairTables kPair = [] {
  PairTables t{};
  for (int b = 0; b < 256; ++b) {
    const uint8_t v = ascii::kHexValue.value[b];
    t.high[b] = v < ascii::kNotHex ? static_cast<uint16_t>(v << 4) : 0x100;
    t.low[b] = v < ascii::kNotHex ? v : 0x100;
  }
  return t;
}();
// The decoder's windows sum three lookups over a token's bytes (the last two
// as one, kPairSum below) to tell its common kinds apart with one comparison
// each:
// - below 0x100, a valid escape, whose byte the sum is;
// - 0x1100, "=" CR LF, a soft break as mail has it;
// - 0x600 in bits 8 to 11, CR LF, a hard line end.
// No other three bytes give these: the digits' values stay below 0x100, and
// each byte's other classes add bits that no sum of the rest reaches.
struct TokenTables {
  uint32_t first[256];  // "=": 0, CR: 0x400, LF: 0x800, else 0xC00
  uint32_t high[256];   // a digit's value times 16, CR: 0x100, LF: 0x200, else 0x300
  uint32_t low[256];    // a digit's value, LF: 0x1000, else 0x4000
};
inline constexpr uint32_t kSoftBreakSum = 0x1100;
inline constexpr uint32_t kLineEndBits = 0xF00, kLineEndSum = 0x600;
inline constexpr TokenTables kTokenSum = [] {
  TokenTables t{};
  for (int b = 0; b < 256; ++b) {
    const uint8_t v = ascii::kHexValue.value[b];
    const bool digit = v < ascii::kNotHex;
    t.first[b] = b == '=' ? 0 : b == '\r' ? 0x400 : b == '\n' ? 0x800 : 0xC00;
    t.high[b] = digit ? static_cast<uint32_t>(v << 4) : b == '\r' ? 0x100 : b == '\n' ? 0x200 : 0x300;
    t.low[b] = digit ? v : b == '\n' ? 0x1000 : 0x4000;
  }
  return t;
}();
// kTokenSum's high and low entries summed for every two bytes, indexed by
// the two read as one 16-bit word in the machine's byte order: an escape's
// digits are then one load and one lookup, where the two tables take four
// instructions. Only the entries of hex digits and line ends are read
// often, a few cache lines of the 128 KiB.
struct PairSums {
  uint16_t sum[65536];
};
inline constexpr PairSums kPairSum = [] {
  PairSums t{};
  constexpr bool kLittle = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
  for (uint32_t word = 0; word < 65536; ++word) {
    const uint32_t first = kLittle ? word & 0xFF : word >> 8, second = kLittle ? word >> 8 : word & 0xFF;
    t.sum[word] = static_cast<uint16_t>(kTokenSum.high[first] + kTokenSum.low[second]);
  }
  return t;
}();
static_assert(0x300 + 0x4000 <= 0xFFFF, "a pair's sum fits 16 bits");
// CR and LF differ in these bits only: b ^ next == kPartnerBits says next is
// b's partner (LF after CR, CR after LF) when b is a line end.
constexpr uint8_t kPartnerBits = '\r' ^ '\n';

// "=XX" of every byte, so that an escape is one four-byte store.
struct Escapes {
  uint8_t bytes[256][4];
};
inline constexpr Escapes kEscapes = [] {
  Escapes e{};
  for (int b = 0; b < 256; ++b) {
    e.bytes[b][0] = '=';
    e.bytes[b][1] = static_cast<uint8_t>(ascii::kHexDigits[b >> 4]);
    e.bytes[b][2] = static_cast<uint8_t>(ascii::kHexDigits[b & 15]);
  }
  return e;
}();

// What the encoder writes for a byte on its own, in the first `size` of four
// bytes: a literal (size 1) or =XX (3); size 0 for white space and line
// ends, which have rules of their own.
struct Codes {
  uint8_t bytes[256][4];
  uint8_t size[256];
  // 1 for the bytes a run of literals copied by blocks holds (space and the
  // printable ones other than "=").
  uint8_t inRun[256];
};
inline constexpr Codes kByteCodes = [] {
  Codes c{};
  for (int b = 0; b < 256; ++b) {
    const bool literal = b > ' ' && b <= '~' && b != '=';
    const bool escaped = (b < ' ' || b > '~' || b == '=') && b != '\t' && b != '\r' && b != '\n';
    for (int k = 0; k < 4; ++k) c.bytes[b][k] = literal ? (k == 0 ? static_cast<uint8_t>(b) : 0) : kEscapes.bytes[b][k];
    c.size[b] = literal ? 1 : escaped ? 3 : 0;
    c.inRun[b] = literal || b == ' ' ? 1 : 0;
  }
  return c;
}();

namespace plain {
// Encodes in[i, end) as the Kernels entry does, from the state, advancing o.
size_t encode_from(ByteView in, size_t i, size_t end, EncoderState &state, uint8_t *&o);
// Decodes in[i, in.size), advancing o.
void decode_from(ByteView in, size_t i, uint8_t *&o);
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
extern const Kernels kKernels;
// The 16-byte level's windows from i, none of them starting from `limit` on;
// returns where they stopped.
size_t decode_windows_until(ByteView in, size_t i, uint8_t *&o, size_t limit);
}  // namespace sse2

namespace avx2 {
// The decoder of the wide levels: 32-byte blocks packed by byte shuffles,
// and the 16-byte level's windows for stretches of mail.
size_t decode_wide(ByteView in, uint8_t *out);
extern const Kernels kKernels;
}  // namespace avx2

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::qp
