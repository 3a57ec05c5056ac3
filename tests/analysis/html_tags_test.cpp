#include "host_test.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(RemoveHTMLTagsZTK);

TEST_P(RemoveHTMLTagsZTK, RemovesNestedTagsByteForByte) {
  expect_cases("RemoveHTMLTagsZTK", {
      {"markup", "<p>Hello <b>World</b></p>", "Hello World", enc::kUTF8},
      {"no brackets", "plain text", "plain text", enc::kUTF8},
      {"nested", "a<b<c>d>e", "ae", enc::kUTF8},
      {"unclosed", "abc<def", "abc", enc::kUTF8},
      {"quoted bracket closes", "<i a='x>y", "y", enc::kUTF8},
      {"non-ASCII passes", "Gr\xC3\xB6\xC3\x9F" "e<br>", "Gr\xC3\xB6\xC3\x9F" "e", enc::kUTF8},
      {"stray closing bracket is text", "1 > 0 and <b>x</b>", "1 > 0 and x", enc::kUTF8},
  }, enc::kUTF8);
  EXPECT_EQ(call("RemoveHTMLTagsZTK", {S("caf\xE9", enc::kISOLatin1)}).bytes, "caf\xC3\xA9") << "converted to UTF-8";
  for (Value v : {NullString(), Value(Empty()), Value(S("<a><b></b></a>"))}) {
    EXPECT_TRUE(call("RemoveHTMLTagsZTK", {v}).null);
  }
}

TEST_P(RemoveHTMLTagsZTK, ReplacementIsWrittenForEveryRemovedByte) {
  EXPECT_EQ(call("RemoveHTMLTagsWithZTK", {S("a<br>b"), S(" ")}).bytes, "a  b");
  EXPECT_EQ(call("RemoveHTMLTagsWithZTK", {S("a<br>b"), S("[x]")}).bytes, "a[x][x]b");
  EXPECT_EQ(call("RemoveHTMLTagsWithZTK", {S("a<br>b"), NullString()}).bytes, "ab");
  EXPECT_EQ(call("RemoveHTMLTagsWithZTK", {S("a<br>b"), Empty()}).bytes, "ab");
  EXPECT_EQ(call("RemoveHTMLTagsWithZTK", {S("a<br>b"), S(std::string("-\0+", 3))}).bytes, "a--b")
      << "the replacement ends at its first NUL";
  EXPECT_EQ(call("RemoveHTMLTagsWithZTK", {S("<\xC3\xA9>"), S("*")}).bytes, "**");
  EXPECT_TRUE(call("RemoveHTMLTagsWithZTK", {NullString(), S("x")}).null);
}

TEST_P(RemoveHTMLTagsZTK, BufferFailureGivesEmptyString) {
  const std::string text = "<b>" + std::string(20000, 'x') + "</b>";
  REALstring s = S(text), r = S("[replaced]");
  plugin->fail_allocation(-1);
  EXPECT_TRUE(call("RemoveHTMLTagsWithZTK", {s, r}).null);
  plugin->fail_allocation(0);
  EXPECT_EQ(call("RemoveHTMLTagsWithZTK", {S("<" + std::string(5000, 'x') + ">"), r}).bytes.size(), 50000u)
      << "the buffer grows past its first size";
}
