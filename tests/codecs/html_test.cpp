#include "codecs/html.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "../../bench/bench_inputs.h"
#include "host_test.h"
#include "kernel_levels.h"
#include "text/string_handles.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(EncodingToHTMLZTK);
ZTK_GENERATION_SUITE(DecodingFromHTMLZTK);
ZTK_GENERATION_SUITE(StringIsHTMLreadyZTK);

TEST_P(EncodingToHTMLZTK, WritesReferencesForSpecialAndNonASCII) {
  struct Case {
    const char *name;
    std::u16string in;
    int64_t options;
    std::string out;
  } cases[] = {
      {"specials", u"a<b & 'c'", 0, "a&lt;b &amp; &#39;c&#39;"},
      {"double quote", u"\"", 0, "&quot;"},
      {"named above 0x80", u"\u00E9\u20AC\u03B5", 0, "&eacute;&euro;&epsilon;"},
      {"no row is numeric", u"\u0100", 0, "&#256;"},
      {"surrogates one by one", u"\U0001F600", 0, "&#55357;&#56832;"},
      {"option 1 keeps ASCII", u"<\u00E9>\"'&", 1, "<&eacute;>\"'&"},
      {"only bit 0 counts", u"<", 2, "&lt;"},
      {"control bytes pass", u"\t\n", 0, "\t\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    Result r = call("EncodingToHTMLZTK", {U16(c.in), I(c.options)});
    EXPECT_EQ(r.bytes, c.out);
    EXPECT_EQ(r.encoding, enc::kASCII);
  }
  EXPECT_EQ(call("EncodingToHTMLZTK", {S("caf\xC3\xA9"), I(0)}).bytes, "caf&eacute;");
}

TEST_P(EncodingToHTMLZTK, ByteOrderMarksAndEmptyInput) {
  EXPECT_EQ(call("EncodingToHTMLZTK", {U16(u"\uFEFFa"), I(0)}).bytes, "a");
  EXPECT_TRUE(call("EncodingToHTMLZTK", {U16(u"\uFEFF"), I(0)}).null);
  EXPECT_TRUE(call("EncodingToHTMLZTK", {U16(u"\uFEFF\uFFFE\uFEFF"), I(0)}).null);
  EXPECT_TRUE(call("EncodingToHTMLZTK", {NullString(), I(0)}).null);
  EXPECT_TRUE(call("EncodingToHTMLZTK", {Empty(), I(0)}).null);
}

TEST_P(DecodingFromHTMLZTK, DecodesNamedAndNumericReferences) {
  struct Case {
    const char *name;
    std::string in;
    std::u16string out;
  } cases[] = {
      {"four forms of <", "&lt;&#60;&#x3C;&#x3c;", u"<<<<"},
      {"one pass only", "&amp;lt;", u"&lt;"},
      {"partial names stay", "&am;&a;", u"&am;&a;"},
      {"names over six stay", "&thetasym;&epsilon;", u"&thetasym;&epsilon;"},
      {"upper-case X is decimal", "&#X3C;", u"&#X3C;"},
      {"zero, negative, empty", "&#0;&#-60;&#;&#x;&foo;", u"&#0;&#-60;&#;&#x;&foo;"},
      {"junk after digits skipped", "&#x41g;", u"A"},
      {"reference ends with text", "x&amp", u"x&"},
      {"unterminated stays", "&amp x", u"&amp x"},
      {"double ampersand", "&&lt;", u"&<"},
      {"lone ampersand", "&", u"&"},
      {"empty name", "&;", u"&;"},
      {"case matters", "&Agrave;&agrave;", u"\u00C0\u00E0"},
      {"apos decodes", "&apos;", u"'"},
      {"hex four digits at most", "&#x20AC;", u"\u20AC"},
      {"above 0xFFFF is a pair", "&#66000;", u"\U000101D0"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    Result r = call("DecodingFromHTMLZTK", {S(c.in, enc::kASCII)});
    EXPECT_EQ(r.encoding, enc::kUTF8);
    EXPECT_EQ(r.bytes, utf8_of(c.out));
  }
}

TEST_P(DecodingFromHTMLZTK, UndoesEncodingOfRandomBMPText) {
  std::mt19937 rng(3);
  for (int round = 0; round < 20; ++round) {
    std::u16string text;
    for (int k = 0; k < 50; ++k) {
      char16_t u = static_cast<char16_t>(rng() % 0xD800);
      if (k == 0 && (u == 0xFEFF || u == 0xFFFE)) u = 'x';
      text += u == 0 ? u'z' : u;
    }
    for (int options : {0, 1}) {
      const std::string html = call("EncodingToHTMLZTK", {U16(text), I(options)}).bytes;
      Result back = call("DecodingFromHTMLZTK", {S(html, enc::kASCII)});
      EXPECT_EQ(back.bytes, utf8_of(text));
    }
  }
}

TEST_P(StringIsHTMLreadyZTK, AcceptsOnlyPlainSevenBitText) {
  struct Case {
    const char *name;
    std::string in;
    uint32_t encoding;
    int ready;
  } cases[] = {
      {"letters and white space", "Hello, world\t\r\n1", enc::kUTF8, 1},
      {"empty", "", enc::kASCII, 1},
      {"DEL allowed", "\x7F", enc::kASCII, 1},
      {"ampersand", "a&b", enc::kUTF8, 0},
      {"quote", "\"", enc::kMacRoman, 0},
      {"apostrophe", "'", enc::kWindows1252, 0},
      {"less than", "<", enc::kUTF8, 0},
      {"greater than", ">", enc::kUTF8, 0},
      {"non-ASCII", "\xC3\xA9", enc::kUTF8, 0},
      {"NUL", std::string(1, '\0'), enc::kUTF8, 0},
      {"UTF-16", std::string("a\0", 2), enc::kUTF16, 0},
      {"Latin-1", "a", enc::kISOLatin1, 0},
      {"no encoding", "a", enc::kNone, 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(call("StringIsHTMLreadyZTK", {S(c.in, c.encoding)}).boolean, c.ready);
  }
  EXPECT_EQ(call("StringIsHTMLreadyZTK", {NullString()}).boolean, 1);
}

// The check stops at the first byte that is not ready wherever it lies: in
// the inline lead, in a block of any level, or in the bytes after the last block.
TEST(HtmlReadyKernel, FindsEveryUnreadyByteAtEveryPlaceAtEveryLevel) {
#ifdef ZTK_EMULATED_TARGET
  constexpr size_t kLongest = 80;
#else
  constexpr size_t kLongest = 150;
#endif
  const auto ready = [](uint8_t b) {
    return b != 0 && b < 0x80 && b != '"' && b != '&' && b != '\'' && b != '<' && b != '>';
  };
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n = 0; n <= kLongest; ++n) {
      const GuardedBytes clean(std::string(n, 'a'));
      ASSERT_TRUE(ztk::html::is_html_ready(clean.view())) << n;
    }
    for (int b = 0; b < 256; ++b) {
      for (size_t n = 1; n <= kLongest; n += (b % 7) + 1) {
        for (size_t at : {size_t{0}, n / 3, n - 1}) {
          std::string text(n, '~');
          text[at] = static_cast<char>(b);
          const GuardedBytes guarded(text);
          ASSERT_EQ(ztk::html::is_html_ready(guarded.view()), ready(static_cast<uint8_t>(b)))
              << "byte " << b << " at " << at << " of " << n;
        }
      }
    }
  });
}

