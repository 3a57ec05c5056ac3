#include "binary/bitwise.h"

#include <cstring>
#include <random>

#include "host_test.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(StringANDZTK);
ZTK_GENERATION_SUITE(StringXORZTK);

namespace {
// The one-byte rule every strategy must reproduce.
std::string reference(const std::string &data, const std::string &mask, char op) {
  std::string out(data.size(), '\0');
  for (size_t i = 0; i < data.size(); ++i) {
    const auto a = static_cast<uint8_t>(data[i]), b = static_cast<uint8_t>(mask[i % mask.size()]);
    out[i] = static_cast<char>(op == '&' ? a & b : a | b);
  }
  return out;
}
}  // namespace

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
  REALstring a = S("abc");
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("StringANDZTK", {a, a}).null);
}

TEST(BitwiseKernel, EveryStrategyGivesTheOneByteRule) {
  std::mt19937 rng(1);
  auto random = [&](size_t n) {
    std::string s(n, '\0');
    for (char &c : s) c = static_cast<char>(rng());
    return s;
  };
  auto check = [&](const std::string &data, const std::string &mask) {
    // Exact-size copies, so that a read past either end is caught.
    std::unique_ptr<uint8_t[]> d(new uint8_t[data.size() + 1]), m(new uint8_t[mask.size()]);
    std::memcpy(d.get(), data.data(), data.size());
    std::memcpy(m.get(), mask.data(), mask.size());
    std::string out(data.size() + 5, '\0');
    for (auto [op, c] : {std::pair{ztk::bitwise::Op::And, '&'}, std::pair{ztk::bitwise::Op::Or, '|'}}) {
      ztk::bitwise::combine({d.get(), data.size()}, {m.get(), mask.size()}, op, reinterpret_cast<uint8_t *>(out.data()));
      ASSERT_EQ(out.substr(0, data.size()), reference(data, mask, c)) << data.size() << "/" << mask.size();
    }
  };
  for (size_t n = 0; n <= 64; ++n) {
    for (size_t m = 1; m <= 9; ++m) check(random(n), random(m));
  }
  for (size_t m : {1, 2, 3, 4, 5, 100, 5000, 20000}) check(random(10007), random(m));
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
