#include "analysis/distances.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <vector>

#include "host_test.h"
#include "kernel_levels.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(JaroWinklerDistanceZTK);
ZTK_GENERATION_SUITE(LevenshteinDistanceZTK);

namespace {
using Units = std::vector<uint32_t>;

// Textbook Jaro-Winkler, written from the definition.
double reference_jaro_winkler(const Units &a, const Units &b) {
  const long n = static_cast<long>(a.size()), m = static_cast<long>(b.size());
  if (n == 0) return m == 0 ? 0.0 : 1.0;
  if (m == 0) return 1.0;
  const long w = std::max(std::max(n, m) / 2 - 1, 0L);
  std::vector<char> ma(n), mb(m);
  long c = 0;
  for (long i = 0; i < n; ++i) {
    for (long j = std::max(0L, i - w); j < std::min(m, i + w + 1); ++j) {
      if (!mb[j] && a[i] == b[j]) {
        ma[i] = mb[j] = true;
        ++c;
        break;
      }
    }
  }
  if (c == 0) return 1.0;
  Units sa, sb;
  for (long i = 0; i < n; ++i) {
    if (ma[i]) sa.push_back(a[i]);
  }
  for (long j = 0; j < m; ++j) {
    if (mb[j]) sb.push_back(b[j]);
  }
  long t = 0;
  for (size_t k = 0; k < sa.size(); ++k) t += sa[k] != sb[k];
  double s = ((double)(c - t / 2) / c + ((double)c / m + (double)c / n)) / 3.0;
  if (s > 0.7) {
    long l = 0;
    while (l < std::min({4L, n, m}) && a[l] == b[l]) ++l;
    if (l != 0) s = s + (1.0 - s) * (l * 0.1);
  }
  return 1.0 - s;
}

// Optimal string alignment with two nested loops over a full table.
double reference_levenshtein(const Units &a, const Units &b) {
  const size_t n = a.size(), m = b.size();
  if (n == 0 || m == 0) return 1.0;
  std::vector<int> table((n + 1) * (m + 1));
  auto d = [&](size_t i, size_t j) -> int & { return table[i * (m + 1) + j]; };
  for (size_t i = 0; i <= n; ++i) d(i, 0) = static_cast<int>(i);
  for (size_t j = 0; j <= m; ++j) d(0, j) = static_cast<int>(j);
  for (size_t i = 1; i <= n; ++i) {
    for (size_t j = 1; j <= m; ++j) {
      const int cost = a[i - 1] == b[j - 1] ? 0 : 1;
      int best = std::min(d(i - 1, j) + 1, d(i, j - 1) + 1);
      best = std::min(best, d(i - 1, j - 1) + cost);
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) best = std::min(best, d(i - 2, j - 2) + cost);
      d(i, j) = best;
    }
  }
  return 1.0 / (static_cast<double>(std::min(n, m)) / d(n, m));
}

Units units(const std::string &ascii) { return Units(ascii.begin(), ascii.end()); }
ztk::U32View view(const Units &u) { return {u.data(), u.size()}; }
}  // namespace

TEST_P(JaroWinklerDistanceZTK, KnownPairsAreBitExact) {
  struct Case {
    std::string a, b;
  } cases[] = {{"MARTHA", "MARHTA"}, {"DWAYNE", "DUANE"}, {"DIXON", "DICKSONX"}, {"ab", "ba"},
               {"abc", "ABC"},       {"same", "same"},   {"", ""},              {"", "x"}, {"x", ""}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.a + "|" + c.b);
    const double expected = reference_jaro_winkler(units(c.a), units(c.b));
    EXPECT_EQ(call("JaroWinklerDistanceZTK", {S(c.a), S(c.b)}).real, expected);
  }
  EXPECT_NEAR(call("JaroWinklerDistanceZTK", {S("MARTHA"), S("MARHTA")}).real, 0.038889, 1e-6);
  EXPECT_NEAR(call("JaroWinklerDistanceZTK", {S("DWAYNE"), S("DUANE")}).real, 0.16, 1e-6);
  EXPECT_NEAR(call("JaroWinklerDistanceZTK", {S("DIXON"), S("DICKSONX")}).real, 0.186667, 1e-6);
  EXPECT_EQ(call("JaroWinklerDistanceZTK", {S("ab"), S("ba")}).real, 1.0);
  EXPECT_EQ(call("JaroWinklerDistanceZTK", {S("abc"), S("ABC")}).real, 1.0);
}

