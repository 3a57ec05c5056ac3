// The decoded view of a host string, seen through the methods that hand one
// of its forms back: DecodingFromHTMLZTK (UTF-16), RemoveHTMLTagsZTK (UTF-8),
// SQLReplaceBooleanZTK (ASCII) and LevenshteinDistanceZTK (UTF-32 length).
#include "host_test.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(TextView);

TEST_P(TextView, UntaggedSevenBitTextIsUsedAsItIs) {
  EXPECT_EQ(call("RemoveHTMLTagsZTK", {S("abc", enc::kNone)}).bytes, "abc");
  EXPECT_EQ(call("DecodingFromHTMLZTK", {S("abc", enc::kNone)}).bytes, "abc");
  EXPECT_EQ(call("SQLReplaceBooleanZTK", {S("abc", enc::kNone)}).bytes, "abc");
}

TEST_P(TextView, UntaggedHighBytesAreReadAsMacRoman) {
  EXPECT_EQ(call("DecodingFromHTMLZTK", {S("\x8E", enc::kNone)}).bytes, "\xC3\xA9");
  EXPECT_EQ(call("RemoveHTMLTagsZTK", {S("\x8E", enc::kNone)}).bytes, "\xC3\xA9");
}

TEST_P(TextView, LeadingByteOrderMarksAreDropped) {
  struct Case {
    std::u16string in, out;
  } cases[] = {{u"\uFEFF\uFFFEa", u"a"}, {u"\uFFFE\uFEFFa", u"\uFEFFa"}, {u"\uFEFF", u""}, {u"a\uFEFF", u"a\uFEFF"}};
  for (const Case &c : cases) {
    Result r = call("DecodingFromHTMLZTK", {U16(c.in)});
    EXPECT_EQ(r.bytes, utf8_of(c.out));
  }
}

TEST_P(TextView, AstralCharactersAreTwoUnits) {
  EXPECT_EQ(call("LevenshteinDistanceZTK", {S("\xF0\x9F\x98\x80"), S("\xF0\x9F\x98\x80" "ab")}).real, 1.0);
  EXPECT_EQ(call("LevenshteinDistanceZTK", {S("\xF0\x9F\x98\x80"), U16(u"\U0001F600")}).real, 0.0);
}

TEST_P(TextView, EveryEncodingGivesTheSameText) {
  const Value forms[] = {S("caf\xC3\xA9", enc::kUTF8),       U16(u"caf\u00E9"), S("caf\x8E", enc::kMacRoman),
                         S("caf\xE9", enc::kWindows1252),      S("caf\xE9", enc::kISOLatin1),
                         S(std::string("c\0\0\0a\0\0\0f\0\0\0\xE9\0\0\0", 16), enc::kUTF32)};
  for (const Value &v : forms) {
    EXPECT_EQ(call("RemoveHTMLTagsZTK", {v}).bytes, "caf\xC3\xA9");
    EXPECT_EQ(call("DecodingFromHTMLZTK", {v}).bytes, "caf\xC3\xA9");
  }
}

TEST_P(TextView, FailedConversionsReadAsEmpty) {
  host.failures["REALConvertString"].always = true;
  host.failures["REALBuildString"].always = true;
  EXPECT_EQ(call("LevenshteinDistanceZTK", {S("\x8E", enc::kNone), S("x")}).real, 1.0);
}

// Which host service produced each form, by host version.
class TextViewThresholds : public HostTest {};

TEST_F(TextViewThresholds, VersionChoosesConversionOrStringData) {
  struct Case {
    double version;
    int64_t utf8Conversions, utf16Conversions;
  } cases[] = {{0, 1, 1}, {2011.04, 1, 1}, {2012.0, 0, 1}, {2012.5, 0, 1}, {2013.0, 0, 0}, {2013.01, 0, 0}, {2024.0, 0, 0}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.version);
    subhost::Settings s;
    s.version = c.version == 0 ? std::optional<double>() : c.version;
    start(s);
    REALstring text = U16(u"abc");
    call("RemoveHTMLTagsZTK", {text});
    EXPECT_EQ(host.ledger.conversions, c.utf8Conversions);
    host.ledger.conversions = 0;
    call("LevenshteinDistanceZTK", {S("abc"), S("abd")});
    EXPECT_EQ(host.ledger.conversions, 2 * c.utf16Conversions);
  }
}

TEST_F(TextViewThresholds, WithoutStringDataTheFallbackCopies) {
  subhost::Settings s;
  s.version = 2024.0;
  s.withheld = {"PluginGetStringData"};
  start(s);
  EXPECT_EQ(call("EncodingToHexZTK", {U16(u"\u00E9")}).bytes, "E900");
  EXPECT_EQ(call("DecodingFromHTMLZTK", {S("&eacute;", enc::kASCII)}).bytes, "\xC3\xA9");
  EXPECT_EQ(call("DecodingFromHexZTK", {U16(u"4142")}).bytes, "AB") << "converted through the host, then copied";
  s.withheld.insert("REALLoadGlobalMethod");
  start(s);
  EXPECT_TRUE(call("EncodingToHexZTK", {S("a")}).null) << "no LenB, no bytes";
}

// The view reads no byte past a form's text, so it makes no copy to add a
// terminator when the host's bytes are followed by something other than zero:
// with the plugin's first allocation failing, both texts still compare.
TEST_P(TextView, TextsNotFollowedByZeroAreUsedWithoutACopy) {
  subhost::Settings s = default_settings();
  s.padding = 0xAA;
  start(s);
  for (int fail : {0, 1, 2}) {
    SCOPED_TRACE(fail);
    plugin->fail_allocation(fail);
    EXPECT_EQ(call("StrCompCharactersZTK", {S("abd", enc::kUTF8), S("abc", enc::kASCII)}).integer, 1);
    plugin->fail_allocation(fail);
    EXPECT_EQ(call("StrCompCharactersZTK", {S("abc", enc::kASCII), S("abd", enc::kUTF8)}).integer, -1);
  }
  plugin->fail_allocation(0);
}