TEST_P(StringIsHTMLreadyZTK, WithoutEncodingServiceOnlyBytesCount) {
  subhost::Settings s = default_settings();
  s.withheld = {"REALGetStringEncoding"};
  start(s);
  EXPECT_EQ(call("StringIsHTMLreadyZTK", {S("a", enc::kNone)}).boolean, 1);
}

TEST_P(EncodingToHTMLZTK, FailuresGiveEmptyString) {
  REALstring s = S("<\xC3\xA9>");
  expect_failures_give_empty("EncodingToHTMLZTK", {s, I(0)}, "&lt;&eacute;&gt;", 4);
  host.failures["REALConvertString"].always = true;
  host.failures["REALBuildString"].always = true;
  EXPECT_TRUE(call("EncodingToHTMLZTK", {s, I(0)}).null);
  EXPECT_TRUE(call("DecodingFromHTMLZTK", {s}).null);
}

TEST(HtmlEntityTable, IsSortedUniqueAndFoundByDirectIndex) {
  using ztk::html::escapecodes;
  int count = 0;
  for (const auto *e = escapecodes; e->code != 0; ++e, ++count) {
    if (count > 0) {
      EXPECT_LT(e[-1].code, e->code) << e->name;
    }
    const size_t len = std::strlen(e->name);
    EXPECT_TRUE(len >= 2 && len <= 8) << e->name;
  }
  EXPECT_EQ(count, ztk::html::kEntityCount);
  EXPECT_STREQ(escapecodes[0].name, "quot");
  EXPECT_EQ(escapecodes[count - 1].code, 9830u);
  for (uint32_t u = 0; u < 0x10000; ++u) {
    const ztk::html::EscapeCode *linear = nullptr;
    for (const auto *e = escapecodes; e->code != 0; ++e) {
      if ((e->code & 0xFFFF) == u) {
        linear = e;
        break;
      }
    }
    ASSERT_EQ(ztk::html::find_code(static_cast<uint16_t>(u)), linear) << u;
  }
}

