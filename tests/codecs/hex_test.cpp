#include "codecs/hex.h"

#include <random>

#include "host_test.h"
#include "kernel_levels.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(EncodingToHexZTK);
ZTK_GENERATION_SUITE(DecodingFromHexZTK);

TEST_P(EncodingToHexZTK, WritesTwoUpperCaseDigitsPerStoredByte) {
  struct Case {
    const char *name;
    std::string in;
    uint32_t encoding;
    std::string out;
  } cases[] = {
      {"single byte", "\xAF", enc::kNone, "AF"},
      {"leading zeros kept", std::string("\x00\x0A", 2), enc::kNone, "000A"},
      {"utf8 bytes as stored", "\xC3\xA9", enc::kUTF8, "C3A9"},
      {"utf16 bytes in storage order", std::string("\xE9\x00", 2), enc::kUTF16, "E900"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    Result r = call("EncodingToHexZTK", {S(c.in, c.encoding)});
    EXPECT_EQ(r.bytes, c.out);
    EXPECT_EQ(r.encoding, enc::kASCII);
  }
}

TEST_P(EncodingToHexZTK, EmptyInputGivesEmptyString) {
  EXPECT_TRUE(call("EncodingToHexZTK", {NullString()}).null);
  EXPECT_TRUE(call("EncodingToHexZTK", {Empty()}).null);
}

TEST_P(DecodingFromHexZTK, PairsTakenByPosition) {
  expect_cases("DecodingFromHexZTK", {
      {"mixed case", "4A6f", "\x4A\x6F", enc::kASCII},
      {"high byte is raw", "ff", "\xFF", enc::kNone},
      {"odd last digit dropped", "414", "A", enc::kASCII},
      {"non-digit counts as zero", "4G", "\x40", enc::kASCII},
      {"all non-digits", "zz", std::string(1, '\0'), enc::kASCII},
      {"space takes a place", "41 42", std::string("\x41\x04", 2), enc::kASCII},
  }, enc::kASCII);
}

TEST_P(DecodingFromHexZTK, TooShortGivesEmptyString) {
  for (Value v : {NullString(), Value(Empty()), Value(S("4"))}) EXPECT_TRUE(call("DecodingFromHexZTK", {v}).null);
}

TEST_P(DecodingFromHexZTK, ReadsDigitsOfAnyEncoding) {
  EXPECT_EQ(call("DecodingFromHexZTK", {U16(u"4142")}).bytes, "AB");
  EXPECT_EQ(call("DecodingFromHexZTK", {S("4142", enc::kNone)}).bytes, "AB");
}

TEST_P(EncodingToHexZTK, RoundTripsRandomBytes) {
  std::mt19937 rng(7);
  for (int len : {1, 2, 3, 255, 4096}) {
    std::string bytes(len, '\0');
    for (char &b : bytes) b = static_cast<char>(rng());
    Result hex = call("EncodingToHexZTK", {S(bytes, enc::kNone)});
    Result back = call("DecodingFromHexZTK", {S(hex.bytes, enc::kASCII)});
    EXPECT_EQ(back.bytes, bytes);
  }
}

TEST_P(EncodingToHexZTK, FailuresGiveEmptyString) {
  // Results of up to 4 KiB are made on the stack; a longer one's block that
  // cannot be had gives the empty result.
  REALstring s = S("abc"), longer = S(std::string(3000, 'a'));
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("EncodingToHexZTK", {longer}).null);
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("DecodingFromHexZTK", {S(std::string(9000, 'a'))}).null);
  plugin->fail_allocation(1);
  EXPECT_EQ(call("EncodingToHexZTK", {s}).bytes, "616263") << "a short result needs no memory";
  plugin->fail_allocation(0);
  host.failures["REALBuildString"].always = true;
  EXPECT_TRUE(call("EncodingToHexZTK", {s}).null);
  EXPECT_TRUE(call("DecodingFromHexZTK", {S("4142")}).null);
}

TEST(HexKernel, EveryByteRoundTrips) {
  uint8_t all[256];
  for (int b = 0; b < 256; ++b) all[b] = static_cast<uint8_t>(b);
  char digits[512];
  ztk::hex::encode({all, 256}, digits);
  uint8_t back[256];
  ztk::hex::decode({reinterpret_cast<const uint8_t *>(digits), 512}, back);
  EXPECT_EQ(0, memcmp(all, back, 256));
  EXPECT_EQ(std::string(digits + 2 * 0xAB, 2), "AB");
}

// Every vector level against the one-byte-at-a-time codec, on every length
// from 0 to 300, inputs ending right before an unreadable page.
TEST(HexKernels, EveryLevelEqualsThePlainCodec) {
  std::mt19937 rng(7);
  const std::string hexAlphabet = "0123456789abcdefABCDEF";
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n = 0; n <= 300; ++n) {
      SCOPED_TRACE(n);
      const GuardedBytes raw(random_text(rng, n));
      std::string want(2 * n, '\0'), got(2 * n, '\0');
      ztk::hex::encode_reference(raw.view(), want.data());
      ztk::hex::encode(raw.view(), got.data());
      ASSERT_EQ(got, want);

      // Digits of both cases with every other byte mixed in (they count as 0).
      for (const std::string &digits : {random_text(rng, n, hexAlphabet), random_text(rng, n),
                                        random_text(rng, n, "09afAF/:@G`g\x80\xB0\xC6\xE6")}) {
        const GuardedBytes in(digits);
        std::string wantBytes(n / 2, '\0'), gotBytes(n / 2, '\0');
        ztk::hex::decode_reference(in.view(), reinterpret_cast<uint8_t *>(wantBytes.data()));
        ztk::hex::decode(in.view(), reinterpret_cast<uint8_t *>(gotBytes.data()));
        ASSERT_EQ(gotBytes, wantBytes);
      }
    }
  });
}