TEST_P(LevenshteinDistanceZTK, KnownPairs) {
  struct Case {
    std::string a, b;
    double expected;
  } cases[] = {{"kitten", "sitting", 0.5}, {"ab", "ba", 0.5}, {"same", "same", 0.0},
               {"ca", "abc", 1.5},         {"a", "abcd", 3.0}, {"", "", 1.0}, {"", "x", 1.0}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.a + "|" + c.b);
    EXPECT_EQ(call("LevenshteinDistanceZTK", {S(c.a), S(c.b)}).real, c.expected);
  }
}

TEST_P(LevenshteinDistanceZTK, TextsAreUTF16UnitsWithoutByteOrderMark) {
  EXPECT_EQ(call("LevenshteinDistanceZTK", {S("\xF0\x9F\x98\x80"), S("ab")}).real, 0.0 + 1.0)
      << "one astral character is two units, both different";
  EXPECT_EQ(call("LevenshteinDistanceZTK", {U16(u"\uFEFFabc"), S("abc")}).real, 0.0);
  EXPECT_EQ(call("JaroWinklerDistanceZTK", {U16(u"\uFEFFabc"), S("abc", enc::kMacRoman)}).real, 0.0);
  EXPECT_EQ(call("JaroWinklerDistanceZTK", {S("\xC3\xA9"), S("\xE9", enc::kISOLatin1)}).real, 0.0);
}

TEST_P(LevenshteinDistanceZTK, ScratchFailureRaisesOutOfMemory) {
  // Texts of up to 64 units need no scratch memory for the distance; longer
  // ones do, and report the full matrix's size when they cannot have it.
  REALstring a = S(std::string(100, 'k')), b = S(std::string(120, 's'));
  // The scratch blocks are the last allocations of a call: count a good call,
  // then fail the same call at the block in question.
  auto allocations_of = [&](const char *method) {
    const int64_t before = plugin->allocation_count();
    call(method, {a, b});
    return plugin->allocation_count() - before;
  };
  const int64_t lev = allocations_of("LevenshteinDistanceZTK");
  plugin->fail_allocation(lev);
  Result r = call("LevenshteinDistanceZTK", {a, b});
  EXPECT_EQ(r.real, 1.0);
  EXPECT_EQ(r.exceptionClass, "OutOfMemoryException");
  EXPECT_EQ(r.exceptionMessage, "Failed to allocate 48884 bytes of memory.");
  EXPECT_EQ(r.errorNumber, 0);
  plugin->fail_allocation(0);
  EXPECT_EQ(call("LevenshteinDistanceZTK", {a, b}).real, 1.2);
  EXPECT_EQ(call("LevenshteinDistanceZTK", {S("kitten"), S("sitting")}).real, 0.5);

  // Jaro-Winkler likewise needs memory only when the second text is longer
  // than 64 units, and reports the first text's length.
  const int64_t jw = allocations_of("JaroWinklerDistanceZTK");
  plugin->fail_allocation(jw);
  r = call("JaroWinklerDistanceZTK", {a, b});
  EXPECT_EQ(r.real, 0.0);
  EXPECT_EQ(r.exceptionMessage, "Failed to allocate 100 bytes of memory.");
  plugin->fail_allocation(-1);
  EXPECT_EQ(call("JaroWinklerDistanceZTK", {S("kitten"), S("sitting")}).exceptionClass, "");
  plugin->fail_allocation(0);
}

// Texts of up to 256 units are widened on the stack; longer ones in a heap
// block, and a text whose block cannot be had counts as empty.
TEST_P(LevenshteinDistanceZTK, TextsThatCannotBeReadCountAsEmpty) {
  REALstring a = S(std::string(257, 'k')), shortText = S("kitten");
  plugin->fail_allocation(-1);
  Result r = call("LevenshteinDistanceZTK", {a, a});
  EXPECT_EQ(r.real, 1.0);
  EXPECT_EQ(r.exceptionClass, "");
  // Hosts that hand out string data give aligned units; an older host's
  // converted text starts on an odd address and is copied to be read as units.
  if (GetParam() >= 2013.0) {
    EXPECT_EQ(call("LevenshteinDistanceZTK", {shortText, shortText}).real, 0.0) << "short texts need no memory";
  }
  plugin->fail_allocation(0);
}

