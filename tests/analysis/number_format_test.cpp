#include "analysis/number_format.h"

#include <cfenv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <vector>

#include "host_test.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(ScientificStrZTK);
ZTK_GENERATION_SUITE(StrZTK);

TEST_P(ScientificStrZTK, FormatsWithTheChosenFractionDigits) {
  struct Case {
    double d;
    int64_t digits;
    std::string out;
  } cases[] = {{1234.5678, 2, "1.23e+03"},
               {1234.5678, 0, "1e+03"},
               {-0.00012, 3, "-1.200e-04"},
               {std::numeric_limits<double>::infinity(), 2, "inf"},
               {std::nan(""), 2, "nan"},
               {1234.5678, -3, "1e+03"},
               {1234.5678, (int64_t{1} << 32) + 2, ""}};
  for (const Case &c : cases) {
    if (!fits(c.digits)) continue;
    SCOPED_TRACE(c.digits);
    Result r = call("ScientificStrZTK", {D(c.d), I(c.digits)});
    if (c.digits > INT32_MAX) {
      EXPECT_EQ(r.bytes.size(), 498u) << "cut at 498 characters";
      EXPECT_EQ(r.bytes.substr(0, 8), "1.234567");
    } else {
      EXPECT_EQ(r.bytes, c.out);
    }
    EXPECT_EQ(r.encoding, enc::kASCII);
  }
}

TEST_P(StrZTK, TrimsToFifteenSignificantCharacters) {
  struct Case {
    double d;
    std::string out;
  } cases[] = {{0, "0.0"},
               {1, "1.0"},
               {1000, "1000.0"},
               {1e20, "100000000000000000000.0"},
               {1.5, "1.50"},
               {-1.5, "-1.50"},
               {0.1, "0.10"},
               {123.456, "123.4560"},
               {0.001, "0.0010"},
               {1.0 / 3, "0.333333333333333"},
               {0.3, "0.299999999999999"},
               {3.14159265358979, "3.14159265358979"},
               {123456789012345.6, "123456789012345.5"},
               {-123456789012345.6, "-123456789012345"},
               {12345678901234567890.0, "12345678901234567168"},
               {1e-300, "0.0"},
               {1e-10, "0.00000000010"},
               {-0.0, "-0.0"},
               {100.0, "100.0"},
               {std::numeric_limits<double>::infinity(), "inf"},
               {-std::numeric_limits<double>::max(), ""}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.out);
    Result r = call("StrZTK", {D(c.d)});
    if (c.out.empty()) {
      EXPECT_EQ(r.bytes.substr(0, 4), "-179");
      EXPECT_EQ(r.bytes.size(), 310u) << "the largest double keeps its integer digits, no point";
    } else {
      EXPECT_EQ(r.bytes, c.out);
    }
    EXPECT_EQ(r.encoding, enc::kASCII);
  }
  EXPECT_EQ(call("StrZTK", {D(std::nan(""))}).bytes.find("nan") != std::string::npos, true);
}

TEST_P(StrZTK, WithoutBuildServiceGivesEmptyString) {
  subhost::Settings s = default_settings();
  s.withheld = {"REALBuildString"};
  start(s);
  EXPECT_TRUE(call("StrZTK", {D(1)}).null);
  EXPECT_TRUE(call("ScientificStrZTK", {D(1), I(2)}).null);
}

