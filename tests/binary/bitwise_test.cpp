#include "binary/bitwise.h"
#include "binary/bitwise/levels.h"

#include <cstring>
#include <random>

#include "host_test.h"
#include "kernel_levels.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(StringANDZTK);
ZTK_GENERATION_SUITE(StringXORZTK);


TEST_P(StringANDZTK, CombinesWithARepeatingMask) {
  Result r = call("StringANDZTK", {S("abc"), S("\xDF", enc::kNone)});
  EXPECT_EQ(r.bytes, "ABC");
  EXPECT_EQ(r.encoding, enc::kASCII);
  EXPECT_EQ(call("StringORZTK", {S("ABC"), S(" ")}).bytes, "abc");
  EXPECT_EQ(call("StringANDZTK", {S("\xFF\xFF\xFF\xFF\xFF", enc::kNone), S("\x01\x02\x03")}).bytes,
            "\x01\x02\x03\x01\x02");
  EXPECT_EQ(call("StringORZTK", {S("\x80", enc::kNone), S("abcdef")}).bytes, "\xE1");
  EXPECT_EQ(call("StringORZTK", {S("\x80", enc::kNone), S("a")}).encoding, enc::kNone);
  EXPECT_EQ(call("StringANDZTK", {U16(u"AB"), S("\xFF", enc::kNone)}).bytes, std::string("A\0B\0", 4));
}

TEST_P(StringANDZTK, EmptyOrMissingArgumentsGiveEmptyString) {
  for (const char *method : {"StringANDZTK", "StringORZTK"}) {
    EXPECT_TRUE(call(method, {NullString(), S("a")}).null);
    EXPECT_TRUE(call(method, {S("a"), NullString()}).null);
    EXPECT_TRUE(call(method, {Empty(), S("a")}).null);
    EXPECT_TRUE(call(method, {S("a"), Empty()}).null) << "an empty mask has nothing to repeat";
  }
  // Results of up to 4 KiB are made on the stack; a longer one's block that
  // cannot be had gives the empty result.
  REALstring a = S("abc"), longer = S(std::string(5000, 'a'));
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("StringANDZTK", {longer, a}).null);
  plugin->fail_allocation(1);
  EXPECT_EQ(call("StringANDZTK", {a, a}).bytes, "abc") << "a short result needs no memory";
  plugin->fail_allocation(0);
}

// Every vector level against the one-byte rules: data of every length to 300
// and longer, masks shorter and longer than the repeated period and than a
// vector, every start position class; data and mask end before a guard page.
TEST(BitwiseKernel, EveryLevelGivesTheOneByteRule) {
  std::mt19937 rng(1);
  const size_t maskSizes[] = {1, 2, 3, 4, 5, 7, 9, 15, 16, 17, 63, 64, 65, 100, 255, 256, 257, 1000};
  for_each_level([&](ztk::cpu::Level) {
    auto check = [&](size_t n, size_t m) {
      const GuardedBytes data(random_text(rng, n)), mask(random_text(rng, m));
      std::string want(n, '\0'), got(n, '\0');
      auto *w = reinterpret_cast<uint8_t *>(want.data());
      auto *g = reinterpret_cast<uint8_t *>(got.data());
      for (auto op : {ztk::bitwise::Op::And, ztk::bitwise::Op::Or}) {
        ztk::bitwise::combine_reference(data.view(), mask.view(), op, w);
        ztk::bitwise::combine(data.view(), mask.view(), op, g);
        ASSERT_EQ(got, want) << n << "/" << m;
      }
      for (size_t start : {size_t{0}, m / 2, m - 1}) {
        for (bool withPosition : {false, true}) {
          ztk::bitwise::exclusive_or_reference(data.view(), mask.view(), start, withPosition, w);
          ztk::bitwise::exclusive_or(data.view(), mask.view(), start, withPosition, g);
          ASSERT_EQ(got, want) << n << "/" << m << " from " << start << (withPosition ? " XOR2" : " XOR");
        }
      }
    };
    for (size_t n = 0; n <= 300; ++n) {
      for (size_t m : maskSizes) check(n, m);
    }
    // Periods of whole lines (10, 48), of a mask whose lines would pass the
    // period (33), and masks around the period itself.
    for (size_t m : {1, 3, 10, 33, 48, 64, 257, 2047, 2048, 5000}) check(70001, m);
    // Inputs of one run and of more, around where the mask and the input
    // together reach the period.
    for (size_t n : {1024, 2037, 2038, 2039, 4100}) {
      for (size_t m : {10, 33, 48}) check(n, m);
    }
  });
}

