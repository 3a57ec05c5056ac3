// The substitute host's converter: known vectors, and the replacement rules
// for characters a target lacks and bytes a source does not allow.
#include "convert.h"

#include <gtest/gtest.h>

#include <random>

#include "carried_code_pages.h"
#include "frame/rb_types.h"

using subhost::convert;
using subhost::decode;
using subhost::encode;

TEST(HostConversion, KnownVectors) {
  struct Case {
    const char *name;
    std::string in;
    uint32_t from, to;
    std::string out;
  } cases[] = {
      {"Mac Roman e acute", "\x8E", enc::kMacRoman, enc::kUTF8, "\xC3\xA9"},
      {"Windows-1252 euro", "\x80", enc::kWindows1252, enc::kUTF8, "\xE2\x82\xAC"},
      {"Windows-1252 undefined", "\x81", enc::kWindows1252, enc::kUTF8, "\xEF\xBF\xBD"},
      {"ASCII high byte", "a\xE9", enc::kASCII, enc::kUTF8, "a\xEF\xBF\xBD"},
      {"Latin-1 to UTF-16", "\xE9", enc::kISOLatin1, enc::kUTF16, std::string("\xE9\x00", 2)},
      {"UTF-8 to UTF-32", "\xF0\x9F\x98\x80", enc::kUTF8, enc::kUTF32, std::string("\x00\xF6\x01\x00", 4)},
      {"astral to UTF-16 pair", "\xF0\x9F\x98\x80", enc::kUTF8, enc::kUTF16, std::string("\x3D\xD8\x00\xDE", 4)},
      {"unmappable becomes ?", "\xE2\x82\xAC", enc::kUTF8, enc::kISOLatin1, "?"},
      {"euro into Windows-1252", "\xE2\x82\xAC", enc::kUTF8, enc::kWindows1252, "\x80"},
      {"lone surrogate", std::string("\x00\xD8" "a\x00", 4), enc::kUTF16, enc::kUTF8, "\xEF\xBF\xBD" "a"},
      {"UTF-16 pair to UTF-8", std::string("\x3D\xD8\x00\xDE" "a\x00", 6), enc::kUTF16, enc::kUTF8, "\xF0\x9F\x98\x80" "a"},
      {"high half at the end", std::string("a\x00\x3D\xD8", 4), enc::kUTF16, enc::kUTF8, "a\xEF\xBF\xBD"},
      {"truncated sequence is one U+FFFD", "\xE2\x82" "a", enc::kUTF8, enc::kUTF8, "\xE2\x82" "a"},
      {"maximal subparts", "\xE2\x82" "a\xC0\x80", enc::kUTF8, enc::kUTF16,
       std::string("\xFD\xFF" "a\x00\xFD\xFF\xFD\xFF", 8)},
      {"byte-order mark kept", "\xEF\xBB\xBF" "a", enc::kUTF8, enc::kUTF16, std::string("\xFF\xFE" "a\x00", 4)},
      {"no encoding keeps bytes", "\xFF\xFE", enc::kNone, enc::kUTF8, "\xFF\xFE"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(convert(c.in, c.from, c.to), c.out);
  }
}

// UTF-16 to UTF-8 and back have their own loops (ASCII eight units at a
// time, UTF-16 to UTF-8 without branches on a character's value); they equal
// decoding into characters and encoding those.
TEST(HostConversion, DirectConversionsEqualCharacterByCharacter) {
  std::mt19937 rng(7);
  // Units drawn so that ASCII runs, Latin letters, the three UTF-8 lengths and
  // every surrogate case (pairs, lone halves, a half at the end) all occur.
  const char16_t pool[] = {u'a', u'Z', 0x7F, 0x80, 0xE9, 0x7FF, 0x800, 0x20AC, 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
  for (int round = 0; round < 4000; ++round) {
    const size_t n = rng() % 70;
    const int asciiShare = static_cast<int>(rng() % 4);  // 0: none .. 3: mostly ASCII
    std::string bytes;
    for (size_t k = 0; k < n; ++k) {
      const char16_t u = static_cast<int>(rng() % 4) < asciiShare ? static_cast<char16_t>(0x20 + rng() % 0x5F)
                                                                  : pool[rng() % std::size(pool)];
      bytes += static_cast<char>(u & 0xFF);
      bytes += static_cast<char>(u >> 8);
    }
    if (rng() % 5 == 0) bytes += 'x';  // an odd byte count
    SCOPED_TRACE(testing::Message() << "round " << round);
    ASSERT_EQ(convert(bytes, enc::kUTF16, enc::kUTF8), encode(decode(bytes, enc::kUTF16), enc::kUTF8));
  }
  // UTF-8 from pieces: ASCII, every sequence length, and the invalid kinds
  // (stray continuations, overlong lead, surrogate, beyond U+10FFFF, cut short).
  const char *pieces[] = {"a",  "Hello, ", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80",
                          "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\xF0\x9F", "\xFF",
                          "\x80\x80\x80\x80\x80\x80\x80\x80"};
  for (int round = 0; round < 4000; ++round) {
    std::string bytes;
    const int asciiShare = static_cast<int>(rng() % 4);
    for (size_t k = rng() % 40; k > 0; --k) {
      bytes += static_cast<int>(rng() % 4) < asciiShare ? pieces[rng() % 2] : pieces[rng() % std::size(pieces)];
    }
    SCOPED_TRACE(testing::Message() << "UTF-8 round " << round);
    ASSERT_EQ(convert(bytes, enc::kUTF8, enc::kUTF16), encode(decode(bytes, enc::kUTF8), enc::kUTF16));
  }
}

#if !defined(_WIN32)
// The code pages the host carries for Windows equal the system converter's.
TEST(HostConversion, CarriedCodePagesMatchIconv) {
  for (uint32_t page : {enc::kMacRoman, enc::kWindows1252}) {
    for (int b = 0x80; b < 0x100; ++b) {
      const std::u32string system = subhost::decode(std::string(1, static_cast<char>(b)), page);
      const char16_t carried = page == enc::kMacRoman ? subhost::kMacRomanHigh[b - 0x80]
                               : b <= 0x9F            ? subhost::kWindows1252High[b - 0x80]
                                                      : static_cast<char16_t>(b);
      EXPECT_EQ(system[0], carried == 0 ? 0xFFFDu : carried) << std::hex << page << " " << b;
    }
  }
}
#endif
