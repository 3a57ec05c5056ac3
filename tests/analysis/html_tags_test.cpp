#include "analysis/html_tags.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "../../bench/bench_inputs.h"
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

namespace {

// The pages, forms and tagged prose the benchmarks use, cut at lengths that
// end on and around block edges, and random runs of brackets and text.
std::vector<std::string> tag_inputs() {
  std::mt19937 rng(7);
  std::vector<std::string> inputs = token_inputs(rng, {"<", ">", "<b>", "</p>", "<<", ">>", "<a href=\"x\">"}, 200);
  for (size_t n : {63, 64, 65, 127, 1000, 4099}) {
    for (const std::string &s : {ztk_bench::html_page(n), ztk_bench::html_like_text(n), ztk_bench::tagged_text(n)}) {
      inputs.push_back(s);
      inputs.push_back(s.substr(1));
    }
  }
  // Markup whose brackets take turns, tags and text of every length from 0
  // to 70, so that blocks of 64 start and end inside tags and inside text;
  // now and then a ">" in the text or a "<" inside a tag.
  for (int variant = 0; variant < 12; ++variant) {
    std::string s;
    while (s.size() < 700) {
      s += std::string(rng() % 71, 't');
      s += "<" + std::string(rng() % 71, 'g');
      if (variant % 4 == 3 && rng() % 8 == 0) s += rng() % 2 == 0 ? "<" : ">>";
      s += ">";
    }
    inputs.push_back(s);
    inputs.push_back(s.substr(0, s.size() - 1 - rng() % 40));  // ending inside a tag or just after one
  }
  inputs.push_back(std::string(300, '<') + "x" + std::string(299, '>') + "tail");
  inputs.push_back("<" + std::string(500, 'x'));
  return inputs;
}

// The kernel writes into exactly the room it is given: the byte after it
// must stay as it was, whatever the level's whole stores do. The input goes
// in two calls, cut at a place of its own, the depth carried between them.
void expect_strip_equals_reference(const std::vector<std::string> &inputs,
                                   const std::vector<std::string> &replacements) {
  for (const std::string &replacement : replacements) {
    SCOPED_TRACE(replacement);
    const ztk::ByteView r{reinterpret_cast<const uint8_t *>(replacement.data()), replacement.size()};
    const ztk::tags::Filler filler = ztk::tags::filler_of(r);
    const size_t per = std::max<size_t>(1, replacement.size());
    expect_equal_at_every_level(
        inputs,
        [&](ztk::ByteView in) {
          std::string out(in.size * per + 1, '#');
          auto *o = reinterpret_cast<uint8_t *>(&out[0]);
          uint8_t *const end = o + in.size * per;
          const size_t cut = in.size * 7 / 13;
          int64_t depth = 0;
          size_t n = ztk::tags::kernels().strip({in.data, cut}, 0, filler, depth, o, end);
          n += ztk::tags::kernels().strip(in, cut, filler, depth, o + n, end);
          EXPECT_EQ(out[in.size * per], '#') << "a store past the room";
          out.resize(n);
          return out;
        },
        [&](const std::string &s) {
          std::string out(s.size() * per, '\0');
          const ztk::ByteView in{reinterpret_cast<const uint8_t *>(s.data()), s.size()};
          out.resize(ztk::tags::strip_reference(in, r, reinterpret_cast<uint8_t *>(&out[0])));
          return out;
        });
  }
}

// Markup whose brackets take turns, with one text length and one tag length
// throughout, so that over the blocks of 64 every tag and text run starts
// and ends at many offsets: runs left open across one or two block ends,
// tags that fill more than a block's worth, whole blocks inside a tag or
// inside text. Each ends at a few places, inside a tag name included, right
// before the guard page.
std::vector<std::string> block_edge_inputs() {
  std::vector<std::string> inputs;
  const size_t lengths[] = {0, 1, 7, 15, 16, 17, 31, 33, 62, 63, 64, 65, 100, 127, 130};
  for (size_t text : lengths) {
    for (size_t tag : lengths) {
      std::string s;
      while (s.size() < 520) s += std::string(text, 't') + "<" + std::string(tag, 'g') + ">";
      for (size_t drop : {0, 1, 2, 5, 40}) {
        if (drop < s.size()) inputs.push_back(s.substr(0, s.size() - drop));
      }
      // A nested or stray bracket now and then stops a run of whole blocks.
      std::string broken = s;
      for (size_t at = 150; at < broken.size(); at += 197) broken[at] = at % 2 == 0 ? '<' : '>';
      inputs.push_back(broken);
    }
  }
  // Plain text over whole blocks and then markup: the plain blocks a call
  // starts with end at, before and after the first "<", which may open a
  // tag name cut off by the guard page.
  for (size_t plain : {0, 1, 63, 64, 65, 127, 128, 129, 191, 192, 193, 640, 1000}) {
    for (const char *markup : {"<", "<ta", "<b>x", "<a>b</a>" "tail text after the tag", ">x<y>z"}) {
      inputs.push_back(std::string(plain, 'p') + markup);
      inputs.push_back(std::string(plain, 'p') + markup + std::string(plain, 'q') + "<name");
    }
  }
  return inputs;
}

}  // namespace

