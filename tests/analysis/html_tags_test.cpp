#include "analysis/html_tags.h"

#include <random>
#include <string>

#include "host_test.h"
#include "kernel_levels.h"
#include "text/string_handles.h"

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

// Text runs and runs inside tags go in blocks; the bytes, and the buffer's
// appends, must equal a byte at a time with AddBinary, at every level.
TEST(TagRemovalKernel, EqualsTheOneByteRulesAtEveryLevel) {
  std::mt19937 rng(43);
  const auto inputs = token_inputs(rng, {"<", ">", "<b>", "</p>", "<<", ">>", "\xC3\xA9"}, 240);
  for (const std::string replacement : {"", " ", "[x]"}) {
    const ztk::ByteView r{reinterpret_cast<const uint8_t *>(replacement.data()), replacement.size()};
    expect_equal_at_every_level(
        inputs,
        [&](ztk::ByteView in) {
          AsciiStringHandle out(16);  // small, so that runs cross the growth steps
          ztk::tags::remove_tags(in, r, out);
          return std::string(*out.handle, size_t(out.used)) + "|" + std::to_string(out.limit);
        },
        [&](const std::string &s) {
          AsciiStringHandle out(16);
          int64_t depth = 0;
          for (char c : s) {
            if (c == '<') {
              ++depth;
            } else if (c == '>' && depth > 0) {
              --depth;
            } else if (depth == 0) {
              AddBinary(out, &c, 1);
            } else if (!replacement.empty()) {
              AddBinary(out, replacement.data(), static_cast<int>(replacement.size()));
            }
          }
          return std::string(*out.handle, size_t(out.used)) + "|" + std::to_string(out.limit);
        });
  }
}
