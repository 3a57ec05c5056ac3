#include "analysis/compare.h"

#include <random>

#include "host_test.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(StrCompBytesZTK);
ZTK_GENERATION_SUITE(StrCompCharactersZTK);
ZTK_GENERATION_SUITE(CountOccurancesZTK);

TEST_P(StrCompBytesZTK, ComparesStoredBytesUnsigned) {
  struct Case {
    std::string a, b;
    int expected;
  } cases[] = {{"abc", "abd", -1},          {"abd", "abc", 1}, {"abc", "abc", 0}, {"abc", "abcd", -1},
               {"ab", std::string("ab\0", 3), 0}, {"\x80", "\x7F", 1}, {"", "a", -1}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.a + "|" + c.b);
    EXPECT_EQ(call("StrCompBytesZTK", {S(c.a, enc::kNone), S(c.b, enc::kNone)}).integer, c.expected);
  }
  EXPECT_EQ(call("StrCompBytesZTK", {S("ab"), U16(u"ab")}).integer, 1) << "stored bytes, not characters";
}

TEST_P(StrCompBytesZTK, MissingStringsAreOrderedFirst) {
  EXPECT_EQ(call("StrCompBytesZTK", {NullString(), S("a")}).integer, -1);
  EXPECT_EQ(call("StrCompBytesZTK", {NullString(), NullString()}).integer, -1);
  EXPECT_EQ(call("StrCompBytesZTK", {S("a"), NullString()}).integer, 1);
  EXPECT_EQ(call("StrCompBytesZTK", {Empty(), Empty()}).integer, 0);
}

TEST_P(StrCompCharactersZTK, DifferentEncodingsCompareAsUTF8) {
  const REALstring encodings[] = {S("\xE9t\xE9", enc::kISOLatin1), S("\xC3\xA9t\xC3\xA9", enc::kUTF8),
                                  U16(u"\u00E9t\u00E9"), S("\x8Et\x8E", enc::kMacRoman),
                                  S("\xE9t\xE9", enc::kWindows1252), S(std::string("\xE9\0\0\0t\0\0\0\xE9\0\0\0", 12), enc::kUTF32)};
  for (REALstring a : encodings) {
    for (REALstring b : encodings) EXPECT_EQ(call("StrCompCharactersZTK", {a, b}).integer, 0);
  }
  EXPECT_EQ(call("StrCompCharactersZTK", {S("\xE9", enc::kISOLatin1), S("z", enc::kUTF8)}).integer, 1);
  EXPECT_EQ(call("StrCompCharactersZTK", {S("ab", enc::kUTF8), U16(u"ab")}).integer, 0);
  EXPECT_EQ(call("StrCompCharactersZTK", {S("a", enc::kASCII), S("b", enc::kUTF8)}).integer, -1);
}

TEST_P(StrCompCharactersZTK, SameEncodingComparesBytes) {
  EXPECT_EQ(call("StrCompCharactersZTK", {U16(u"\u0100"), U16(u"\u00FF")}).integer, -1) << "bytes 00 01 before FF 00";
  EXPECT_EQ(call("StrCompCharactersZTK", {S("abc"), S("abd")}).integer, -1);
  EXPECT_EQ(call("StrCompCharactersZTK", {S("a", enc::kNone), NullString()}).integer, -1);
  EXPECT_EQ(call("StrCompCharactersZTK", {NullString(), NullString()}).integer, -1);
  EXPECT_EQ(call("StrCompCharactersZTK", {NullString(), S("", enc::kUTF8)}).integer, 0)
      << "different encodings: the null string is the empty text";
}

TEST_P(StrCompCharactersZTK, WithoutEncodingServiceEveryStringLooksAlike) {
  subhost::Settings s = default_settings();
  s.withheld = {"REALGetStringEncoding"};
  start(s);
  EXPECT_EQ(call("StrCompCharactersZTK", {S("ab"), U16(u"ab")}).integer, 1);
}

TEST_P(CountOccurancesZTK, CountsLeftmostNonOverlappingMatches) {
  struct Case {
    std::string s, find;
    int expected;
  } cases[] = {{"aaaa", "aa", 2}, {"abcabc", "abc", 2}, {"banana", "a", 3}, {"Abc", "abc", 0},
               {"ab", "abc", 0},  {"aaa", "aa", 1},     {"abab", "b", 2},   {std::string("a\0a\0", 4), std::string("\0", 1), 2}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.s + "|" + c.find);
    EXPECT_EQ(call("CountOccurancesZTK", {S(c.s), S(c.find)}).integer, c.expected);
  }
  EXPECT_EQ(call("CountOccurancesZTK", {S("a"), NullString()}).integer, 0);
  EXPECT_EQ(call("CountOccurancesZTK", {NullString(), S("a")}).integer, 0);
  EXPECT_EQ(call("CountOccurancesZTK", {S("a"), Empty()}).integer, 0);
  EXPECT_EQ(call("CountOccurancesZTK", {Empty(), S("a")}).integer, 0);
}

TEST(CountKernel, EqualsTheStraightforwardScan) {
  std::mt19937 rng(4);
  for (int round = 0; round < 2000; ++round) {
    std::string s(rng() % 64, '\0'), f(1 + rng() % 4, '\0');
    for (char &c : s) c = static_cast<char>('a' + rng() % 3);
    for (char &c : f) c = static_cast<char>('a' + rng() % 3);
    int64_t expected = 0;
    for (size_t p = 0; f.size() <= s.size() && p <= s.size() - f.size();) {
      if (s.compare(p, f.size(), f) == 0) {
        ++expected;
        p += f.size();
      } else {
        ++p;
      }
    }
    const auto view = [](const std::string &t) { return ztk::ByteView{reinterpret_cast<const uint8_t *>(t.data()), t.size()}; };
    ASSERT_EQ(ztk::compare::count_occurrences(view(s), view(f)), expected) << s << "|" << f;
  }
}
