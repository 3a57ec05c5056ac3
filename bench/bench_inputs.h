// The inputs the benchmarks, the peers comparison and the instruction counts
// share, so that they all work on the same bytes. Host-free and free of
// Google Benchmark, which the cross targets of the instruction counts lack.
#pragma once

#include <cstdint>
#include <cstring>
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

// The texts users really have: what each codec meets in mail, dumps, pages,
// queries and statements, built by the rules of the format from prose.

// Prose of several languages, mostly ASCII with accented letters, the euro
// sign and punctuation, as UTF-8.
inline std::string accented_prose(size_t n) {
  static const char *const kSentences[] = {
      "The committee met on Tuesday to review the budget for the next quarter. ",
      "Le caf\xC3\xA9 de la gare ouvre \xC3\xA0 sept heures; on y sert des cr\xC3\xA8mes br\xC3\xBBl\xC3\xA9" "es. ",
      "Die Stra\xC3\x9F" "e f\xC3\xBChrt \xC3\xBC" "ber die Br\xC3\xBC" "cke zum gro\xC3\x9F" "en Platz. ",
      "Please send the invoice (no. 4711) to accounts@example.com before Friday. ",
      "El ni\xC3\xB1o compr\xC3\xB3 un pastel por 12,50 \xE2\x82\xAC en la panader\xC3\xAD" "a. ",
      "Prices rose 3.5% in March, and \"most\" analysts expect the same in April. ",
  };
  std::string s;
  for (unsigned k = 0; s.size() < n; ++k) s += kSentences[(k * 5 + k / 6) % 6];
  s.resize(n);
  return s;
}

// Prose broken into CR LF lines of about 70 characters at word boundaries.
inline std::string crlf_lines(const std::string &prose, size_t n) {
  std::string s;
  size_t line_start = 0;
  for (size_t i = 0; i < prose.size() && s.size() < n; ++i) {
    if (prose[i] == ' ' && s.size() - line_start >= 64) {
      s += "\r\n";
      line_start = s.size();
      continue;
    }
    s += prose[i];
  }
  s.resize(n);
  return s;
}
// Accented prose in CR LF lines, as a mail body is before it is encoded.
inline std::string crlf_prose(size_t n) { return crlf_lines(accented_prose(n + n / 8 + 128), n); }

// `text` quoted-printable-encoded as a mail client writes it: =XX for "=" and
// for every byte outside printable ASCII, the space before a line end as =20,
// hard CR LF line ends kept, "=" soft breaks where a line would pass 75.
inline std::string qp_of(const std::string &text, size_t n) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string s;
  size_t column = 0;
  for (size_t i = 0; i < text.size() && s.size() < n; ++i) {
    const auto b = static_cast<unsigned char>(text[i]);
    if (b == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
      s += "\r\n";
      column = 0;
      ++i;
      continue;
    }
    const bool at_line_end = i + 1 == text.size() || text[i + 1] == '\r';
    const bool literal = (b >= 33 && b <= 126 && b != '=') || (b == ' ' && !at_line_end);
    const size_t width = literal ? 1 : 3;
    if (column + width > 75) {
      s += "=\r\n";
      column = 0;
    }
    if (literal) {
      s += static_cast<char>(b);
    } else {
      s += '=';
      s += kDigits[b >> 4];
      s += kDigits[b & 15];
    }
    column += width;
  }
  s.resize(n);
  return s;
}
// A mail body: accented prose in lines of about 70, each line ending in =20
// (the space a client leaves before a line end), quoted-printable.
inline std::string qp_mail(size_t n) {
  std::string lines = crlf_prose(n + n / 4);
  std::string spaced;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (lines[i] == '\r') spaced += ' ';
    spaced += lines[i];
  }
  return qp_of(spaced, n);
}
// Long paragraphs, cut only by soft breaks every 76 characters.
inline std::string qp_paragraphs(size_t n) { return qp_of(accented_prose(n + n / 4), n); }

// A yEnc article body: random bytes in lines of 128 characters.
inline std::string yenc_article(size_t n) { return yenc_encoded(n); }

// Rows of a MySQL dump as mysqldump writes them: quoted strings of prose with
// an escaped quote, line break or backslash every 150 bytes or so.
inline std::string mysql_dump(size_t n) {
  static const char *const kEscapes[] = {"\\'", "\\n", "\\\\", "\\\"", "\\r\\n", "\\0", "\\t"};
  const std::string prose = clean_text(n + 256);
  std::string s = "INSERT INTO `notes` VALUES (1,'";
  unsigned k = 0, row = 1;
  for (size_t i = 0; s.size() < n; ++i) {
    s += prose[i % prose.size()];
    if (i % 151 == 150) s += kEscapes[k++ % 7];
    if (i % 997 == 996) s += "'),(" + std::to_string(++row) + ",'";
  }
  s.resize(n);
  return s;
}

