#include "text/byte_scan.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "../../bench/bench_inputs.h"
#include "guard_memory.h"
#include "kernel_levels.h"

using namespace ztk_test;
using ztk::ByteView;
using ztk::scan::ByteSet;

namespace {

#ifdef ZTK_EMULATED_TARGET
constexpr size_t kLongest = 140;
#else
constexpr size_t kLongest = 300;
#endif

struct NamedSet {
  const char *name;
  ByteSet set;
  std::string members;  // bytes the inputs are seeded with, so that runs end often
};

const NamedSet kSets[] = {
    {"one byte", ByteSet{{'%', '%'}}, "%"},
    {"two bytes", ByteSet{{'%', '%'}, {'+', '+'}}, "%+"},
    {"line ends and equals", ByteSet{{'\n', '\n'}, {'\r', '\r'}, {'=', '='}}, "=\r\n"},
    {"top half and zero", ByteSet{{0, 0}, {0x80, 0xFF}}, std::string("\0\x80\xFF", 3)},
    {"outside letters", ByteSet{{'0', '9'}, {'@', 'Z'}, {'a', 'z'}, {'!', '!'}, {'*', '*'}, {'-', '.'}, {'_', '_'}}, " %~\xC3"},
    {"outside two ranges", ByteSet{{33, 60}, {62, 126}}, "= \t\r\x7F\x80"},
    {"every byte", ByteSet{{0, 255}}, "a"},
    {"no byte", ByteSet{{}, true}, "a"},
    {"eight ranges", ByteSet{{1, 1}, {3, 3}, {5, 5}, {7, 7}, {9, 9}, {11, 11}, {13, 13}, {250, 255}}, "\x01\x07\xFA"},
};

// Random bytes with members of the set sprinkled in, and members placed at
// both ends now and then.
std::string input(std::mt19937 &rng, size_t n, const std::string &members) {
  std::string s = random_text(rng, n, rng() % 2 ? std::string_view{} : std::string_view("abcdefgh xyz"));
  for (char &c : s) {
    if (rng() % 24 == 0) c = members[rng() % members.size()];
  }
  if (n > 0 && rng() % 4 == 0) s.back() = members[0];
  if (n > 0 && rng() % 4 == 0) s.front() = members[0];
  return s;
}

TEST(ByteSet, HoldsExactlyItsRangesOrTheBytesOutsideThem) {
  for (const NamedSet &named : kSets) {
    SCOPED_TRACE(named.name);
    for (int b = 0; b < 256; ++b) {
      bool inside = false;
      for (int k = 0; k < named.set.count(); ++k) {
        inside |= b >= named.set.first(k) && b - named.set.first(k) <= named.set.span(k);
      }
      EXPECT_EQ(named.set.contains(static_cast<uint8_t>(b)), inside != named.set.outside()) << b;
    }
  }
}

TEST(ByteScanKernels, FindAndCopyEqualTheOneByteLoopAtEveryLevel) {
  std::mt19937 rng(7);
  for_each_level([&](ztk::cpu::Level) {
    for (const NamedSet &named : kSets) {
      SCOPED_TRACE(named.name);
      for (size_t n = 0; n <= kLongest; ++n) {
        const GuardedBytes in(input(rng, n, named.members));
        const ByteView v = in.view();
        for (size_t from : {size_t{0}, size_t{1}, size_t{7}, n / 2, n}) {
          if (from > n) continue;
          ASSERT_EQ(ztk::scan::find(v, from, named.set), ztk::scan::find_reference(v, from, named.set))
              << "n=" << n << " from=" << from;
          // The output room ends at an unreadable page: a store past it faults.
          const uint8_t add = static_cast<uint8_t>(rng() % 3 == 0 ? 214 : 0);
          const GuardedBytes fast(std::string(n - from, '\0')), slow(std::string(n - from, '\0'));
          auto *fastOut = const_cast<uint8_t *>(fast.view().data);
          auto *slowOut = const_cast<uint8_t *>(slow.view().data);
          const size_t stop = ztk::scan::copy_until(v, from, named.set, add, fastOut);
          ASSERT_EQ(stop, ztk::scan::copy_until_reference(v, from, named.set, add, slowOut)) << "n=" << n;
          ASSERT_EQ(std::string(fast.view().data, fast.view().data + (stop - from)),
                    std::string(slow.view().data, slow.view().data + (stop - from)));
        }
      }
    }
  });
}

// The inline lead hands the table entries only starts with more than 16 bytes
// left; each entry is still a whole scan by itself, from any start, however
// few bytes are left.
TEST(ByteScanKernels, EachLevelsTableScansFromAnyStart) {
  std::mt19937 rng(17);
  for_each_level([&](ztk::cpu::Level) {
    const ztk::scan::Kernels &table = ztk::scan::kernels();
    for (const NamedSet &named : kSets) {
      SCOPED_TRACE(named.name);
      for (size_t n = 0; n <= kLongest / 2; ++n) {
        const GuardedBytes in(input(rng, n, named.members));
        const ByteView v = in.view();
        // The room for a copy from `from` is the last n - from bytes before an unreadable page.
        GuardedBytes fast(std::string(n, '\0')), slow(std::string(n, '\0'));
        for (size_t from = 0; from <= n; ++from) {
          ASSERT_EQ(table.find(v, from, named.set), ztk::scan::find_reference(v, from, named.set))
              << "n=" << n << " from=" << from;
          const uint8_t add = static_cast<uint8_t>(from * 37);
          const size_t stop = table.copy_until(v, from, named.set, add, fast.bytes() + from);
          ASSERT_EQ(stop, ztk::scan::copy_until_reference(v, from, named.set, add, slow.bytes() + from))
              << "n=" << n << " from=" << from;
          ASSERT_EQ(std::string(fast.bytes() + from, fast.bytes() + stop),
                    std::string(slow.bytes() + from, slow.bytes() + stop));
        }
      }
    }
  });
}

TEST(ByteScanKernels, CountsEqualTheOneByteLoopAtEveryLevel) {
  std::mt19937 rng(11);
  // Two to four bytes are matched whole by the lanes, with (aa, aba, abca) or
  // without (ab, abc, abcd) an end that is also a start; longer ones are checked.
  const std::string needles[] = {"ab",  "aa",    "aba",   "abc",    "abca",     "abcd",
                                 "abcab", "abbab", "xyzzy", "a b", "aaaaaaaa", std::string("\0\xFF", 2),
                                 // Middles of 8, 16 and 17 bytes: the widest word compares and memcmp.
                                 "abcdabcdab", "ababababababababab", "abcdabcdabcdabcdabc",
                                 // Five to ten bytes that are frequent in the small alphabets, with
                                 // (abaab) or without an end that is also a start.
                                 "aabab", "abaab", "aabbab", "aaabbbab", "aacbd", "aabababbab"};
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n = 0; n <= kLongest; ++n) {
      // A small alphabet gives many matches, overlapping candidates included.
      const GuardedBytes in(rng() % 3 == 0 ? random_text(rng, n) : random_text(rng, n, rng() % 2 ? "ab" : "abcd"));
      const ByteView v = in.view();
      for (int b : {0, int{'a'}, int{'b'}, 0xFF}) {
        ASSERT_EQ(ztk::scan::count(v, static_cast<uint8_t>(b)), ztk::scan::count_reference(v, static_cast<uint8_t>(b)))
            << "n=" << n << " byte " << b;
      }
      for (const std::string &needle : needles) {
        const ByteView nv{reinterpret_cast<const uint8_t *>(needle.data()), needle.size()};
        ASSERT_EQ(ztk::scan::count_needle(v, nv), ztk::scan::count_needle_reference(v, nv))
            << "n=" << n << " needle " << needle;
      }
    }
    // Around the length from which short needles are matched whole by the
    // lanes (four blocks of the widest level), in the small alphabets.
    for (size_t n : {size_t{66}, size_t{67}, size_t{130}, size_t{131}, size_t{258}, size_t{259}, size_t{1031}}) {
      for (const char *alphabet : {"ab", "abcd"}) {
        const GuardedBytes in(random_text(rng, n, alphabet));
        for (const std::string &needle : needles) {
          const ByteView nv{reinterpret_cast<const uint8_t *>(needle.data()), needle.size()};
          ASSERT_EQ(ztk::scan::count_needle(in.view(), nv), ztk::scan::count_needle_reference(in.view(), nv))
              << "n=" << n << " needle " << needle;
        }
      }
    }
    // More than 255 blocks of one byte: the lane counters are emptied in time.
    const GuardedBytes same(std::string(64 * 300 + 5, 'e'));
    EXPECT_EQ(ztk::scan::count(same.view(), 'e'), 64u * 300 + 5);
  });
}

