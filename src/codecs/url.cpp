#include "codecs/url.h"

#include <array>
#include <string_view>

#include "frame/byte_transform.h"
#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/ascii.h"
#include "text/byte_scan.h"

namespace ztk::url {
namespace {

// Bytes 0x00-0x7F that stand for themselves: digits, letters and ! * - . _ @.
constexpr std::array<bool, 128> kKept = [] {
  std::array<bool, 128> kept{};
  for (int b = '0'; b <= '9'; ++b) kept[b] = true;
  for (int b = 'A'; b <= 'Z'; ++b) kept[b] = true;
  for (int b = 'a'; b <= 'z'; ++b) kept[b] = true;
  for (char c : std::string_view("!*-._@")) kept[static_cast<uint8_t>(c)] = true;
  return kept;
}();

// The bytes that end a run copied as it is: everything but the kept bytes,
// with "+" kept too when the options leave it alone.
constexpr scan::ByteSet kEscapedOrSpecial{
    {{'!', '!'}, {'*', '*'}, {'-', '.'}, {'0', '9'}, {'@', 'Z'}, {'_', '_'}, {'a', 'z'}}, true};
constexpr scan::ByteSet kEscapedOrSpecialPlusKept{
    {{'!', '!'}, {'*', '+'}, {'-', '.'}, {'0', '9'}, {'@', 'Z'}, {'_', '_'}, {'a', 'z'}}, true};
constexpr scan::ByteSet kPercent{{'%', '%'}};
constexpr scan::ByteSet kPercentOrPlus{{'%', '%'}, {'+', '+'}};

char *put_escape(char *out, uint8_t b) {
  *out++ = '%';
  return ascii::put_hex(out, b);
}

}  // namespace

size_t encode(ByteView in, int64_t options, char *out) {
  // The space and plus choices belong to this call alone.
  const int mode = static_cast<int>(options & 3);
  const bool spaceAsPlus = mode == 1;
  const bool plusEscaped = mode == 1 || mode == 2;
  const scan::ByteSet &special = plusEscaped ? kEscapedOrSpecial : kEscapedOrSpecialPlusKept;
  char *const begin = out;
  for (size_t i = 0; i < in.size; ++i) {
    if (!special.contains(in[i])) {
      // The output holds three bytes for every input byte, so the room the
      // kernel needs is there.
      const size_t stop = scan::copy_until(in, i, special, 0, reinterpret_cast<uint8_t *>(out));
      out += stop - i;
      i = stop;
      if (i == in.size) break;
    }
    const uint8_t b = in[i];
    if (b == ' ' && spaceAsPlus) {
      *out++ = '+';
    } else if (b == '+' && !plusEscaped) {
      *out++ = '+';
    } else if (b < 0x80 && kKept[b]) {
      *out++ = static_cast<char>(b);
    } else {
      out = put_escape(out, b);
    }
  }
  return static_cast<size_t>(out - begin);
}

size_t decode(ByteView in, int64_t options, uint8_t *out) {
  const bool plusIsSpace = (options & 1) != 0;
  const scan::ByteSet &special = plusIsSpace ? kPercentOrPlus : kPercent;
  uint8_t *const begin = out;
  size_t i = 0;
  // Escapes often follow each other: they are decoded here until a byte that
  // starts a run, which the kernel copies.
  while (i < in.size) {
    const uint8_t b = in[i];
    if (b == '%') {
      if (i + 2 < in.size) {
        *out++ = static_cast<uint8_t>(ascii::hex_low(in[i + 1]) << 4 | ascii::hex_low(in[i + 2]));
      } else {
        *out++ = static_cast<uint8_t>(i + 1 < in.size ? ascii::hex_low(in[i + 1]) << 4 : 0);
      }
      i += 3;
    } else if (b == '+' && plusIsSpace) {
      *out++ = ' ';
      ++i;
    } else {
      // Never more output than input so far: the room the kernel needs is there.
      const size_t stop = scan::copy_until(in, i, special, 0, out);
      out += stop - i;
      i = stop;
    }
  }
  return static_cast<size_t>(out - begin);
}

}  // namespace ztk::url

REALstring EncodingToURL2(REALstring s, RBInteger options) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const uint64_t capacity = ztk::url::max_encoded_size(in.view().size) + 10;
  if (!ztk::mem::size_ok(capacity)) return nullptr;
  char *out = static_cast<char *>(ztk::mem::alloc(capacity));
  if (out == nullptr) return nullptr;
  const size_t n = ztk::url::encode(in.view(), static_cast<int64_t>(options), out);
  REALstring result = n > 0 ? ztk::BuildString(out, static_cast<int64_t>(n), enc::kASCII) : nullptr;
  ztk::mem::release(out);
  return result;
}

REALstring EncodingToURL1(REALstring s) { return EncodingToURL2(s, 0); }

// Serves DecodingFromURLZTK (the handler keeps its historical name).
REALstring DecodingToURL2(REALstring s, RBInteger options) {
  return ztk::ShrinkBytes(s, [options](ztk::ByteView in, uint8_t *out) {
    return ztk::url::decode(in, static_cast<int64_t>(options), out);
  });
}

REALstring DecodingToURL1(REALstring s) { return DecodingToURL2(s, 0); }