// Each level's runs on their own: every length from 0 to 300 (each remainder
// of every vector width), data and mask both ending before a guard page, and
// positions that wrap past 255 within the run.
TEST(BitwiseKernel, RunsOfEveryLevelGiveTheOneByteRule) {
  using Apply = void (*)(const ztk::bitwise::Kernels &, ztk::ByteView, const uint8_t *, uint8_t, uint8_t *);
  struct Case {
    const char *name;
    Apply run;
    uint8_t (*rule)(uint8_t data, uint8_t mask, uint8_t position);
  } cases[] = {
      {"AND", [](const auto &k, auto d, auto m, uint8_t, auto o) { k.and_bytes(d, m, o); },
       [](uint8_t a, uint8_t b, uint8_t) { return static_cast<uint8_t>(a & b); }},
      {"OR", [](const auto &k, auto d, auto m, uint8_t, auto o) { k.or_bytes(d, m, o); },
       [](uint8_t a, uint8_t b, uint8_t) { return static_cast<uint8_t>(a | b); }},
      {"XOR", [](const auto &k, auto d, auto m, uint8_t, auto o) { k.xor_bytes(d, m, o); },
       [](uint8_t a, uint8_t b, uint8_t) { return static_cast<uint8_t>(a ^ b); }},
      {"XOR2", [](const auto &k, auto d, auto m, uint8_t p, auto o) { k.xor_position(d, m, p, o); },
       [](uint8_t a, uint8_t b, uint8_t p) { return static_cast<uint8_t>(a ^ b ^ p); }},
  };
  std::mt19937 rng(4);
  for_each_level([&](ztk::cpu::Level) {
    const ztk::bitwise::Kernels &k = ztk::bitwise::kernels();
    for (size_t n = 0; n <= 300; ++n) {
      const GuardedBytes data(random_text(rng, n)), mask(random_text(rng, n));
      for (const Case &c : cases) {
        for (uint8_t position : {0, 1, 200, 255}) {
          std::string want(n, '\0'), got(n, '\0');
          for (size_t i = 0; i < n; ++i) {
            want[i] = static_cast<char>(c.rule(data.view()[i], mask.view()[i], static_cast<uint8_t>(position + i)));
          }
          c.run(k, data.view(), mask.view().data, position, reinterpret_cast<uint8_t *>(got.data()));
          ASSERT_EQ(got, want) << c.name << " " << n << " from position " << int{position};
        }
      }
    }
    // Runs long enough for the wide levels to store whole lines of the
    // output: the output at every place in a line, so that the first vector
    // overlaps the aligned ones by every amount; nothing written outside.
    for (size_t n : {ztk::bitwise::kAlignFrom - 1, ztk::bitwise::kAlignFrom, ztk::bitwise::kAlignFrom + 77}) {
      const GuardedBytes data(random_text(rng, n)), mask(random_text(rng, n));
      for (const Case &c : cases) {
        std::string want(n, '\0');
        for (size_t i = 0; i < n; ++i) {
          want[i] = static_cast<char>(c.rule(data.view()[i], mask.view()[i], static_cast<uint8_t>(200 + i)));
        }
        for (size_t offset = 0; offset < 64; ++offset) {
          std::string buffer(n + 64, '\0');
          c.run(k, data.view(), mask.view().data, 200, reinterpret_cast<uint8_t *>(buffer.data()) + offset);
          ASSERT_EQ(buffer.substr(offset, n), want) << c.name << " " << n << " at offset " << offset;
          ASSERT_EQ(buffer.substr(0, offset) + buffer.substr(offset + n), std::string(64, '\0')) << c.name << " " << n;
        }
      }
    }
  });
}

TEST_P(StringXORZTK, StartsAtTheOffsetAndWraps) {
  EXPECT_EQ(call("StringXORZTK", {S("AB"), S("\x01\x02\x03"), I(2)}).bytes, "\x42\x43");
  Result r = call("StringXORZTK", {S("A"), S("\x80", enc::kNone), I(0)});
  EXPECT_EQ(r.bytes, "\xC1");
  EXPECT_EQ(r.encoding, enc::kNone);
  EXPECT_EQ(call("StringXORZTK", {S("abcdefg"), S("\x01\x02"), I(0)}).bytes, "``bfddf");
}

TEST_P(StringXORZTK, OffsetIsTakenModuloTheMask) {
  REALstring data = S("ABCDEF"), mask = S("\x01\x02\x03");
  const std::string at1 = call("StringXORZTK", {data, mask, I(1)}).bytes;
  for (int64_t offset : {int64_t{4}, int64_t{-2}, int64_t{3000000001}, int64_t{1} << 32}) {
    if (!fits(offset)) continue;
    SCOPED_TRACE(offset);
    EXPECT_EQ(call("StringXORZTK", {data, mask, I(offset)}).bytes, at1);
  }
}

TEST_P(StringXORZTK, XOR2FoldsInThePosition) {
  EXPECT_EQ(call("StringXOR2ZTK", {S(std::string(3, '\0')), S(std::string(1, '\0')), I(0)}).bytes,
            std::string("\x00\x01\x02", 3));
  const std::string out = call("StringXOR2ZTK", {S(std::string(300, '\0')), S(std::string(1, '\0')), I(0)}).bytes;
  ASSERT_EQ(out.size(), 300u);
  EXPECT_EQ(out[256], '\0');
  EXPECT_EQ(out[299], '\x2B');
  EXPECT_EQ(call("StringXOR2ZTK", {S("\x01\x01"), S("\x10\x20"), I(1)}).bytes, "\x21\x10");
}

TEST_P(StringXORZTK, BothXORsAreTheirOwnInverse) {
  std::mt19937 rng(2);
  std::string data(1000, '\0'), mask(37, '\0');
  for (char &c : data) c = static_cast<char>(rng());
  for (char &c : mask) c = static_cast<char>(rng());
  for (const char *method : {"StringXORZTK", "StringXOR2ZTK"}) {
    const std::string once = call(method, {S(data, enc::kNone), S(mask, enc::kNone), I(5)}).bytes;
    EXPECT_EQ(call(method, {S(once, enc::kNone), S(mask, enc::kNone), I(5)}).bytes, data);
  }
}

TEST_P(StringXORZTK, EmptyOrMissingArgumentsGiveEmptyString) {
  for (const char *method : {"StringXORZTK", "StringXOR2ZTK"}) {
    EXPECT_TRUE(call(method, {NullString(), S("a"), I(0)}).null);
    EXPECT_TRUE(call(method, {S("a"), NullString(), I(0)}).null);
    EXPECT_TRUE(call(method, {Empty(), S("a"), I(0)}).null);
    EXPECT_TRUE(call(method, {S("a"), Empty(), I(3)}).null);
  }
}
