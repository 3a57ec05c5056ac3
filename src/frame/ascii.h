// Locale-free byte classes shared by the codecs. Hex output is always upper
// case; hex input accepts both cases.
#pragma once

#include <cstdint>

namespace ztk::ascii {

inline constexpr char kHexDigits[] = "0123456789ABCDEF";

constexpr bool is_digit(uint8_t b) { return b >= '0' && b <= '9'; }
constexpr bool is_hex_digit(uint8_t b) {
  return is_digit(b) || (b >= 'A' && b <= 'F') || (b >= 'a' && b <= 'f');
}
// Value of a hex digit; every other byte counts as 0.
constexpr uint8_t hex_value(uint8_t b) {
  if (is_digit(b)) return static_cast<uint8_t>(b - '0');
  if (b >= 'A' && b <= 'F') return static_cast<uint8_t>(b - 'A' + 10);
  if (b >= 'a' && b <= 'f') return static_cast<uint8_t>(b - 'a' + 10);
  return 0;
}
// The digit's value for the hex digits and kNotHex for every other byte, so
// that the codecs' inner loops look a digit up instead of branching on it.
inline constexpr uint8_t kNotHex = 0x10;
struct HexTable {
  uint8_t value[256];
};
inline constexpr HexTable kHexValue = [] {
  HexTable t{};
  for (int b = 0; b < 256; ++b) t.value[b] = is_hex_digit(static_cast<uint8_t>(b)) ? hex_value(static_cast<uint8_t>(b)) : kNotHex;
  return t;
}();
// hex_value by the table (kNotHex's low bits are 0).
inline uint8_t hex_low(uint8_t b) { return kHexValue.value[b] & 15; }

// 0x20 to 0x7F, DEL included.
constexpr bool is_print(uint8_t b) { return b >= 0x20 && b <= 0x7F; }

// Writes the two upper-case hex digits of b.
inline char *put_hex(char *out, uint8_t b) {
  out[0] = kHexDigits[b >> 4];
  out[1] = kHexDigits[b & 15];
  return out + 2;
}

}  // namespace ztk::ascii
