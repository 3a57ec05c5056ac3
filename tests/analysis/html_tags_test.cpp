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

extern "C" int64_t ZTKTestingAllocationCount();

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
          size_t at = 0;
          size_t n = ztk::tags::kernels().strip({in.data, cut}, 0, filler, depth, o, end, end, at);
          EXPECT_EQ(at, cut);
          n += ztk::tags::kernels().strip(in, cut, filler, depth, o + n, end, end, at);
          EXPECT_EQ(at, in.size);
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

namespace {

// The result of the bytes in[at] one byte at a time: the step the handler's
// runs take where the kernel stops.
void one_byte(ztk::ByteView in, size_t at, const std::string &replacement, int64_t &depth, std::string &out) {
  const uint8_t c = in[at];
  if (c == '<') {
    ++depth;
  } else if (c == '>' && depth > 0) {
    --depth;
  } else if (depth == 0) {
    out += static_cast<char>(c);
  } else {
    out += replacement;
  }
}

}  // namespace

// With a filler, the kernel writes no byte past its bound, stops only at a
// run that does not fit whole (at its first byte, or where a block cut it),
// and has written all before it. The bound is put `gap` bytes past the
// output again after each stop, which gets one byte through one at a time,
// so that it falls inside text and tag runs, at brackets and at the end.
TEST(TagRemovalKernel, StripStopsAtItsBoundAtEveryLevel) {
  std::vector<std::string> inputs = block_edge_inputs();
  inputs.resize(inputs.size() / 3);  // the shapes repeat: a third of them, for the time
  for (const std::string &s : tag_inputs()) {
    if (s.size() >= 60) inputs.push_back(s);
  }
  for (const std::string &replacement : {std::string(" "), std::string("ab"), std::string("abc"),
                                         std::string(17, '*'), std::string(64, '+')}) {
    SCOPED_TRACE(replacement);
    const ztk::ByteView r{reinterpret_cast<const uint8_t *>(replacement.data()), replacement.size()};
    const ztk::tags::Filler filler = ztk::tags::filler_of(r);
    const size_t unit = replacement.size();
    for (size_t gap : {size_t{0}, size_t{1}, size_t{40}, 64 * unit - 1, 64 * unit, 64 * unit + 1, 150 * unit + 7}) {
      SCOPED_TRACE(gap);
      expect_equal_at_every_level(
          inputs,
          [&](ztk::ByteView in) {
            std::string out(in.size * unit + 1, '#');
            auto *o = reinterpret_cast<uint8_t *>(&out[0]);
            uint8_t *const end = o + in.size * unit;
            std::string result, failures;
            int64_t depth = 0;
            size_t i = 0;
            while (i < in.size) {
              uint8_t *const at_out = o + result.size();
              uint8_t *const bound = at_out + std::min<size_t>(gap, static_cast<size_t>(end - at_out));
              size_t at = 0;
              const size_t n = ztk::tags::kernels().strip(in, i, filler, depth, at_out, end, bound, at);
              result.append(reinterpret_cast<const char *>(at_out), n);
              if (at_out + n > bound) failures += " past the bound at " + std::to_string(i);
              if (at < i || at > in.size) failures += " stopped outside at " + std::to_string(i);
              if (at < in.size) {  // the run from in[at] to its bracket (or the end) must not fit whole
                size_t e = at;
                while (e < in.size && in[e] != '<' && (depth == 0 || in[e] != '>')) ++e;
                if (at_out + n + (e - at) * (depth == 0 ? 1 : unit) <= bound) {
                  failures += " stopped with room at " + std::to_string(at);
                }
              }
              if (at >= in.size) break;
              one_byte(in, at, replacement, depth, result);
              i = at + 1;
            }
            if (out[in.size * unit] != '#') failures += " a store past the room";
            return result + failures;
          },
          [&](const std::string &s) {
            std::string out(s.size() * unit, '\0');
            const ztk::ByteView in{reinterpret_cast<const uint8_t *>(s.data()), s.size()};
            out.resize(ztk::tags::strip_reference(in, r, reinterpret_cast<uint8_t *>(&out[0])));
            return out;
          });
    }
  }
}