namespace {

// The codec as it was first written: one unit at a time, each through the
// buffer's one-at-a-time appends, the table searched from its first row.
const ztk::html::EscapeCode *row_with_code(uint16_t c) {
  for (const auto *e = ztk::html::escapecodes; e->code != 0; ++e) {
    if (e->code == c) return e;
  }
  return nullptr;
}

void encode_one_at_a_time(ztk::U16View u, bool keepASCII, AsciiStringHandle &out) {
  for (size_t i = (u[0] == 0xFEFF || u[0] == 0xFFFE) ? 1 : 0; i < u.size && out.alive(); ++i) {
    const uint16_t c = u[i];
    if (!keepASCII && c == '\'') {
      Add(out, "#39");
    } else if (const auto *e = (keepASCII && c < 0x80) ? nullptr : row_with_code(c)) {
      Add(out, e->name);
    } else if (c < 0x80) {
      const char byte = static_cast<char>(c);
      AddBinary(out, &byte, 1);
    } else {
      Add(out, ("#" + std::to_string(c)).c_str());
    }
  }
}

void decode_one_at_a_time(ztk::U16View u, UnicodeStringHandle &out) {
  const size_t n = u.size;
  auto add_value = [&](int32_t v) {
    if (v > 0xFFFF) {
      Add(out, static_cast<unsigned short>(0xD800 + ((v - 0x10000) >> 10)));
      Add(out, static_cast<unsigned short>(0xDC00 + ((v - 0x10000) & 0x3FF)));
    } else {
      Add(out, static_cast<unsigned short>(v));
    }
  };
  for (size_t i = 0; i < n && out.alive();) {
    size_t k = 0;
    bool bounded = false;
    for (size_t j = 1; u[i] == '&' && j <= 7; ++j) {
      if (i + j == n || u[i + j] == ';') {
        k = j - 1;
        bounded = true;
        break;
      }
    }
    if (!bounded || k == 0) {
      Add(out, u[i++]);
      continue;
    }
    const ztk::html::EscapeCode *named = nullptr;
    for (const auto *e = ztk::html::escapecodes; e->code != 0 && named == nullptr; ++e) {
      size_t j = 0;
      while (j < k && e->name[j] != '\0' && u[i + 1 + j] == static_cast<uint8_t>(e->name[j])) ++j;
      if (j == k && e->name[k] == '\0') named = e;
    }
    if (named != nullptr) {
      Add(out, static_cast<unsigned short>(named->code));
      i += k + 2;
      continue;
    }
    int32_t value = 0;
    bool minus = false;
    if (u[i + 1] == '#' && i + 2 < n && u[i + 2] == 'x') {
      for (size_t q = i + 3; q < n && q < i + 7 && (u[q] == '-' || std::isxdigit(u[q] < 0x80 ? u[q] : 0)); ++q) {
        if (u[q] == '-') {
          minus = true;
        } else {
          value = value * 16 + (u[q] <= '9' ? u[q] - '0' : (u[q] | 0x20) - 'a' + 10);
        }
      }
    } else if (u[i + 1] == '#') {
      for (size_t q = i + 2; q < n && (u[q] == '-' || (u[q] >= '0' && u[q] <= '9')); ++q) {
        if (u[q] == '-') {
          minus = true;
        } else if (value <= 0x10FFFF) {
          value = value * 10 + (u[q] - '0');
        }
      }
    }
    if (minus) value = -value;
    if (value > 0 && value <= 0x10FFFF) {
      add_value(value);
      i += k + 2;
    } else {
      Add(out, u[i++]);
    }
  }
}

// Texts of references: every name (with and without ";", cut at the end),
// numeric ones, markup, byte-order marks, surrogates and clean runs.
std::vector<std::u16string> reference_texts(std::mt19937 &rng) {
  std::vector<std::u16string> tokens = {u"&", u";", u"&#", u"&#x", u"&#x41g;", u"&#-60;", u"&#0;", u"&#66000;",
                                        u"&#1234567;", u"&#X3C;", u"<", u">", u"\"", u"'", u"\uFEFF", u"\uFFFE",
                                        u"\U0001F600", u"\u00E9", u"\u0100", u"\uFFFF", u"&amp", u"&;"};
  for (const auto *e = ztk::html::escapecodes; e->code != 0; ++e) {
    std::u16string name(e->name, e->name + std::strlen(e->name));
    tokens.push_back(u"&" + name + u";");
    tokens.push_back(std::u16string(1, static_cast<char16_t>(e->code)));
  }
  std::vector<std::u16string> texts;
  for (size_t n = 1; n <= 160; ++n) {
    for (int variant = 0; variant < 3; ++variant) {
      std::u16string s;
      while (s.size() < n) {
        if (rng() % 3 == 0) {
          s += tokens[rng() % tokens.size()];
        } else {
          s.append(1 + rng() % (variant == 2 ? 60 : 6), static_cast<char16_t>('a' + rng() % 26));
        }
      }
      s.resize(n);  // a reference cut at the end now and then
      texts.push_back(s);
    }
  }
  return texts;
}

template <class Buffer>
std::string contents(const Buffer &b, size_t unitSize) {
  return b.alive() ? std::string(*b.handle, static_cast<size_t>(b.used) * unitSize) : std::string("(dead)");
}

}  // namespace

// The codec that passes runs in blocks gives the same bytes, and the buffers
// see the same appends (their growth rule ends at the same size), at every level.
TEST(HtmlCodecKernels, EqualTheOneUnitAtATimeCodecAtEveryLevel) {
  std::mt19937 rng(21);
  const auto texts = reference_texts(rng);
  for_each_level([&](ztk::cpu::Level) {
    for (const std::u16string &text : texts) {
      // The units end right before an unreadable page.
      const GuardedBytes guarded(std::string_view(reinterpret_cast<const char *>(text.data()), 2 * text.size()));
      const ztk::U16View units{static_cast<const uint16_t *>(static_cast<const void *>(guarded.view().data)), text.size()};
      for (bool keep : {false, true}) {
        AsciiStringHandle fast(2 * int64_t(units.size) + 4096), slow(2 * int64_t(units.size) + 4096);
        ztk::html::encode(units, keep, fast);
        encode_one_at_a_time(units, keep, slow);
        ASSERT_EQ(contents(fast, 1), contents(slow, 1));
        ASSERT_EQ(fast.limit, slow.limit);
      }
      UnicodeStringHandle fast(2 * int64_t(units.size) + 4096), slow(2 * int64_t(units.size) + 4096);
      ztk::html::decode(units, fast);
      decode_one_at_a_time(units, slow);
      ASSERT_EQ(contents(fast, 2), contents(slow, 2));
      ASSERT_EQ(fast.limit, slow.limit);
    }
  });
  // Buffers that start small grow at the same appends, and die at the same one.
  const std::u16string longText = texts.back() + texts.back() + std::u16string(9000, u'\u00E9');
  const ztk::U16View units{reinterpret_cast<const uint16_t *>(longText.data()), longText.size()};
  AsciiStringHandle fast(16), slow(16);
  ztk::html::encode(units, false, fast);
  encode_one_at_a_time(units, false, slow);
  EXPECT_EQ(contents(fast, 1), contents(slow, 1));
  EXPECT_EQ(fast.limit, slow.limit);
}

TEST(HtmlEntityTable, NamesAreFoundExactlyAsByASearchOfTheTable) {
  std::mt19937 rng(5);
  std::vector<std::u16string> names;
  for (const auto *e = ztk::html::escapecodes; e->code != 0; ++e) {
    std::u16string name(e->name, e->name + std::strlen(e->name));
    names.push_back(name);
    names.push_back(name.substr(0, name.size() - 1));
    names.push_back(name + u"x");
    std::u16string upper = name;
    upper[0] = static_cast<char16_t>(upper[0] ^ 0x20);
    names.push_back(upper);
  }
  for (int i = 0; i < 20000; ++i) {
    std::u16string s(1 + rng() % 6, u'a');
    for (char16_t &c : s) c = static_cast<char16_t>(rng() % 3 == 0 ? rng() % 0x180 : 'a' + rng() % 26);
    names.push_back(s);
  }
  for (const std::u16string &name : names) {
    const ztk::html::EscapeCode *linear = nullptr;
    for (const auto *e = ztk::html::escapecodes; e->code != 0 && linear == nullptr; ++e) {
      if (std::strlen(e->name) == name.size() &&
          std::equal(name.begin(), name.end(), e->name, [](char16_t a, char b) { return a == static_cast<uint8_t>(b); })) {
        linear = e;
      }
    }
    if (name.size() > 6) linear = nullptr;  // longer names are never read
    ASSERT_EQ(ztk::html::find_name(reinterpret_cast<const uint16_t *>(name.data()), name.size()), linear);
  }
}

