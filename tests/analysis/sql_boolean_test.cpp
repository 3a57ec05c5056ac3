#include "host_test.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(SQLReplaceBooleanZTK);

TEST_P(SQLReplaceBooleanZTK, RewritesStandAloneWordsOutsideQuotes) {
  expect_cases("SQLReplaceBooleanZTK", {
      {"where clause", "SELECT * FROM t WHERE a = true AND b = FALSE;", "SELECT * FROM t WHERE a = 1 AND b = 0;", enc::kUTF8},
      {"values list", "INSERT INTO t VALUES (true,false,TRUE)", "INSERT INTO t VALUES (1,0,1)", enc::kUTF8},
      {"mixed", "UPDATE t SET a=true, b = True, c = 'true' WHERE d = false ", "UPDATE t SET a=true, b = 1, c = 'true' WHERE d = 0 ", enc::kUTF8},
      {"end of text is no separator", "x = true", "x = true", enc::kUTF8},
      {"one separator after", "x = true\n", "x = 1\n", enc::kUTF8},
      {"prefixes stay", "trueish falsely truefalse ", "trueish falsely truefalse ", enc::kUTF8},
      {"double-quoted identifier", "\"true\" ", "\"true\" ", enc::kUTF8},
      {"doubled quotes", "'it''s true' true ", "'it''s true' 1 ", enc::kUTF8},
      {"quote inside other quotes", "\"it's\" true ", "\"it's\" 1 ", enc::kUTF8},
      {"start of text", "true ", "1 ", enc::kUTF8},
      {"high byte separates", "\xC3true ", "\xC3" "1 ", enc::kUTF8},
  }, enc::kASCII);
  EXPECT_TRUE(call("SQLReplaceBooleanZTK", {NullString()}).null);
  EXPECT_TRUE(call("SQLReplaceBooleanZTK", {Empty()}).null);
}

TEST_P(SQLReplaceBooleanZTK, ReadsTheTextAsASCII) {
  EXPECT_EQ(call("SQLReplaceBooleanZTK", {U16(u"a = true;")}).bytes, "a = 1;");
  EXPECT_EQ(call("SQLReplaceBooleanZTK", {S("caf\xC3\xA9 = true;")}).bytes, "caf? = 1;");
}

TEST_P(SQLReplaceBooleanZTK, FailuresGiveEmptyString) {
  REALstring s = S("a = true;");
  plugin->fail_allocation(-1);
  EXPECT_TRUE(call("SQLReplaceBooleanZTK", {s}).null);
  plugin->fail_allocation(0);
  host.failures["REALBuildString"].always = true;
  EXPECT_TRUE(call("SQLReplaceBooleanZTK", {s}).null);
}
