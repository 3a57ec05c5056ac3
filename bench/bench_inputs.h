// The inputs the benchmarks, the peers comparison and the instruction counts
// share, so that they all work on the same bytes. Host-free and free of
// Google Benchmark, which the cross targets of the instruction counts lack.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace ztk_bench {

// Bytes from a fixed seed: `alphabet` 256 for any byte, 95 for printable ASCII.
inline std::string random_bytes(size_t n, int alphabet = 256, unsigned seed = 42) {
  std::mt19937 rng(seed);
  std::string s(n, '\0');
  for (char &c : s) c = static_cast<char>(alphabet == 256 ? rng() & 0xFF : 32 + rng() % alphabet);
  return s;
}

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

// `raw` yEnc-encoded as a newsreader receives it: escapes for the critical
// bytes, lines of 128 characters, cut to n characters.
inline std::string yenc_of(const std::string &raw, size_t n) {
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
// Random bytes as a newsreader receives them.
inline std::string yenc_encoded(size_t n) { return yenc_of(random_bytes(n), n); }
// Only the four bytes yEnc must escape: two characters for every byte.
inline std::string yenc_all_escaped(size_t n) { return yenc_of(repeat("\xD6\xE0\xE3\x13", n), n); }

// `prefix` and two hex digits for every random byte, cut to n.
inline std::string escaped_bytes(size_t n, const char *prefix) {
  const std::string raw = random_bytes(n / 2);
  std::string s;
  for (unsigned char b : raw) {
    if (s.size() >= n) break;
    s += prefix;
    s += hex_of(std::string(1, static_cast<char>(b)));
  }
  s.resize(n);
  return s;
}

// Prose with something for every method to do: entities, tags, escapes of
// each codec, SQL literals, accented letters, CR LF line ends.
inline std::string mixed_text(size_t n) {
  return repeat(
      "Caf\xC3\xA9 cr\xC3\xA8me & <b>bold</b> costs \xE2\x82\xAC"
      "5; see the notes =3D at 50%25 \\n "
      "WHERE paid = true AND 'false' <> note; the quick brown fox jumps over the lazy dog.\r\n",
      n);
}

// The text methods' inputs.
// Every third character is one the method must treat (UTF-8 bytes, cut to n).
inline std::string dense_html_text(size_t n) { return repeat("ab<cd&ef>gh\xC3\xA9ij\"kl\xE2\x82\xAC", n); }
inline std::string dense_references(size_t n) { return repeat("ab&lt;cd&eacute;ef&#233;gh&amp;", n); }
inline std::string latin_text(size_t n) { return repeat("Gr\xC3\xBC\xC3\x9F" "e, caf\xC3\xA9 \xE2\x82\xAC" "5 ", n); }
inline std::string tagged_text(size_t n) {
  return repeat("<p>Some <b>bold</b> words and a <a href=\"page.html\">link</a> in a paragraph.</p>\n", n);
}
inline std::string sql_text(size_t n) {
  return repeat("SELECT name, total FROM orders WHERE customer = 'Smith' AND region IN (3, 4) ORDER BY 2;\n", n);
}
inline std::string sql_dense(size_t n) { return repeat("a = true, b = FALSE, c = 'true', ", n); }
inline std::string mysql_every_escape(size_t n) { return repeat("a\\nb\\'c\\\\d\\0e\\tf\\\"", n); }

// The edit distances' inputs: n random letters and digits, or n CJK
// ideographs from a block of as many, as UTF-16 units.
inline std::vector<uint32_t> distance_units(size_t n, bool cjk, unsigned seed) {
  static const char kAlphanumeric[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  std::mt19937 rng(seed);
  std::vector<uint32_t> units(n);
  for (uint32_t &u : units) {
    const uint32_t k = rng() % 62;
    u = cjk ? 0x4E00 + k : static_cast<uint8_t>(kAlphanumeric[k]);
  }
  return units;
}

// UTF-8 of units below the surrogates.
inline std::string utf8_of(const std::vector<uint32_t> &units) {
  std::string s;
  for (uint32_t u : units) {
    if (u < 0x80) {
      s += static_cast<char>(u);
    } else if (u < 0x800) {
      s += static_cast<char>(0xC0 | u >> 6);
      s += static_cast<char>(0x80 | (u & 0x3F));
    } else {
      s += static_cast<char>(0xE0 | u >> 12);
      s += static_cast<char>(0x80 | (u >> 6 & 0x3F));
      s += static_cast<char>(0x80 | (u & 0x3F));
    }
  }
  return s;
}

}  // namespace ztk_bench
