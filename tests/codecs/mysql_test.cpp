#include "host_test.h"
#include "codecs/mysql.h"
#include "kernel_levels.h"
#include "reference_codecs.h"
#include "../../bench/bench_inputs.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(DecodingFromMySQLZTK);

TEST_P(DecodingFromMySQLZTK, UndoesTheElevenEscapes) {
  expect_cases("DecodingFromMySQLZTK", {
      {"quote", "It\\'s", "It's", enc::kASCII},
      {"tab", "a\\tb", "a\tb", enc::kASCII},
      {"zero", "\\0", std::string(1, '\0'), enc::kASCII},
      {"all others", "\\\"\\b\\n\\r\\Z\\%\\_", "\"\b\n\r\x1A%_", enc::kASCII},
      {"lower z is not an escape", "\\z", "\\z", enc::kASCII},
      {"no hex escapes", "\\x41", "\\x41", enc::kASCII},
      {"double backslash", "\\\\n", "\\n", enc::kASCII},
      {"three backslashes", "\\\\\\", "\\\\", enc::kASCII},
      {"trailing backslash kept", "ab\\", "ab\\", enc::kASCII},
      {"high byte after backslash", "\\\xE9", "\\\xE9", enc::kNone},
      {"high byte", "caf\xC3\xA9", "caf\xC3\xA9", enc::kNone},
  }, enc::kUTF8);
}

TEST_P(DecodingFromMySQLZTK, EmptyAndFailuresGiveEmptyString) {
  EXPECT_TRUE(call("DecodingFromMySQLZTK", {NullString()}).null);
  EXPECT_TRUE(call("DecodingFromMySQLZTK", {Empty()}).null);
  // Results of up to 4 KiB are made on the stack; a longer one's block that
  // cannot be had gives the empty result.
  REALstring s = S("a\\n");
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("DecodingFromMySQLZTK", {S(std::string(5000, 'a'))}).null);
  plugin->fail_allocation(1);
  EXPECT_EQ(call("DecodingFromMySQLZTK", {s}).bytes, "a\n") << "a short result needs no memory";
  plugin->fail_allocation(0);
  host.failures["REALBuildString"].always = true;
  EXPECT_TRUE(call("DecodingFromMySQLZTK", {s}).null);
}

TEST(MySQLKernel, EveryLevelGivesTheOneByteRules) {
#ifdef ZTK_EMULATED_TARGET
  constexpr size_t kLongest = 100;
#else
  constexpr size_t kLongest = 300;
#endif
  std::mt19937 rng(5);
  expect_equal_at_every_level(
      token_inputs(rng, {"\\", "\\n", "\\q", "\\\\", "\\0", "'"}, kLongest),
      [](ztk::ByteView in) {
        GuardedBytes out(std::string(in.size, '\0'));
        const size_t n = ztk::mysql::unescape(in, out.bytes());
        return std::string(out.view().data, out.view().data + n);
      },
      [](const std::string &in) { return reference::mysql_unescape(in); });
}

// Dump rows and backslash-dense bytes at every level against the one-byte
// rule: long enough for many blocks of every width, cut at every length
// around the block edges, each ending right before an unreadable page.
TEST(MySQLKernel, EveryLevelGivesTheOneByteRulesOnDumpsAndDenseEscapes) {
  std::mt19937 rng(17);
  std::vector<std::string> inputs;
  const std::string dump = ztk_bench::mysql_dump(70000);
  for (size_t n : {size_t{1}, size_t{150}, size_t{4099}, dump.size()}) inputs.push_back(dump.substr(0, n));
  for (size_t n = 120; n <= 200; ++n) inputs.push_back(dump.substr(0, n));  // escapes at every block place
  for (size_t n : {31, 32, 33, 63, 64, 65, 127, 128, 129, 1000, 5000}) {
    inputs.push_back(random_text(rng, n, "\\\\\\0nqZ'"));
    inputs.push_back(random_text(rng, n, "\\abcdefghijklmnopqrstuvwxyz"));
    std::string s = random_text(rng, n, "abcdefgh");
    s.back() = '\\';  // a final lone backslash after whole blocks
    inputs.push_back(s);
  }
  expect_equal_at_every_level(
      inputs,
      [](ztk::ByteView in) {
        GuardedBytes out(std::string(in.size, '\0'));
        const size_t n = ztk::mysql::unescape(in, out.bytes());
        return std::string(out.view().data, out.view().data + n);
      },
      [](const std::string &in) { return reference::mysql_unescape(in); });
}

// One escape (or a lone backslash, or a final one) at every place of the
// first blocks of clean text: each level finds it wherever its blocks fall.
TEST(MySQLKernel, EveryLevelFindsAnEscapeAtEveryPlaceOfABlock) {
  std::vector<std::string> inputs;
  for (const char *token : {"\\n", "\\q", "\\\\\\t"}) {
    for (size_t at = 0; at < 140; ++at) {
      std::string s(150, 'k');
      s.replace(at, std::strlen(token), token);
      inputs.push_back(s);
      inputs.push_back(s.substr(0, at + 1));  // the backslash last
    }
  }
  expect_equal_at_every_level(
      inputs,
      [](ztk::ByteView in) {
        GuardedBytes out(std::string(in.size, '\0'));
        return std::string(out.bytes(), out.bytes() + ztk::mysql::unescape(in, out.bytes()));
      },
      [](const std::string &in) { return reference::mysql_unescape(in); });
}