// Escaped as a URL: unreserved bytes (and those in `keep`) as they are, "+"
// for a space, %XX for the rest.
inline std::string url_of(const std::string &text, size_t n, const char *keep = "") {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string s;
  for (unsigned char b : text) {
    if (s.size() >= n) break;
    if ((b >= 'a' && b <= 'z') || (b >= 'A' && b <= 'Z') || (b >= '0' && b <= '9') || b == '-' || b == '_' ||
        b == '.' || b == '~' || (b != 0 && std::strchr(keep, b) != nullptr)) {
      s += static_cast<char>(b);
    } else if (b == ' ') {
      s += '+';
    } else {
      s += '%';
      s += kDigits[b >> 4];
      s += kDigits[b & 15];
    }
  }
  s.resize(n);
  return s;
}
// Query values as a form sends them, before escaping: names, addresses,
// searches, paths (a byte in four or so needs an escape).
inline std::string query_values(size_t n) {
  return repeat("name=Jos\xC3\xA9 Garc\xC3\xAD" "a&city=S\xC3\xA3o Paulo&q=caf\xC3\xA9 cr\xC3\xA8me (50%)&"
                "path=/docs/2024/report v2.pdf&email=ana+news@example.com&",
                n);
}
// The same, escaped: a URL query string as a server receives it.
inline std::string url_query(size_t n) { return url_of(query_values(n + n), n, "=&"); }
// Escape-dense: mostly non-ASCII text (a Greek and Cyrillic search).
inline std::string url_dense_text(size_t n) {
  return repeat("\xCE\xB1\xCE\xB8\xCE\xAE\xCE\xBD\xCE\xB1 \xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0/"
                "\xE2\x82\xAC?", n);
}
inline std::string url_dense(size_t n) { return url_of(url_dense_text(n + n), n); }

// A page of HTML: markup with attributes, prose with accented letters, and
// entities, as a browser or a CMS hands it over.
inline std::string html_page(size_t n) {
  return repeat(
      "<div class=\"article\"><h2>Caf&eacute; &amp; Cr&egrave;me</h2>\n"
      "<p>The <a href=\"/menu?id=42&amp;lang=en\">menu</a> lists a cr&egrave;me br&ucirc;l&eacute;e "
      "for &euro;5 &mdash; &quot;the best in town&quot;, says the <em>Gazette</em>.</p>\n"
      "<p>Open 7&nbsp;days: 8&#58;00 &ndash; 22&#x3A;00. &copy; 2024</p></div>\n",
      n);
}
// Text as a user types it into a form before it is shown in a page: prose
// with quotes, ampersands, angle brackets and accented letters.
inline std::string html_like_text(size_t n) {
  return repeat(
      "Caf\xC3\xA9 & Cr\xC3\xA8me: the \"best\" in town, says the Gazette (5 \xE2\x82\xAC, open 8-22). "
      "Use <b> for bold & <i> for italics; a < b and c > d are not tags. O'Neil wrote: \xC2\xABvery good\xC2\xBB.\n",
      n);
}

// SQL statements of an application: quoted strings, numbers, and boolean
// literals in conditions and assignments.
inline std::string sql_statements(size_t n) {
  return repeat(
      "UPDATE users SET active = true, verified = FALSE, note = 'it is true' WHERE id = 1042;\n"
      "SELECT id, name FROM orders WHERE paid = false AND shipped = TRUE AND region IN (3, 4) ORDER BY 2;\n"
      "INSERT INTO log (msg, ok) VALUES ('login from 10.0.0.1', true);\n",
      n);
}

// Accented prose in ISO 8859-1 / Windows-1252 (one byte a letter), as an old
// file or mail in a Western code page holds it.
inline std::string latin1_prose(size_t n) {
  const std::string utf8 = accented_prose(n + n / 4);
  std::string s;
  for (size_t i = 0; i < utf8.size() && s.size() < n; ++i) {
    const auto b = static_cast<unsigned char>(utf8[i]);
    if (b == 0xE2 && i + 2 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) == 0x82) {
      s += '\x80';  // the euro sign in Windows-1252
      i += 2;
    } else if (b >= 0xC2 && b <= 0xC3 && i + 1 < utf8.size()) {
      s += static_cast<char>((b & 3) << 6 | (static_cast<unsigned char>(utf8[i + 1]) & 0x3F));
      ++i;
    } else {
      s += static_cast<char>(b);
    }
  }
  s.resize(n);
  return s;
}

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
