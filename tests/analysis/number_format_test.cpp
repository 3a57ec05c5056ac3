#include <cmath>
#include <limits>

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