namespace {

// The units of well-formed UTF-8.
std::u16string units_of(const std::string &utf8) {
  std::u16string u;
  for (size_t i = 0; i < utf8.size();) {
    const auto b = static_cast<uint8_t>(utf8[i]);
    const size_t k = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    uint32_t cp = k == 1 ? b : b & (0x7F >> k);
    for (size_t j = 1; j < k; ++j) cp = cp << 6 | (static_cast<uint8_t>(utf8[i + j]) & 0x3F);
    if (cp >= 0x10000) {
      u += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      u += static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      u += static_cast<char16_t>(cp);
    }
    i += k;
  }
  return u;
}

// The pages, forms and mixed texts the benchmarks use, cut at lengths around
// the 32-unit blocks, and long random runs of the units both directions
// treat, names with units no name holds among them.
std::vector<std::u16string> block_texts() {
  std::vector<std::u16string> texts;
  for (size_t n : {31, 32, 33, 95, 1000, 4099}) {
    for (const std::string &s : {ztk_bench::html_page(n), ztk_bench::html_like_text(n), ztk_bench::mixed_text(n),
                                 ztk_bench::dense_references(n), ztk_bench::dense_html_text(n)}) {
      const std::u16string u = units_of(s.substr(0, s.size() - (s.size() > 3 ? 3 : 0)) + "abc");
      texts.push_back(u);
      texts.push_back(u.substr(1));
    }
  }
  std::mt19937 rng(9);
  const std::u16string tokens[] = {u"&",     u";",        u"&lt;",      u"&amp",     u"&#x20AC;", u"&#233;",
                                   u"&#-1;", u"&eacute;", u"&l\u0000;", u"&\u0100t;", u"&lt\u00E9;", u"<",
                                   u">",     u"\"",       u"'",         u"\u00E9",   u"\u20AC",  u"\U0001F600",
                                   u"&#;",   u"&x;",      u"\uFEFF",    u"&#66000;", u"&#xFFFF;", u"&thetasym;",
                                   u"&#6&lt;", u"&#x4&amp;", u"&#12&#3;",  // a reference holding the next "&"
                                   std::u16string(u"\u007F\u0080\u00FF\u7FFF\u8000\u0000", 6)};  // saturation edges
  for (size_t n = 161; n <= 420; n += 3) {
    std::u16string s;
    while (s.size() < n) {
      if (rng() % 2 == 0) {
        s += tokens[rng() % (sizeof tokens / sizeof tokens[0])];
      } else {
        s.append(1 + rng() % 40, static_cast<char16_t>('a' + rng() % 26));
      }
    }
    s.resize(n);
    texts.push_back(s);
  }
  return texts;
}

}  // namespace

// Whole blocks, references that straddle them and the units after the last
// one, at every level, against the codec of one unit at a time: the same
// bytes and the same rule's size.
TEST(HtmlCodecKernels, RealisticTextsEqualTheOneUnitAtATimeCodecAtEveryLevel) {
  const auto texts = block_texts();
  for_each_level([&](ztk::cpu::Level) {
    for (const std::u16string &text : texts) {
      const GuardedBytes guarded(std::string_view(reinterpret_cast<const char *>(text.data()), 2 * text.size()));
      const ztk::U16View units{static_cast<const uint16_t *>(static_cast<const void *>(guarded.view().data)),
                               text.size()};
      for (bool keep : {false, true}) {
        AsciiStringHandle fast(2 * int64_t(units.size) + 4096), slow(2 * int64_t(units.size) + 4096);
        ztk::html::encode(units, keep, fast);
        encode_one_at_a_time(units, keep, slow);
        ASSERT_EQ(contents(fast, 1), contents(slow, 1)) << text.size();
        ASSERT_EQ(fast.limit, slow.limit);
      }
      UnicodeStringHandle fast(2 * int64_t(units.size) + 4096), slow(2 * int64_t(units.size) + 4096);
      ztk::html::decode(units, fast);
      decode_one_at_a_time(units, slow);
      ASSERT_EQ(contents(fast, 2), contents(slow, 2)) << text.size();
      ASSERT_EQ(fast.limit, slow.limit);
    }
  });
}

// A text that grows eightfold fills the first block: stretches written in
// place and stretches appended one at a time take turns, and the rule must
// end where one append at a time ends. A decoder's buffer without room goes
// one unit at a time.
TEST(HtmlCodecKernels, BuffersGrowAsWithOneAppendAtATime) {
  std::u16string text;
  for (int k = 0; k < 3000; ++k) text += (k % 5 == 0) ? u"ab<c" : u"\u00E9\u03B5\u0100";
  const ztk::U16View units{reinterpret_cast<const uint16_t *>(text.data()), text.size()};
  for_each_level([&](ztk::cpu::Level) {
    for (int64_t start : {int64_t{16}, int64_t{5000}, 2 * int64_t(units.size) + 4096}) {
      AsciiStringHandle fast(start), slow(start);
      ztk::html::encode(units, false, fast);
      encode_one_at_a_time(units, false, slow);
      ASSERT_EQ(contents(fast, 1), contents(slow, 1)) << start;
      ASSERT_EQ(fast.limit, slow.limit) << start;
    }
    const std::u16string refs = units_of(ztk_bench::html_page(5000));
    const ztk::U16View r{reinterpret_cast<const uint16_t *>(refs.data()), refs.size()};
    UnicodeStringHandle fast(16), slow(16);
    ztk::html::decode(r, fast);
    decode_one_at_a_time(r, slow);
    ASSERT_EQ(contents(fast, 2), contents(slow, 2));
    ASSERT_EQ(fast.limit, slow.limit);
  });
}

