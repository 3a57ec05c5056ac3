#include "host_test.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(SQLReplaceBooleanZTK);

TEST_P(SQLReplaceBooleanZTK, RewritesStandAloneWordsOutsideQuotes) {
  struct Case {
    const char *name;
    std::string in, out;
  } cases[] = {
      {"where clause", "SELECT * FROM t WHERE a = true AND b = FALSE;", "SELECT * FROM t WHERE a = 1 AND b = 0;"},
      {"values list", "INSERT INTO t VALUES (true,false,TRUE)", "INSERT INTO t VALUES (1,0,1)"},
      {"mixed", "UPDATE t SET a=true, b = True, c = 'true' WHERE d = false ",
       "UPDATE t SET a=true, b = 1, c = 'true' WHERE d = 0 "},
      {"end of text is no separator", "x = true", "x = true"},
      {"one separator after", "x = true\n", "x = 1\n"},
      {"prefixes stay", "trueish falsely truefalse ", "trueish falsely truefalse "},
      {"double-quoted identifier", "\"true\" ", "\"true\" "},
      {"doubled quotes", "'it''s true' true ", "'it''s true' 1 "},
      {"quote inside other quotes", "\"it's\" true ", "\"it's\" 1 "},
      {"start of text", "true ", "1 "},
      {"high byte separates", "\xC3true ", "\xC3" "1 "},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    Result r = call("SQLReplaceBooleanZTK", {S(c.in, enc::kASCII)});
    EXPECT_EQ(r.bytes, c.out);
    EXPECT_EQ(r.encoding, c.out.find('\xC3') == std::string::npos ? enc::kUTF8 : enc::kUTF8);
  }
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