// Either side of the stack's 256 units, alone or together, and texts that the
// host converts (accented UTF-8, UTF-16): the same doubles as the textbook
// distances of the texts' units.
TEST_P(LevenshteinDistanceZTK, StackAndHeapWideningGiveTheSameDistances) {
  std::mt19937 rng(12);
  auto text = [&](size_t n) {
    std::u16string t(n, u'a');
    for (char16_t &u : t) u = static_cast<char16_t>(rng() % 3 == 0 ? 0xE0 + rng() % 3 : 'a' + rng() % 3);
    return t;
  };
  for (size_t n : {size_t{1}, size_t{20}, size_t{255}, size_t{256}, size_t{257}, size_t{300}}) {
    for (size_t m : {size_t{20}, size_t{256}, size_t{257}}) {
      SCOPED_TRACE(std::to_string(n) + " x " + std::to_string(m));
      const std::u16string a = text(n), b = text(m);
      const Units ua(a.begin(), a.end()), ub(b.begin(), b.end());
      EXPECT_EQ(call("LevenshteinDistanceZTK", {U16(a), S(utf8_of(b))}).real, reference_levenshtein(ua, ub));
      EXPECT_EQ(call("JaroWinklerDistanceZTK", {S(utf8_of(a)), U16(b)}).real, reference_jaro_winkler(ua, ub));
    }
  }
}

TEST_P(LevenshteinDistanceZTK, MatrixBeyond31BitsRaisesWithoutAllocating) {
  const std::string a(30000, 'a'), b(30000, 'b');
  Result r = call("LevenshteinDistanceZTK", {S(a), S(b)});
  EXPECT_EQ(r.real, 1.0);
  EXPECT_EQ(r.exceptionMessage, "Failed to allocate 3600240004 bytes of memory.");
}

TEST(DistanceKernels, EqualTheReferenceOnRandomTexts) {
  std::mt19937 rng(8);
  for (int round = 0; round < 3000; ++round) {
    Units a(rng() % 12), b(rng() % 12);
    const uint32_t alphabet = 2 + rng() % 5;
    for (auto &u : a) u = 'a' + rng() % alphabet;
    for (auto &u : b) u = 'a' + rng() % alphabet;
    int64_t failed = 0;
    ASSERT_EQ(*ztk::distance::jaro_winkler(view(a), view(b), &failed), reference_jaro_winkler(a, b));
    ASSERT_EQ(*ztk::distance::jaro_winkler(view(b), view(a), &failed), reference_jaro_winkler(b, a));
    ASSERT_EQ(*ztk::distance::levenshtein(view(a), view(b), &failed), reference_levenshtein(a, b));
    ASSERT_EQ(*ztk::distance::levenshtein(view(a), view(b), &failed),
              *ztk::distance::levenshtein(view(b), view(a), &failed));
    // The table-driven versions the vector levels are held to.
    ASSERT_EQ(*ztk::distance::jaro_winkler_reference(view(a), view(b), &failed), reference_jaro_winkler(a, b));
    ASSERT_EQ(*ztk::distance::levenshtein_reference(view(a), view(b), &failed), reference_levenshtein(a, b));
  }
}

namespace {
// body() at each level this CPU has, from plain up, the level named in any
// failure.
template <class Body>
void at_every_level(Body body) {
  for_each_level([&](ztk::cpu::Level) {
    if (!::testing::Test::HasFatalFailure()) body();
  });
}

// A random text over `alphabet` units from `first`; for surrogates, pairs.
Units random_units(std::mt19937 &rng, size_t n, uint32_t first, uint32_t alphabet) {
  Units u(n);
  for (size_t i = 0; i < n; ++i) {
    u[i] = first + rng() % alphabet;
    if (first == 0xD800 && i + 1 < n) u[++i] = 0xDC00 + rng() % 4;
  }
  return u;
}

// Random pairs as the distances meet them: texts of up to 300 units over 2,
// 4, 26 and 62 characters, CJK units, surrogate pairs, units around 255 and
// from 0 (vector lanes past a text's end hold zeros),
// related texts (one an edited copy of the other), lengths at the edges of
// 64-bit words, and two long pairs; check(a, b) gets each pair.
template <class Check>
void for_random_pairs(Check check) {
  std::mt19937 rng(12);
  struct Alphabet {
    uint32_t first, size;
  };
  const Alphabet alphabets[] = {{'a', 2}, {'a', 4}, {'a', 26}, {'0', 62}, {0x4E00, 40}, {0xD800, 3}, {250, 12}, {0, 3}};
#ifdef ZTK_EMULATED_TARGET
  const int kPairs = 3000;
#else
  const int kPairs = 200000;
#endif
  for (int round = 0; round < kPairs; ++round) {
    const Alphabet &al = alphabets[rng() % std::size(alphabets)];
    // Mostly short texts, some up to 300 units.
    const size_t longest = rng() % 8 == 0 ? 301 : 80;
    Units a = random_units(rng, rng() % longest, al.first, al.size);
    Units b = rng() % 2 == 0 ? random_units(rng, rng() % longest, al.first, al.size) : a;
    if (b == a) {
      for (int edits = 1 + static_cast<int>(rng() % 6); edits > 0 && !b.empty(); --edits) {
        const size_t at = rng() % b.size();
        switch (rng() % 4) {
          case 0: b.erase(b.begin() + static_cast<long>(at)); break;
          case 1: b.insert(b.begin() + static_cast<long>(at), al.first + rng() % al.size); break;
          case 2: b[at] = al.first + rng() % al.size; break;
          default:
            if (at + 1 < b.size()) std::swap(b[at], b[at + 1]);
        }
      }
    }
    check(a, b);
    if (::testing::Test::HasFatalFailure()) return;
  }
  for (size_t n : {63, 64, 65, 127, 128, 129, 191, 192, 193}) {
    for (size_t m : {n - 1, n, n + 1, size_t{1}, size_t{300}}) {
      check(random_units(rng, n, 'a', 4), random_units(rng, m, 'a', 4));
    }
  }
#ifndef ZTK_EMULATED_TARGET
  for (size_t n : {1000, 2500, 5000}) check(random_units(rng, n, '0', 62), random_units(rng, n + 37, '0', 62));
  check(random_units(rng, 1200, 0x4E00, 300), random_units(rng, 3000, 0x4E00, 300));
#endif
}
}  // namespace

