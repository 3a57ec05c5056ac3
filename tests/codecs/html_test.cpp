#include "codecs/html.h"

#include <cstring>
#include <random>

#include "host_test.h"

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

TEST_P(StringIsHTMLreadyZTK, WithoutEncodingServiceOnlyBytesCount) {
  subhost::Settings s = default_settings();
  s.withheld = {"REALGetStringEncoding"};
  start(s);
  EXPECT_EQ(call("StringIsHTMLreadyZTK", {S("a", enc::kNone)}).boolean, 1);
}

TEST_P(EncodingToHTMLZTK, FailuresGiveEmptyString) {
  REALstring s = S("<\xC3\xA9>");
  for (int nth = 1; nth <= 4; ++nth) {
    plugin->fail_allocation(nth);
    Result r = call("EncodingToHTMLZTK", {s, I(0)});
    EXPECT_TRUE(r.null || r.bytes == "&lt;&eacute;&gt;");
  }
  plugin->fail_allocation(0);
  host.failures["REALConvertString"].always = true;
  host.failures["REALBuildString"].always = true;
  EXPECT_TRUE(call("EncodingToHTMLZTK", {s, I(0)}).null);
  EXPECT_TRUE(call("DecodingFromHTMLZTK", {s}).null);
}

TEST(HtmlEntityTable, IsSortedUniqueAndFoundByBinarySearch) {
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
