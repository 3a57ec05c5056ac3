// The URL kernels of each level. A level's block loops work on whole vectors
// from where they are told to start and return where they stopped; its
// table's entries finish with the narrower levels and then the plain loops,
// so no load passes the end of the input. The VBMI2 level encodes whole
// 64-byte blocks and leaves the rest to the plain encoder, from where it
// stopped.
#pragma once

#include <array>
#include <string_view>

#include "codecs/url.h"
#include "frame/ascii.h"
#include "text/byte_scan.h"

namespace ztk::url {

// The bytes that end a run copied as it is: everything but the kept bytes,
// with "+" kept too when the options leave it alone.
inline constexpr scan::ByteSet kEscapedOrSpecial{
    {{'!', '!'}, {'*', '*'}, {'-', '.'}, {'0', '9'}, {'@', 'Z'}, {'_', '_'}, {'a', 'z'}}, true};
inline constexpr scan::ByteSet kEscapedOrSpecialPlusKept{
    {{'!', '!'}, {'*', '+'}, {'-', '.'}, {'0', '9'}, {'@', 'Z'}, {'_', '_'}, {'a', 'z'}}, true};

// By options & 3: 0 and 3 escape spaces and keep "+", 1 writes spaces as "+"
// and escapes "+", 2 escapes both.
inline const scan::ByteSet &run_stops(int mode) {
  return mode == 1 || mode == 2 ? kEscapedOrSpecial : kEscapedOrSpecialPlusKept;
}
// Whether "+" stands for itself under `mode`.
inline bool plus_kept(int mode) { return mode == 0 || mode == 3; }

// Bytes 0x00-0x7F that stand for themselves: digits, letters and ! * - . _ @.
inline constexpr std::array<bool, 128> kKept = [] {
  std::array<bool, 128> kept{};
  for (int b = '0'; b <= '9'; ++b) kept[b] = true;
  for (int b = 'A'; b <= 'Z'; ++b) kept[b] = true;
  for (int b = 'a'; b <= 'z'; ++b) kept[b] = true;
  for (char c : std::string_view("!*-._@")) kept[static_cast<uint8_t>(c)] = true;
  return kept;
}();

// What a byte becomes under one of the space and plus choices, in the first
// `size` of four bytes, so that every byte is one table load and one store.
struct Code {
  char bytes[4];
  uint8_t size;
  uint8_t run;  // 1: the byte stands for itself and so does not end a run
};
using CodeTable = std::array<Code, 256>;

constexpr CodeTable make_codes(bool spaceAsPlus, bool plusEscaped) {
  CodeTable codes{};
  for (int b = 0; b < 256; ++b) {
    Code &c = codes[b];
    if ((b == ' ' && spaceAsPlus) || (b == '+' && !plusEscaped)) {
      c = {{'+', 0, 0, 0}, 1, b == '+'};
    } else if (b < 0x80 && kKept[b]) {
      c = {{static_cast<char>(b), 0, 0, 0}, 1, 1};
    } else {
      c = {{'%', ascii::kHexDigits[b >> 4], ascii::kHexDigits[b & 15], 0}, 3, 0};
    }
  }
  return codes;
}
// Indexed by options & 3, as run_stops() is.
inline constexpr CodeTable kCodes[4] = {make_codes(false, false), make_codes(true, true), make_codes(false, true),
                                        make_codes(false, false)};

// The value of two hex digits, one table for each place: a byte that is no
// hex digit counts as 0.
inline constexpr std::array<uint8_t, 256> kHexHigh = [] {
  std::array<uint8_t, 256> t{};
  for (int b = 0; b < 256; ++b) t[b] = static_cast<uint8_t>(ascii::kHexValue.value[b] << 4);
  return t;
}();
inline constexpr std::array<uint8_t, 256> kHexLow = [] {
  std::array<uint8_t, 256> t{};
  for (int b = 0; b < 256; ++b) t[b] = static_cast<uint8_t>(ascii::kHexValue.value[b] & 15);
  return t;
}();

// Below this many bytes the encoders go straight to the plain loop: at 20
// bytes the vector set-up cost more than it saved.
inline constexpr size_t kShortText = 64;

// The one-byte decoding loop from in[i]; returns the output's new end. A
// cut-short escape reads its missing digits as 0.
inline uint8_t *decode_from(ByteView in, size_t i, bool plusIsSpace, uint8_t *o) {
  while (i < in.size) {
    const uint8_t b = in[i];
    if (b == '%') {
      if (i + 2 < in.size) {
        *o++ = static_cast<uint8_t>(kHexHigh[in[i + 1]] | kHexLow[in[i + 2]]);
      } else {
        *o++ = i + 1 < in.size ? kHexHigh[in[i + 1]] : 0;
      }
      i += 3;
    } else {
      *o++ = b == '+' && plusIsSpace ? ' ' : b;
      ++i;
    }
  }
  return o;
}

namespace plain {
// Encodes in[from..] under `mode` (options & 3); returns the bytes written.
size_t encode_from(ByteView in, int mode, size_t from, char *out);
size_t decode(ByteView in, int64_t options, uint8_t *out);
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
// Work while more than a block remains (the encoder) or a whole block does
// (the decoder); `o` moves past what they write.
size_t encode_blocks(ByteView in, size_t i, int mode, char *&o);
size_t decode_blocks(ByteView in, size_t i, bool plusIsSpace, uint8_t *&o);
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
size_t decode(ByteView in, int64_t options, uint8_t *out);
// The decoder's packed blocks from i, up to where a stretch with nothing to
// decode starts (or 34 bytes are left); advances out.
size_t decode_until_clean(ByteView in, size_t i, bool plusIsSpace, uint8_t *&out);
// The decoder's last bytes from i, o where they go; returns the length
// written from out.
size_t decode_last(ByteView in, size_t i, bool plusIsSpace, uint8_t *o, uint8_t *out);
extern const Kernels kKernels;
}  // namespace avx2

namespace vbmi2 {
extern const Kernels kKernels;
}  // namespace vbmi2

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::url