// The bit-parallel distance gives the full matrix's double, bit for bit, at
// every level (short patterns are compared in vector registers).
TEST(DistanceKernels, LevenshteinEqualsTheFullMatrix) {
  int64_t failed = 0;
  for_random_pairs([&](const Units &a, const Units &b) {
    const double expected = reference_levenshtein(a, b);
    at_every_level([&] {
      ASSERT_EQ(*ztk::distance::levenshtein(view(a), view(b), &failed), expected) << a.size() << " x " << b.size();
      ASSERT_EQ(*ztk::distance::levenshtein(view(b), view(a), &failed), expected) << b.size() << " x " << a.size();
    });
  });
}

// Bit-parallel matching takes the same first free unit in the window as a
// search of the window does, so the doubles are equal bit for bit.
TEST(DistanceKernels, JaroWinklerEqualsTheWindowSearch) {
  int64_t failed = 0;
  for_random_pairs([&](const Units &a, const Units &b) {
    const double ab = reference_jaro_winkler(a, b), ba = reference_jaro_winkler(b, a);
    at_every_level([&] {
      ASSERT_EQ(*ztk::distance::jaro_winkler(view(a), view(b), &failed), ab) << a.size() << " x " << b.size();
      ASSERT_EQ(*ztk::distance::jaro_winkler(view(b), view(a), &failed), ba) << b.size() << " x " << a.size();
    });
  });
}

// A short pattern is loaded into vector registers whole: each text ends right
// before an unreadable page, so a load past its last unit faults.
TEST(DistanceKernels, ShortTextsAreReadUpToTheirLastUnitOnly) {
  std::mt19937 rng(5);
  int64_t failed = 0;
  for (size_t m = 1; m <= 66; ++m) {
    for (size_t n : {m, size_t{64}, size_t{65}, size_t{150}}) {
      const Units a = random_units(rng, m, 0, 3), b = random_units(rng, n, 0, 3);
      GuardedBytes ga({reinterpret_cast<const char *>(a.data()), 4 * m});
      GuardedBytes gb({reinterpret_cast<const char *>(b.data()), 4 * n});
      // Each text ends on a page boundary and is a whole number of units long, so it is aligned.
      const ztk::U32View va{static_cast<const uint32_t *>(static_cast<const void *>(ga.bytes())), m};
      const ztk::U32View vb{static_cast<const uint32_t *>(static_cast<const void *>(gb.bytes())), n};
      const double osa = reference_levenshtein(a, b), ab = reference_jaro_winkler(a, b),
                   ba = reference_jaro_winkler(b, a);
      at_every_level([&] {
        ASSERT_EQ(*ztk::distance::levenshtein(va, vb, &failed), osa) << m << " x " << n;
        ASSERT_EQ(*ztk::distance::jaro_winkler(va, vb, &failed), ab) << m << " x " << n;
        ASSERT_EQ(*ztk::distance::jaro_winkler(vb, va, &failed), ba) << n << " x " << m;
      });
    }
  }
}