namespace {

// What the buffer shows after the whole text: its bytes, the rule's size,
// the block's size, whether it lives, and the allocations it made.
template <class Write>
std::string buffer_after(int64_t initial, Write write) {
  const int64_t before = ZTKTestingAllocationCount();
  AsciiStringHandle out(initial);
  write(out);
  const int64_t allocations = ZTKTestingAllocationCount() - before;
  if (!out.alive()) return "dead after " + std::to_string(allocations);
  return std::string(*out.handle, size_t(out.used)) + "|" + std::to_string(out.limit) + "|" +
         std::to_string(out.capacity) + "|" + std::to_string(allocations);
}

// Results that outgrow the input many times over: long tags and long text,
// markup whose brackets take turns and text with a bracket here and there,
// so that the rule grows inside text runs, inside tags and right at their
// brackets, and the input ends inside a tag or text at the guard page.
std::vector<std::string> growing_inputs() {
  std::vector<std::string> inputs;
  std::mt19937 rng(11);
  for (size_t tag : {1, 5, 30, 63, 64, 65, 200, 5000}) {
    for (size_t text : {0, 1, 7, 64, 100, 3000}) {
      std::string s;
      while (s.size() < 12000) s += std::string(text, 't') + "<" + std::string(tag, 'g') + ">";
      inputs.push_back(s);
      inputs.push_back(s.substr(0, s.size() - 1 - rng() % 50));
    }
  }
  for (int variant = 0; variant < 8; ++variant) {
    std::string s;
    while (s.size() < 20000) {
      s += std::string(rng() % 90, 'x');
      s += "<" + std::string(rng() % (variant < 4 ? 90 : 400), 'y');
      if (rng() % 6 == 0) s += rng() % 2 == 0 ? "<<z" : ">>";
      s += ">";
    }
    inputs.push_back(s.substr(0, s.size() - rng() % 30));
  }
  inputs.push_back(ztk_bench::html_page(40000));
  inputs.push_back(std::string(9000, '<') + std::string(9000, '>') + std::string(5000, 'q'));
  return inputs;
}

}  // namespace

// Through the buffer, from a small first size, with replacements of 1 to 64
// bytes: the bytes, the rule's size, the block's size and the allocations
// equal those of one append at a time, so the rule grows at the same
// appends.
TEST(TagRemovalKernel, GrowsTheBufferAtTheSameAppends) {
  const std::vector<std::string> inputs = growing_inputs();
  for (size_t unit : {1, 2, 3, 7, 16, 17, 33, 63, 64}) {
    std::string replacement;
    for (size_t k = 0; k < unit; ++k) replacement += static_cast<char>('A' + k % 26);
    SCOPED_TRACE(replacement);
    const ztk::ByteView r{reinterpret_cast<const uint8_t *>(replacement.data()), replacement.size()};
    for (int64_t initial : {int64_t{16}, int64_t{5000}}) {
      expect_equal_at_every_level(
          inputs,
          [&](ztk::ByteView in) {
            return buffer_after(initial, [&](AsciiStringHandle &out) { ztk::tags::remove_tags(in, r, out); });
          },
          [&](const std::string &s) {
            return buffer_after(initial, [&](AsciiStringHandle &out) {
              int64_t depth = 0;
              for (char c : s) {
                if (c == '<') {
                  ++depth;
                } else if (c == '>' && depth > 0) {
                  --depth;
                } else if (depth == 0) {
                  AddBinary(out, &c, 1);
                } else {
                  AddBinary(out, replacement.data(), static_cast<int>(replacement.size()));
                }
              }
            });
          });
    }
  }
}
