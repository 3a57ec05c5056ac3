// The command-line tool, run as a process.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace {

struct Outcome {
  int status;
  std::string out;
};

Outcome ztk(const std::string &args) {
  const std::string command = std::string(ZTK_CLI_PATH) + " " + args + " 2>&1";
  FILE *pipe = popen(command.c_str(), "r");
  Outcome run{-1, {}};
  if (pipe == nullptr) return run;
  std::array<char, 4096> buffer;
  size_t n;
  while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) run.out.append(buffer.data(), n);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

}  // namespace

TEST(ZtkTool, ListsEveryDeclarationInTableOrder) {
  const Outcome r = ztk("list");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("_yDecodeMemoryZTK(data as memoryblock) as memoryblock\n", 0), 0u);
  EXPECT_NE(r.out.find("\nSQLReplaceBooleanZTK(SQL as string) as string\n"), std::string::npos);
  size_t lines = 0;
  for (char c : r.out) lines += c == '\n';
  EXPECT_EQ(lines, 47u);
}

TEST(ZtkTool, CallsMethodsChoosingTheOverloadByArgumentCount) {
  struct Case {
    std::string args, out;
  } cases[] = {
      {"EncodingToHexZTK Hi", "4869"},
      {"--hex EncodingToURLZTK 'a b'", "6125323062\n"},
      {"EncodingToURLZTK 'a b+' 1", "a+b%2B"},
      {"--encoding utf16 EncodingToHexZTK A", "4100"},
      {"IsASCIIStringZTK abc 1", "true\n"},
      {"StrCompBytesZTK a b", "-1\n"},
      {"LevenshteinDistanceZTK kitten sitting", "0.5\n"},
      {"RandomBytesStringZTK 0 true", ""},
      {"--hex _yDecodeMemoryZTK kl", "4142\n"},
      {"EncodingToHTMLZTK '<'", "&lt;"},
      {"ReplaceNonPrintableCharactersZTK \"$(printf 'a\\tb')\"", "a.b"},
      {"StringXORZTK AB $(printf '\\001\\002\\003') 2", "BC"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.args);
    const Outcome r = ztk(c.args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, c.out);
  }
  EXPECT_EQ(ztk("EncodingToHexZTK - < /dev/null").out, "");
  EXPECT_EQ(ztk("EncodingToHexZTK @/dev/null").status, 0);
}

TEST(ZtkTool, ExceptionsAndBadArgumentsExitNonZero) {
  Outcome r = ztk("LevenshteinDistanceZTK $(printf 'a%.0s' $(seq 30000)) $(printf 'b%.0s' $(seq 30000))");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out.find("OutOfMemoryException: Failed to allocate 3600240004 bytes of memory."), std::string::npos);
  for (const char *bad : {"IsASCIIStringZTK abc x", "NoSuchMethodZTK", "EncodingToHexZTK a b c", "--encoding klingon list",
                          ""}) {
    SCOPED_TRACE(bad);
    r = ztk(bad);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("usage: ztk"), std::string::npos);
  }
  EXPECT_EQ(ztk("--version").out.rfind("ztk ", 0), 0u);
}