// The kernels keep to the room they are given: the decoder to the input's
// length, the encoder to ten bytes a unit and 48 more.
TEST(HtmlCodecKernels, KernelsStoreOnlyIntoTheirRoom) {
  const auto texts = block_texts();
  for_each_level([&](ztk::cpu::Level) {
    for (const std::u16string &text : texts) {
      const ztk::U16View units{reinterpret_cast<const uint16_t *>(text.data()), text.size()};
      std::vector<uint16_t> decoded(text.size() + 1, 0xBEEF);
      const size_t n = ztk::html::kernels().decode(units, decoded.data(), decoded.data() + text.size());
      ASSERT_LE(n, text.size());
      ASSERT_EQ(decoded[text.size()], 0xBEEF);
      std::vector<uint8_t> encoded(10 * text.size() + 49, 0xEE);
      const size_t m = ztk::html::kernels().encode(units, 0, false, encoded.data());
      ASSERT_LE(m, 10 * text.size());
      ASSERT_EQ(encoded[10 * text.size() + 48], 0xEE);
    }
  });
}

TEST_P(DecodingFromHTMLZTK, PagesDecodeAsOneUnitAtATime) {
  const std::string page = ztk_bench::html_page(70001);
  const std::u16string units = units_of(page);
  UnicodeStringHandle slow(2 * int64_t(units.size()) + 4096);
  decode_one_at_a_time({reinterpret_cast<const uint16_t *>(units.data()), units.size()}, slow);
  // Copied, not cast: the handle's bytes need not be aligned for units on every target.
  std::u16string expected(size_t(slow.used), u'\0');
  std::memcpy(&expected[0], *slow.handle, expected.size() * sizeof(char16_t));
  EXPECT_EQ(call("DecodingFromHTMLZTK", {S(page)}).bytes, utf8_of(expected));
}

TEST_P(EncodingToHTMLZTK, FormsEncodeAsOneUnitAtATime) {
  const std::string form = ztk_bench::html_like_text(70001);
  const std::u16string units = units_of(form);
  for (bool keep : {false, true}) {
    AsciiStringHandle slow(2 * int64_t(units.size()) + 4096);
    encode_one_at_a_time({reinterpret_cast<const uint16_t *>(units.data()), units.size()}, keep, slow);
    EXPECT_EQ(call("EncodingToHTMLZTK", {S(form), I(keep ? 1 : 0)}).bytes, contents(slow, 1));
  }
}

// Each reference, and each near miss, at every place around the ends of the
// blocks of 32 units and of the stretch a block may read past itself: cut
// after every one of its units, so that the text ends inside it right
// before an unreadable page.
TEST(HtmlCodecKernels, ReferencesAtEveryPlaceAroundBlockEnds) {
  const std::vector<std::u16string> references = {
      u"&amp;", u"&eacute;", u"&thetasym;", u"&nbsp;", u"&lt;", u"&#58;", u"&#x3A;", u"&#x3a;", u"&#-60;",
      u"&#12-3;", u"&#x1F600;", u"&#99999;", u"&#0;", u"&#;", u"&#x;", u"&;", u"&&amp;", u"&amp&lt;",
      // Units that narrow to a byte of a name or to ";" must not count as one.
      u"&\u0161mp;", u"&am\u0170;", u"&amp\u013B", u"&\u0126\u013B", u"&#\u0135\u0138;", u"&\uFF1B",
      u"&Amp;", u"&amp ;", u"&aacute", u"&euro;x", u"&#x\u0100;",
      // Units that narrow to a zero byte, where a shorter name would end.
      std::u16string(u"&lt\0;", 5), u"&lt\u8000;", u"&amp\uFF00;", std::u16string(u"&quot\0\0;", 8),
      // A name out of its own slot, the longest, a reference right after one.
      u"&fnof;", u"&thetasym;", u"&upsih;", u"&amp;&lt;", u"&eacute;&#233;",
      // An "&" inside a numeric reference is part of it.
      u"&#1&2;", u"&#x4&;", u"&#65&lt;", u"&#x4&lt;", u"&#1&amp;&lt;", u"&#-&;&gt;"};
  std::vector<std::u16string> texts;
  for (const std::u16string &r : references) {
    for (size_t at = 0; at <= 100; ++at) {
      const std::u16string whole = std::u16string(at, u'a') + r + std::u16string(140 - at, u'b');
      texts.push_back(whole);
      for (size_t cut = 1; cut < r.size(); ++cut) texts.push_back(whole.substr(0, at + cut));
    }
  }
  for_each_level([&](ztk::cpu::Level) {
    for (const std::u16string &text : texts) {
      const GuardedBytes guarded(std::string_view(reinterpret_cast<const char *>(text.data()), 2 * text.size()));
      const ztk::U16View units{static_cast<const uint16_t *>(static_cast<const void *>(guarded.view().data)), text.size()};
      // Into exactly the room the kernel is promised, a sentinel after it.
      std::vector<uint16_t> fast(text.size() + 1, 0xBEEF);
      const size_t n = ztk::html::kernels().decode(units, fast.data(), fast.data() + text.size());
      ASSERT_EQ(fast[text.size()], 0xBEEF) << "a store past the room";
      UnicodeStringHandle slow(2 * int64_t(units.size) + 4096);
      decode_one_at_a_time(units, slow);
      ASSERT_EQ(std::string(reinterpret_cast<const char *>(fast.data()), 2 * n), contents(slow, 2))
          << std::string(text.begin(), text.end());
    }
  });
}

