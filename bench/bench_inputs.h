// The inputs the byte-method benchmarks and the peers comparison share, so
// that the plugin and the peers work on the same bytes.
#pragma once

#include <string>

#include "bench_support.h"

namespace ztk_bench {

// Ordinary English-like text of printable ASCII.
inline std::string clean_text(size_t n) {
  static const char kWords[] =
      "The quick brown fox jumps over the lazy dog while forty-two wizards quietly box jugs of mixed "
      "liquor, and every plain sentence of this kind is what most strings in an application look like. ";
  std::string s;
  s.reserve(n);
  while (s.size() < n) s += kWords[s.size() % (sizeof kWords - 1)];
  return s;
}

inline std::string repeat(const std::string &unit, size_t n) {
  std::string s;
  while (s.size() < n) s += unit;
  s.resize(n);
  return s;
}

inline std::string hex_of(const std::string &bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string s;
  for (unsigned char b : bytes) {
    s += kDigits[b >> 4];
    s += kDigits[b & 15];
  }
  return s;
}

// Random bytes as a newsreader receives them: yEnc-encoded, escapes for the
// critical bytes, lines of 128 characters.
inline std::string yenc_encoded(size_t n) {
  const std::string raw = random_bytes(n);
  std::string s;
  size_t column = 0;
  for (unsigned char b : raw) {
    if (s.size() >= n) break;
    const auto c = static_cast<unsigned char>(b + 42);
    if (c == 0 || c == '\n' || c == '\r' || c == '=') {
      s += '=';
      s += static_cast<char>(c + 64);
      column += 2;
    } else {
      s += static_cast<char>(c);
      ++column;
    }
    if (column >= 128) {
      s += "\r\n";
      column = 0;
    }
  }
  s.resize(n);
  return s;
}

}  // namespace ztk_bench