// Short words in prose, counted from every start of a text that ends right
// before an unreadable page.
TEST(ByteScanKernels, WordsInProseCountAsTheOneByteLoopAtEveryLevel) {
  const std::string prose = ztk_bench::accented_prose(4096) + ztk_bench::clean_text(1024);
  const std::string words[] = {"the", "th", "e ", "the ", "The", "\xC3\xA9", "es. ", "committee", "aa"};
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n : {size_t{0}, size_t{2}, size_t{31}, size_t{64}, size_t{100}, size_t{1000}, prose.size()}) {
      for (size_t start : {size_t{0}, size_t{1}, size_t{5}, size_t{33}}) {
        if (start > n) continue;
        const GuardedBytes in(std::string_view(prose).substr(start, n - start));
        for (const std::string &word : words) {
          const ByteView w{reinterpret_cast<const uint8_t *>(word.data()), word.size()};
          ASSERT_EQ(ztk::scan::count_needle(in.view(), w), ztk::scan::count_needle_reference(in.view(), w))
              << "n=" << n << " start=" << start << " word " << word;
        }
      }
    }
  });
}

TEST(ByteScanKernels, NonOverlappingMatchesTakeTheLeftmostFirst) {
  struct Case {
    std::string text, needle;
    size_t matches;
  } cases[] = {
      {"aaaaa", "aa", 2},
      {"abababa", "aba", 2},
      {"wizarwizardwizard", "wizard", 2},
      {"", "ab", 0},
      {"ab", "abc", 0},
  };
  for (const Case &c : cases) {
    const ByteView t{reinterpret_cast<const uint8_t *>(c.text.data()), c.text.size()};
    const ByteView n{reinterpret_cast<const uint8_t *>(c.needle.data()), c.needle.size()};
    EXPECT_EQ(ztk::scan::count_needle_reference(t, n), c.matches) << c.text;
    EXPECT_EQ(ztk::scan::count_needle(t, n), c.matches) << c.text;
  }
}

}  // namespace

TEST(ByteScanKernels, UnescapeEqualsTheOneByteLoopAtEveryLevel) {
  std::mt19937 rng(13);
  // Runs of escapes take every other one as a byte; an escape may be the last
  // byte, or the last of a block, with its byte in the next.
  const std::vector<std::string> tokens = {"=", "==", "===", "=====", "=J", std::string("=\0", 2), "=\xFF", "\r\n"};
  const std::vector<std::string> inputs = token_inputs(rng, tokens, kLongest);
  for_each_level([&](ztk::cpu::Level) {
    for (const std::string &s : inputs) {
      const GuardedBytes in(s);
      // The room is exactly the input's length and ends at an unreadable page.
      GuardedBytes fast(std::string(s.size(), '\0')), slow(std::string(s.size(), '\0'));
      const size_t n = ztk::scan::unescape(in.view(), '=', 214, 192, fast.bytes());
      ASSERT_EQ(n, ztk::scan::unescape_reference(in.view(), '=', 214, 192, slow.bytes())) << testing::PrintToString(s);
      ASSERT_EQ(std::string(fast.bytes(), fast.bytes() + n), std::string(slow.bytes(), slow.bytes() + n))
          << testing::PrintToString(s);
    }
  });
}