namespace {

double from_bits(uint64_t bits) {
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

// Doubles where a formatter goes wrong first: special values, subnormals,
// every power of ten and of two and their neighbours, the edges of 64-bit
// integer parts and of 60- and 124-bit fractions, prices, runs of nines,
// random values of everyday size, and random bit patterns; each also negated.
std::vector<double> doubles_to_compare(size_t count) {
  std::vector<double> out;
  auto add = [&](double d) {
    out.push_back(d);
    out.push_back(-d);
  };
  const double inf = std::numeric_limits<double>::infinity();
  for (double d : {0.0, inf, std::nan(""), std::numeric_limits<double>::denorm_min(),
                   std::numeric_limits<double>::min(), std::numeric_limits<double>::max(), 0.5, 0.9999999999999999,
                   99999999999999.99, 999999999999999.9, 0.1, 0.3}) {
    add(d);
  }
  add(from_bits(0x000FFFFFFFFFFFFFull));  // the largest subnormal
  for (int e = -323; e <= 308; ++e) {
    const double p = std::pow(10.0, e);
    for (double d : {p, std::nextafter(p, 0.0), std::nextafter(p, inf)}) add(d);
  }
  for (int e = -1074; e <= 1023; ++e) {
    const double p = std::ldexp(1.0, e);
    for (double d : {p, std::nextafter(p, 0.0), std::nextafter(p, inf)}) add(d);
  }
  std::mt19937_64 rng(20261124);
  // Mantissas at the shifts where the exact computation changes its width or gives up.
  for (int shift : {11, 12, 0, -1, -52, -53, -60, -61, -64, -72, -73, -124, -125}) {
    for (int k = 0; k < 2000; ++k) {
      add(std::ldexp(static_cast<double>((rng() >> 11) | (uint64_t(1) << 52)), shift));
    }
  }
  while (out.size() < count) {
    switch (rng() % 5) {
      case 0:  // any bit pattern
        out.push_back(from_bits(rng()));
        break;
      case 1:  // any size an integer part of 64 bits and a fraction of 124 bits allow
        add(std::ldexp(static_cast<double>(rng() >> 11), static_cast<int>(rng() % 137) - 125));
        break;
      case 2:  // prices and measurements: a few decimals
        add(static_cast<double>(rng() % 100000000) / std::pow(10.0, static_cast<double>(rng() % 9)));
        break;
      case 3: {  // nines: x.xxx9999... and 999...
        const double nines = 1.0 - std::pow(10.0, -static_cast<double>(1 + rng() % 17));
        add(static_cast<double>(rng() % 1000000) + nines);
        break;
      }
      default:  // everyday sizes
        add(std::uniform_real_distribution<double>(-1e6, 1e6)(rng) * std::pow(10.0, static_cast<double>(rng() % 31) - 15));
    }
  }
  return out;
}

#ifdef ZTK_EMULATED_TARGET
constexpr size_t kDoublesCompared = 100000;  // the formatter is slow under an emulator
#else
constexpr size_t kDoublesCompared = 1000000;
#endif

}  // namespace

// The plain notation from the double's bits gives the formatter's characters
// for every double, down to the 500-byte buffer.
TEST(NumberFormat, PlainNotationEqualsTheFormattersTextForEveryDouble) {
  char fast[ztk::numfmt::kTextBuffer], slow[ztk::numfmt::kTextBuffer];
  size_t differ = 0;
  for (double d : doubles_to_compare(kDoublesCompared)) {
    std::memset(fast, 'x', sizeof fast);
    const size_t n = ztk::numfmt::plain(d, fast);
    const size_t m = ztk::numfmt::plain_by_formatter(d, slow);
    if (n != m || std::memcmp(fast, slow, m + 1) != 0) {
      ADD_FAILURE() << "bits " << std::hex << [&] {
        uint64_t b;
        std::memcpy(&b, &d, sizeof b);
        return b;
      }() << ": " << std::string(fast, std::min<size_t>(n, 100)) << " vs " << slow;
      if (++differ == 10) break;
    }
  }
}

// Scientific notation from the double's exact digits gives the formatter's
// characters at every precision it takes on, and the formatter's own where
// the rounding mode is not to nearest.
TEST(NumberFormat, ScientificNotationEqualsTheFormattersTextForEveryDouble) {
  char fast[ztk::numfmt::kTextBuffer], slow[ztk::numfmt::kTextBuffer];
  std::mt19937 rng(7);
  const int64_t precisions[] = {0, 1, 2, 3, 5, 6, 9, 14, 15, 16, 17, 18, 25, 40, 80, 199, 200, 201, 497, -1};
  size_t differ = 0;
  const std::vector<double> all = doubles_to_compare(kDoublesCompared);
  for (int mode : {FE_TONEAREST, FE_UPWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(std::fesetround(mode), 0);
    for (size_t k = 0; k < all.size(); k += mode == FE_TONEAREST ? 1 : 50) {
      const double d = all[k];
      const int64_t digits = rng() % 4 != 0 ? precisions[rng() % std::size(precisions)] : int64_t(rng() % 220);
      const size_t n = ztk::numfmt::scientific(d, digits, fast);
      const size_t m = ztk::numfmt::scientific_by_formatter(d, digits, slow);
      if (n != m || std::memcmp(fast, slow, m + 1) != 0) {
        ADD_FAILURE() << "mode " << mode << " digits " << digits << " of " << std::hexfloat << d << ": "
                      << std::string(fast, std::min<size_t>(n, 100)) << " vs " << slow;
        if (++differ == 10) break;
      }
    }
  }
  std::fesetround(FE_TONEAREST);
}

// Through the loaded library, whichever platform's it is, both methods give
// the formatter's text; the library's own formatter calls (the tiniest
// doubles, long precisions, other rounding modes) reach the host's C library
// through that platform's calling convention.
TEST_P(StrZTK, EqualsTheFormattersTextThroughTheLoadedLibrary) {
  char slow[ztk::numfmt::kTextBuffer];
  const std::vector<double> all = doubles_to_compare(kDoublesCompared);
  for (size_t k = 0; k < all.size(); k += all.size() / 1500 + 1) {
    const size_t m = ztk::numfmt::plain_by_formatter(all[k], slow);
    ASSERT_EQ(call("StrZTK", {D(all[k])}).bytes, std::string(slow, m)) << std::hexfloat << all[k];
  }
}

TEST_P(ScientificStrZTK, EqualsTheFormattersTextThroughTheLoadedLibrary) {
  char slow[ztk::numfmt::kTextBuffer];
  const std::vector<double> all = doubles_to_compare(kDoublesCompared);
  const int64_t precisions[] = {0, 3, 17, 199, 201, 497, -1};
  for (int mode : {FE_TONEAREST, FE_UPWARD}) {
    ASSERT_EQ(std::fesetround(mode), 0);
    for (size_t k = 0; k < all.size(); k += all.size() / 700 + 1) {
      const int64_t digits = precisions[k % std::size(precisions)];
      const size_t m = ztk::numfmt::scientific_by_formatter(all[k], digits, slow);
      const std::string got = call("ScientificStrZTK", {D(all[k]), I(digits)}).bytes;
      if (got != std::string(slow, m)) {
        std::fesetround(FE_TONEAREST);
        FAIL() << "mode " << mode << " digits " << digits << " of " << std::hexfloat << all[k] << ": " << got;
      }
    }
  }
  std::fesetround(FE_TONEAREST);
}
