#include "frame/byte_checks.h"

#include <cstdlib>
#include <random>

#include "host_test.h"
#include "kernel_levels.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(IsASCIIStringZTK);
ZTK_GENERATION_SUITE(ReplaceNonPrintableCharactersZTK);
ZTK_GENERATION_SUITE(RandomBytesStringZTK);

TEST_P(IsASCIIStringZTK, ModesChooseTheByteClass) {
  struct Case {
    const char *name;
    std::string in;
    int mode0, mode1, mode2;
  } cases[] = {
      {"tab", "a\tb", 1, 0, 0},
      {"utf8 e acute", "\xC3\xA9", 0, 0, 1},
      {"DEL", "\x7F", 1, 1, 1},
      {"space", " ", 1, 1, 1},
      {"NUL", std::string(1, '\0'), 1, 0, 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    REALstring s = S(c.in, enc::kNone);
    EXPECT_EQ(call("IsASCIIStringZTK", {s}).boolean, c.mode0);
    EXPECT_EQ(call("IsASCIIStringZTK", {s, I(0)}).boolean, c.mode0);
    EXPECT_EQ(call("IsASCIIStringZTK", {s, I(1)}).boolean, c.mode1);
    EXPECT_EQ(call("IsASCIIStringZTK", {s, I(2)}).boolean, c.mode2);
    for (int64_t mode : {int64_t{3}, int64_t{-1}, (int64_t{1} << 32) + 1, (int64_t{1} << 32)}) {
      if (!fits(mode)) continue;
      EXPECT_EQ(call("IsASCIIStringZTK", {s, I(mode)}).boolean, 0) << mode;
    }
  }
}

TEST_P(IsASCIIStringZTK, EmptyIsNeverASCII) {
  for (Value v : {NullString(), Value(Empty())}) {
    EXPECT_EQ(call("IsASCIIStringZTK", {v}).boolean, 0);
    EXPECT_EQ(call("IsASCIIStringZTK", {v, I(2)}).boolean, 0);
  }
}

TEST_P(ReplaceNonPrintableCharactersZTK, ReplacesEachByteOutsidePrintableASCII) {
  struct Case {
    const char *name;
    std::string in;
    int64_t replacement;
    std::string out;
  } cases[] = {
      {"tab", "a\tb", 46, "a.b"},
      {"utf8 bytes one by one", "\xC3\xA9", 46, ".."},
      {"question marks", "\xC3\xA9", 63, "??"},
      {"low 8 bits only", "\x01", 321, "A"},
      {"from the full 64-bit value", "\x01", (int64_t{1} << 32) + 65, "A"},
      {"high replacement", "\x01", 200, "\xC8"},
      {"DEL is printable", "\x7F", 46, "\x7F"},
  };
  for (const Case &c : cases) {
    if (!fits(c.replacement)) continue;
    SCOPED_TRACE(c.name);
    Result r = call("ReplaceNonPrintableCharactersZTK", {S(c.in, enc::kNone), I(c.replacement)});
    EXPECT_EQ(r.bytes, c.out);
    EXPECT_EQ(r.encoding, enc::kASCII) << "ASCII whatever the replacement";
  }
  EXPECT_EQ(call("ReplaceNonPrintableCharactersZTK", {U16(u"A"), I(46)}).bytes, "A.");
  EXPECT_TRUE(call("ReplaceNonPrintableCharactersZTK", {NullString(), I(46)}).null);
  EXPECT_TRUE(call("ReplaceNonPrintableCharactersZTK", {Empty(), I(46)}).null);
}

TEST_P(RandomBytesStringZTK, ByteIComesFromTheIthRandCall) {
  for (bool ascii : {false, true}) {
    SCOPED_TRACE(ascii);
    std::srand(99);
    std::string expected;
    for (int i = 0; i < 64; ++i) {
      const int r = std::rand();
      expected += static_cast<char>(ascii ? 32 + r % 96 : r & 0xFF);
    }
    std::srand(99);
    Result r = call("RandomBytesStringZTK", {I(64), Bool(ascii)});
    EXPECT_EQ(r.bytes, expected);
    bool high = false;
    for (char c : r.bytes) high |= static_cast<uint8_t>(c) >= 0x80;
    EXPECT_EQ(r.encoding, high ? enc::kNone : enc::kASCII);
    if (ascii) {
      for (char c : r.bytes) EXPECT_TRUE(c >= 0x20 && c <= 0x7F);
    }
  }
}

TEST_P(RandomBytesStringZTK, BadLengthsGiveEmptyString) {
  for (int64_t length : {int64_t{0}, int64_t{-5}, int64_t{1} << 31, (int64_t{1} << 32) + 16}) {
    if (!fits(length)) continue;
    SCOPED_TRACE(length);
    EXPECT_TRUE(call("RandomBytesStringZTK", {I(length), Bool(false)}).null);
  }
  // Up to 4 KiB are made on the stack; a longer result's block that cannot
  // be had gives the empty result.
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("RandomBytesStringZTK", {I(5000), Bool(true)}).null);
  plugin->fail_allocation(1);
  EXPECT_EQ(call("RandomBytesStringZTK", {I(16), Bool(true)}).bytes.size(), 16u) << "a short result needs no memory";
  plugin->fail_allocation(0);
}

// Every vector level against the one-byte rules: clean runs of every length
// to 300 with one byte of each boundary value planted at each position class
// (first, inside a block, last), on guarded inputs.
TEST(ByteCheckKernels, EveryLevelGivesTheOneByteRule) {
  using ztk::byte_checks::Class;
  std::mt19937 rng(3);
  const uint8_t boundaries[] = {0x00, 0x09, 0x1F, 0x20, 0x41, 0x7E, 0x7F, 0x80, 0x9F, 0xFF};
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n = 0; n <= 300; ++n) {
      std::vector<std::string> inputs{random_text(rng, n, "abc XYZ~!"), random_text(rng, n)};
      for (uint8_t b : boundaries) {
        for (size_t at : {size_t{0}, n / 2, n - 1}) {
          if (n == 0) break;
          std::string s = random_text(rng, n, "plain text ");
          s[at] = static_cast<char>(b);
          inputs.push_back(s);
        }
      }
      for (const std::string &text : inputs) {
        const GuardedBytes in(text);
        for (Class c : {Class::Ascii, Class::Printable, Class::NoControl}) {
          ASSERT_EQ(ztk::byte_checks::all_in_class(in.view(), c), ztk::byte_checks::all_in_class_reference(in.view(), c))
              << n << " class " << static_cast<int>(c);
        }
        ASSERT_EQ(ztk::byte_checks::all_ascii(in.view()), ztk::byte_checks::all_in_class_reference(in.view(), Class::Ascii))
            << n;
        std::string want(n, '\0'), got(n, '\0');
        ztk::byte_checks::replace_non_printable_reference(in.view(), '.', reinterpret_cast<uint8_t *>(want.data()));
        ztk::byte_checks::replace_non_printable(in.view(), '.', reinterpret_cast<uint8_t *>(got.data()));
        ASSERT_EQ(got, want);
      }
    }
  });
}