// Stretches of blocks with no "&" between references, each starting at
// every place in a block: the text before them, held back by the reference
// before, and the blocks themselves must come out whole, in order.
TEST(HtmlCodecKernels, CleanBlocksBetweenReferences) {
  const std::vector<std::u16string> around = {u"&amp;", u"&#58;", u"&#1&lt;", u"&bogus;", u"&#x1F600;"};
  std::vector<std::u16string> texts;
  for (const std::u16string &r : around) {
    for (size_t lead = 0; lead < 40; lead += 3) {
      for (size_t clean : {size_t{31}, size_t{32}, size_t{33}, size_t{64}, size_t{95}, size_t{200}, size_t{1000}}) {
        std::u16string text(lead, u'x');
        text += r;
        for (size_t j = 0; j < clean; ++j) text += static_cast<char16_t>(j % 7 == 0 ? 0x00E9 : 'a' + j % 26);
        text += r + u"tail" + r;
        texts.push_back(text);
      }
    }
  }
  for_each_level([&](ztk::cpu::Level) {
    for (const std::u16string &text : texts) {
      const GuardedBytes guarded(std::string_view(reinterpret_cast<const char *>(text.data()), 2 * text.size()));
      const ztk::U16View units{static_cast<const uint16_t *>(static_cast<const void *>(guarded.view().data)),
                               text.size()};
      std::vector<uint16_t> fast(text.size() + 1, 0xBEEF);
      const size_t n = ztk::html::kernels().decode(units, fast.data(), fast.data() + text.size());
      ASSERT_EQ(fast[text.size()], 0xBEEF) << "a store past the room";
      UnicodeStringHandle slow(2 * int64_t(units.size) + 4096);
      decode_one_at_a_time(units, slow);
      ASSERT_EQ(std::string(reinterpret_cast<const char *>(fast.data()), 2 * n), contents(slow, 2)) << text.size();
    }
  });
}

namespace {

// Decodes each text at every level, with the units ending right before an
// unreadable page and into exactly the room the kernel is promised, against
// the decoder of one unit at a time.
void expect_decoded_as_one_unit_at_a_time(const std::vector<std::u16string> &texts) {
  for_each_level([&](ztk::cpu::Level) {
    for (const std::u16string &text : texts) {
      const GuardedBytes guarded(std::string_view(reinterpret_cast<const char *>(text.data()), 2 * text.size()));
      const ztk::U16View units{static_cast<const uint16_t *>(static_cast<const void *>(guarded.view().data)),
                               text.size()};
      std::vector<uint16_t> fast(text.size() + 1, 0xBEEF);
      const size_t n = ztk::html::kernels().decode(units, fast.data(), fast.data() + text.size());
      ASSERT_EQ(fast[text.size()], 0xBEEF) << "a store past the room";
      UnicodeStringHandle slow(2 * int64_t(units.size) + 4096);
      decode_one_at_a_time(units, slow);
      ASSERT_EQ(std::string(reinterpret_cast<const char *>(fast.data()), 2 * n), contents(slow, 2))
          << std::string(text.begin(), text.end()) << " (" << text.size() << " units)";
    }
  });
}

}  // namespace

// Every name of the table, those that share their first three characters
// with another (sup1, sup2, sube, sigmaf, frac12...) among them, across the
// ends of the first two blocks; and each with a unit from 0x100 up in place
// of a character or of its ";", one that narrows with saturation to 0xFF and
// one that narrows to a zero byte: none of them may pass for the name.
TEST(HtmlCodecKernels, EveryNameAndItsNearMissesAroundBlockEnds) {
  std::vector<std::u16string> references;
  for (const auto *e = ztk::html::escapecodes; e->code != 0; ++e) {
    std::u16string r = u"&";
    for (const char *c = e->name; *c != 0; ++c) r += static_cast<char16_t>(static_cast<uint8_t>(*c));
    r += u";";
    references.push_back(r);
    for (const size_t j : {size_t{1}, r.size() / 2, r.size() - 1}) {
      for (const char16_t high : {char16_t{0x100}, char16_t{0x8000}}) {
        std::u16string miss = r;
        miss[j] = static_cast<char16_t>(miss[j] | high);
        references.push_back(miss);
      }
    }
  }
  std::vector<std::u16string> texts;
  for (const std::u16string &r : references) {
    for (const size_t at : {size_t{0}, size_t{5}, size_t{25}, size_t{27}, size_t{29}, size_t{31}, size_t{32},
                            size_t{57}, size_t{60}, size_t{63}, size_t{64}}) {
      texts.push_back(std::u16string(at, u'a') + r + std::u16string(100, u'b'));
      texts.push_back(std::u16string(at + 64, u'a') + r);  // ending with the reference
    }
  }
  expect_decoded_as_one_unit_at_a_time(texts);
}

