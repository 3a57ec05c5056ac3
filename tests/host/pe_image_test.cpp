// The host's PE loader refuses a damaged or foreign Windows library by name
// instead of running it, and its stand-ins for the system's thread-local
// slots start empty on every thread. Built where the tested library is the
// Windows arm64 one.
#include <gtest/gtest.h>

#if defined(ZTK_TESTED_PE)
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>

#include "plugin_library.h"

namespace {

std::string read(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

uint32_t le32(const std::string &s, size_t at) {
  uint32_t v;
  std::memcpy(&v, s.data() + at, 4);
  return v;
}

void replace_all(std::string &s, const std::string &from, const std::string &to) {
  for (size_t at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size())) s.replace(at, from.size(), to);
}

// Loads `bytes` as a plugin; the error it gives, or "" when it loads.
std::string load_error(const std::string &bytes) {
  const std::string path = testing::TempDir() + "ztk-pe-case.dll";
  std::ofstream(path, std::ios::binary) << bytes;
  std::string error;
  try {
    subhost::PluginLibrary library(path);
    if (!library.exports("REALPluginMain")) error = "no entry point";
  } catch (const std::runtime_error &e) {
    error = e.what();
  }
  std::remove(path.c_str());
  return error;
}

TEST(PEImage, RefusesDamagedOrForeignLibrariesByName) {
  const std::string dll = read(ZTK_PLUGIN_PATH);
  ASSERT_EQ(dll.substr(0, 2), "MZ");
  const size_t pe = le32(dll, 0x3C);
  ASSERT_EQ(dll.substr(pe, 4), std::string("PE\0\0", 4));
  struct Case {
    const char *what;
    std::function<void(std::string &)> damage;
    const char *error;  // a part of the message
  } cases[] = {
      {"empty", [](std::string &s) { s.clear(); }, "cannot load plugin"},
      {"cut inside the headers", [&](std::string &s) { s.resize(pe + 30); }, "ends inside a header"},
      {"cut inside the sections", [](std::string &s) { s.resize(s.size() / 2); }, "outside the file"},
      {"no PE signature", [&](std::string &s) { s[pe + 1] = 'X'; }, "no PE signature"},
      {"another machine", [&](std::string &s) { s[pe + 4] = '\x64'; s[pe + 5] = '\x86'; }, "machine 0x8664, not ARM64"},
      {"not a DLL", [&](std::string &s) { s[pe + 23] = static_cast<char>(s[pe + 23] & ~0x20); }, "not a DLL"},
      {"an import outside the list", [](std::string &s) { replace_all(s, std::string("strnlen\0", 8), std::string("strnlex\0", 8)); },
       "api-ms-win-crt-string-l1-1-0.dll!strnlex is not provided"},
      {"another DLL", [](std::string &s) { replace_all(s, "kernel32.dll", "kernel33.dll"); },
       "kernel33.dll!GetCurrentThreadId is not provided"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    std::string bytes = dll;
    c.damage(bytes);
    EXPECT_NE(load_error(bytes).find(c.error), std::string::npos) << load_error(bytes);
  }
  EXPECT_EQ(load_error(dll), "");
}

// Every load takes a thread-local slot (the plugin's per-thread seeding
// flag) and gives it back on unloading: many more loads than the system
// has slots all succeed.
TEST(PEImage, GivesBackThreadLocalSlotsOnUnloading) {
  for (int k = 0; k < 1100; ++k) {
    subhost::PluginLibrary library(ZTK_PLUGIN_PATH);
    library.start();
    ASSERT_TRUE(library.exports("REALPluginMain")) << k;
  }
}

}  // namespace
#endif
