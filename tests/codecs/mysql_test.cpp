#include "host_test.h"

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
  REALstring s = S("a\\n");
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("DecodingFromMySQLZTK", {s}).null);
  host.failures["REALBuildString"].always = true;
  EXPECT_TRUE(call("DecodingFromMySQLZTK", {s}).null);
}