// Numeric references of every length up to their ";" within seven units:
// decimal ones of one to five digits, with zeros ahead, above 0xFFFF (a
// pair), zero; hexadecimal ones of either case; and those read only up to a
// "-" or another stop, which still end at their ";".
TEST(HtmlCodecKernels, EveryShapeOfNumericReferenceAroundBlockEnds) {
  const std::vector<std::u16string> references = {
      u"&#7;",     u"&#65;",    u"&#233;",   u"&#8364;",  u"&#65535;", u"&#65536;", u"&#99999;", u"&#00065;",
      u"&#0;",     u"&#00;",    u"&#9;",     u"&#10;",    u"&#5a;",    u"&#5:;",    u"&#5/;",    u"&#1-2;",
      u"&#-5;",    u"&#5 ;",    u"&#123456;", u"&#x7;",   u"&#xA;",    u"&#xa;",    u"&#xFf;",   u"&#x20AC;",
      u"&#xffff;", u"&#x0;",    u"&#x00;",   u"&#x4g;",   u"&#xG;",    u"&#x-1;",   u"&#x1-;",   u"&#x12345;",
      u"&#x@;",    u"&#x`;",    u"&#x/;",    u"&#x:;",    u"&#xF;",    u"&#X41;",   u"&#\u0131;", u"&#4\u0130;",
      u"&#x4\u0161;", u"&#\u8031;",
      // Digits past the six units a reference may have before its ";", to
      // a value inside the BMP.
      u"&#x0FFFF;", u"&#x0003A;", u"&#000065;", u"&#0000065;",
      // Units below 0x100 from 0x80 up narrow to themselves: in a digit's
      // place, the top bit of a byte that is no digit, on either side of
      // the two ends of the digits' range.
      u"&#5\u00B5;", u"&#\u0080;", u"&#1\u00AF2;", u"&#\u00B9;", u"&#\u00BA;", u"&#12\u00FF;", u"&#\u00B0\u00B9;"};
  std::vector<std::u16string> texts;
  for (const std::u16string &r : references) {
    for (size_t at = 20; at <= 70; ++at) {
      texts.push_back(std::u16string(at, u'a') + r + std::u16string(100, u'b'));
      texts.push_back(std::u16string(at, u'a') + r);
    }
  }
  expect_decoded_as_one_unit_at_a_time(texts);
}

// Every unit below 0x300 and the edges of the two saturations, at every
// place of the first two blocks: a level may mark more units than it must
// (DEL, "#"), never fewer, and writes each as one unit at a time does.
TEST(HtmlCodecKernels, EveryUnitEncodesAtEveryPlaceInABlock) {
  std::vector<char16_t> units;
  for (char16_t c = 1; c < 0x300; ++c) units.push_back(c);
  for (const char16_t c : {0x7FFF, 0x8000, 0x8022, 0xFF26, 0xFF7F, 0xFF80, 0xFFFD}) units.push_back(c);
  for_each_level([&](ztk::cpu::Level) {
    for (const char16_t c : units) {
      for (size_t at = 0; at < 70; at += (c < 0x80 ? 1 : 7)) {
        std::u16string text(80, u'x');
        text[at] = c;
        text[79 - at / 2] = c;
        const GuardedBytes guarded(std::string_view(reinterpret_cast<const char *>(text.data()), 2 * text.size()));
        const ztk::U16View view{static_cast<const uint16_t *>(static_cast<const void *>(guarded.view().data)),
                                text.size()};
        for (bool keep : {false, true}) {
          AsciiStringHandle fast(2 * int64_t(view.size) + 4096), slow(2 * int64_t(view.size) + 4096);
          ztk::html::encode(view, keep, fast);
          encode_one_at_a_time(view, keep, slow);
          ASSERT_EQ(contents(fast, 1), contents(slow, 1)) << std::hex << unsigned{c} << " at " << std::dec << at;
        }
      }
    }
  });
}

// References across the ends of the windows of 64 units and of the 32-unit
// windows that take over where fewer than 96 units are left, in texts of
// every length from 64 to 224 units: the reference starts a few units before
// or after each end, or ends the text right before an unreadable page. Units
// from 0x100 up whose low byte is a character of the name or its ";" must
// not pass for it.
TEST(HtmlCodecKernels, ReferencesAroundWindowEndsInTextsOfEveryLength) {
  const std::vector<std::u16string> references = {
      u"&amp;", u"&eacute;", u"&nbsp;", u"&lt;", u"&#58;", u"&#x3A;", u"&#65536;", u"&#1&lt;", u"&bogus;",
      u"&\u0161mp;", u"&am\u0170;", u"&amp\u013B", u"&e\u0161cute;", u"&#5\u0133;"};
  std::vector<std::u16string> texts;
  for (const std::u16string &r : references) {
    for (size_t n = 64; n <= 224; ++n) {
      for (const size_t edge : {size_t{32}, size_t{64}, size_t{96}, size_t{128}, size_t{160}, n - 96, n - 64,
                                n - 32, n - r.size()}) {
        for (size_t back = 0; back <= 9; back += 3) {
          if (edge > n || edge < back || edge - back + r.size() > n) continue;
          const size_t at = edge - back;
          std::u16string text(at, u'a');
          text += r;
          for (size_t j = text.size(); j < n; ++j) text += static_cast<char16_t>(j % 5 == 0 ? u'&' : u'a' + j % 26);
          texts.push_back(text);
        }
      }
    }
  }
  expect_decoded_as_one_unit_at_a_time(texts);
}