TEST(TagRemovalKernel, StripEqualsTheReferenceAtEveryLevel) {
  expect_strip_equals_reference(tag_inputs(), {std::string(), std::string(" "), std::string("ab"),
                                               std::string(23, '*'), std::string(64, '+')});
}

TEST(TagRemovalKernel, StripEqualsTheReferenceAcrossBlockEnds) {
  expect_strip_equals_reference(block_edge_inputs(), {std::string(), std::string(" "), std::string("ab"),
                                                      std::string("abc"), std::string(17, '*'),
                                                      std::string(64, '+')});
}

// Through the buffer as the handler sizes it: the same bytes and the same
// rule's size as one append at a time.
TEST(TagRemovalKernel, InPlaceWritingCountsAsTheAppends) {
  const std::vector<std::string> inputs = tag_inputs();
  for (const std::string &replacement : {std::string(), std::string(" "), std::string("[x]"), std::string(65, '-')}) {
    const ztk::ByteView r{reinterpret_cast<const uint8_t *>(replacement.data()), replacement.size()};
    expect_equal_at_every_level(
        inputs,
        [&](ztk::ByteView in) {
          AsciiStringHandle out(int64_t(in.size) + 10);
          ztk::tags::remove_tags(in, r, out);
          return std::string(*out.handle, size_t(out.used)) + "|" + std::to_string(out.limit);
        },
        [&](const std::string &s) {
          AsciiStringHandle out(int64_t(s.size()) + 10);
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

TEST_P(RemoveHTMLTagsZTK, PagesComeOutAsOneByteAtATime) {
  for (const std::string &page : {ztk_bench::html_page(70000), ztk_bench::tagged_text(3001)}) {
    const ztk::ByteView in{reinterpret_cast<const uint8_t *>(page.data()), page.size()};
    std::string plain(page.size(), '\0'), filled(3 * page.size(), '\0');
    plain.resize(ztk::tags::strip_reference(in, {}, reinterpret_cast<uint8_t *>(&plain[0])));
    EXPECT_EQ(call("RemoveHTMLTagsZTK", {S(page)}).bytes, plain);
    for (const char *replacement : {" ", "[x]"}) {
      const ztk::ByteView r{reinterpret_cast<const uint8_t *>(replacement), std::strlen(replacement)};
      filled.resize(ztk::tags::strip_reference(in, r, reinterpret_cast<uint8_t *>(&filled[0])));
      EXPECT_EQ(call("RemoveHTMLTagsWithZTK", {S(page), S(replacement)}).bytes, filled);
      filled.resize(3 * page.size());
    }
  }
}