// Long texts that meet the same references again and again, as a page
// does: numeric ones of every shape, names that share their first three
// characters with another, near misses of both, and "&"s that begin none,
// drawn at random with text of random length between them. A reference met
// once is taken the next time from what was kept of it, and two that the
// keeping puts in one place take it from each other.
TEST(HtmlCodecKernels, ReferencesMetAgainInOneText) {
  const std::vector<std::u16string> pool = {
      u"&#39;",  u"&#8217;", u"&#58;",  u"&#x3A;",   u"&#x3a;",  u"&#160;",  u"&#65;",   u"&#065;",  u"&#6;",
      u"&#x27;", u"&#X27;",  u"&#59;",  u"&#5;9;",   u"&#128512;", u"&#x1F600;", u"&#12&lt;", u"&#3a;", u"&#;",
      u"&sup1;", u"&sup2;",  u"&sup3;", u"&sube;",   u"&sigma;", u"&sigmaf;", u"&frac12;", u"&frac14;",
      u"&amp;",  u"&amp",    u"&am;",   u"&ampx;",   u"&eacute;", u"&Eacute;", u"& ",      u"&&",      u"&;",
      u"&#x;",   u"&#39",    u"&#3\u0139;", u"&sup\u0131;", u"&#x2\u0137;"};
  std::mt19937 rng(17);
  std::vector<std::u16string> texts;
  for (int t = 0; t < 60; ++t) {
    // A few references a text, or many: the fewer, the more often each.
    const size_t kinds = 2 + rng() % (t % 2 == 0 ? 4 : pool.size());
    std::vector<std::u16string> drawn;
    for (size_t k = 0; k < kinds; ++k) drawn.push_back(pool[rng() % pool.size()]);
    std::u16string text;
    while (text.size() < 3000) {
      const size_t gap = rng() % 4 == 0 ? rng() % 90 : rng() % 9;
      for (size_t j = 0; j < gap; ++j) text += static_cast<char16_t>(u'a' + rng() % 26);
      text += drawn[rng() % drawn.size()];
    }
    texts.push_back(text);
  }
  // Each such reference, then its near misses (one unit more or less, or
  // another in place of its ";" or of the unit before it), then the
  // reference again, with text of every length from none to two windows
  // between them.
  for (const std::u16string r : {u"&#8217;", u"&#x2014;", u"&#12345;", u"&#39;", u"&#x27;", u"&sigmaf;", u"&frac34;"}) {
    const size_t semi = r.size() - 1;
    std::vector<std::u16string> misses = {r.substr(0, semi), r.substr(0, semi - 1) + u";", r + u";",
                                          r.substr(0, semi) + u"0;", r.substr(0, semi) + u"x", r.substr(0, semi - 1) + u"0;"};
    std::u16string text;
    for (size_t gap = 0; gap <= 130; gap += 13) {
      for (const std::u16string &m : misses) {
        text += r + std::u16string(gap, u'g') + m + std::u16string(gap % 7, u'h');
      }
    }
    texts.push_back(text);
  }
  expect_decoded_as_one_unit_at_a_time(texts);
}

// Long stretches of text between references at every offset from a window's
// start: the text goes out in 16-byte and 32-byte moves that may overlap
// what follows, and must come out whole.
TEST(HtmlCodecKernels, TextOfEveryLengthBetweenReferences) {
  std::vector<std::u16string> texts;
  for (size_t lead = 0; lead < 70; lead += 5) {
    for (size_t gap = 0; gap <= 140; ++gap) {
      std::u16string text(lead, u'x');
      for (const char16_t *r : {u"&eacute;", u"&#58;", u"&amp;"}) {
        text += r;
        for (size_t j = 0; j < gap; ++j) text += static_cast<char16_t>(j % 11 == 0 ? 0x20AC : 'a' + j % 26);
      }
      text += u"&lt;";
      texts.push_back(text);
    }
  }
  expect_decoded_as_one_unit_at_a_time(texts);
}

// Runs of references that fill whole blocks and straddle their ends: each
// kind of row (one byte, a name, the longest name, a numeric reference of
// five digits, a unit from 0x100 up among units below it) in runs of every
// length from every place, surrogate pairs cut by a block's end, and a text
// ending on a high surrogate right before an unreadable page. The kernel is
// given exactly the room it is promised, a sentinel after it; the method's
// bytes equal those of one unit at a time.
TEST(HtmlCodecKernels, RunsOfReferencesAcrossBlockEnds) {
  struct Run {
    const char *name;
    std::u16string unit;  // repeated
  } runs[] = {
      {"markup", u"<"},
      {"apostrophe", u"'"},
      {"own byte (#, DEL)", std::u16string(u"#\u007F", 2)},
      {"latin names", u"\u00E9"},
      {"longest name", u"\u03D1"},  // &thetasym;
      {"five digits", u"\uFFFD"},
      {"wide among latin", u"\u00E9\u20AC<"},
      {"pairs", u"\U0001F600"},
      {"pair after one", u"a\U0001F600"},
  };
  std::vector<std::pair<const char *, std::u16string>> texts;
  for (const Run &r : runs) {
    for (size_t lead = 0; lead <= 66; ++lead) {
      for (size_t count : {size_t{1}, size_t{2}, size_t{31}, size_t{32}, size_t{33}, size_t{70}}) {
        std::u16string text(lead, u'x');
        for (size_t j = 0; j < count; ++j) text += r.unit;
        texts.emplace_back(r.name, text + u"tail of the text, more than a block long.");
        texts.emplace_back(r.name, text);
      }
    }
  }
  for (size_t lead = 0; lead <= 66; ++lead) {
    texts.emplace_back("ends on a high surrogate", std::u16string(lead, u'x') + u'\xD83D');
    texts.emplace_back("a pair cut by the end", std::u16string(lead, u'\u00E9') + u"\U0001F600");
  }
  for_each_level([&](ztk::cpu::Level) {
    for (const auto &[name, text] : texts) {
      const GuardedBytes guarded(std::string_view(reinterpret_cast<const char *>(text.data()), 2 * text.size()));
      const ztk::U16View units{static_cast<const uint16_t *>(static_cast<const void *>(guarded.view().data)),
                               text.size()};
      for (bool keep : {false, true}) {
        AsciiStringHandle slow(2 * int64_t(units.size) + 4096);
        encode_one_at_a_time(units, keep, slow);
        const std::string expected = contents(slow, 1);
        std::vector<uint8_t> room(10 * text.size() + 48 + 1, 0xEE);
        const size_t n = ztk::html::kernels().encode(units, 0, keep, room.data());
        ASSERT_EQ(room.back(), 0xEE) << name << ": a store past the room";
        ASSERT_EQ(std::string(reinterpret_cast<const char *>(room.data()), n), expected)
            << name << ", " << text.size() << " units, keep " << keep;
        AsciiStringHandle fast(2 * int64_t(units.size) + 4096);
        ztk::html::encode(units, keep, fast);
        ASSERT_EQ(contents(fast, 1), expected) << name << ", " << text.size() << " units";
        ASSERT_EQ(fast.limit, slow.limit);
      }
    }
  });
}
