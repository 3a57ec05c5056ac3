// The host's Mach-O loader refuses a damaged or foreign macOS library by
// name instead of running it, and runs a single slice as well as the
// universal file. Built where the tested library is the macOS one.
#include <gtest/gtest.h>

#if defined(ZTK_TESTED_MACHO)
#include <cstdio>
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

uint32_t be32(const std::string &s, size_t at) {
  return uint32_t{static_cast<uint8_t>(s[at])} << 24 | uint32_t{static_cast<uint8_t>(s[at + 1])} << 16 |
         uint32_t{static_cast<uint8_t>(s[at + 2])} << 8 | static_cast<uint8_t>(s[at + 3]);
}

#if defined(__x86_64__)
constexpr uint32_t kOwnCpu = 0x01000007;
#else
constexpr uint32_t kOwnCpu = 0x0100000C;
#endif

// Where the universal file's entry for this architecture starts.
size_t own_entry(const std::string &fat) {
  for (uint32_t k = 0; k < be32(fat, 4); ++k) {
    if (be32(fat, 8 + 20 * k) == kOwnCpu) return 8 + 20 * k;
  }
  return std::string::npos;
}

void replace_all(std::string &s, const std::string &from, const std::string &to) {
  for (size_t at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size())) s.replace(at, from.size(), to);
}

// Loads `bytes` as a plugin; the error it gives, or "" when it loads.
std::string load_error(const std::string &bytes) {
  const std::string path = testing::TempDir() + "ztk-macho-case.dylib";
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

TEST(MachOImage, RefusesDamagedOrForeignLibrariesByName) {
  const std::string fat = read(ZTK_PLUGIN_PATH);
  ASSERT_EQ(be32(fat, 0), 0xCAFEBABEu) << "a universal file";
  const size_t entry = own_entry(fat);
  ASSERT_NE(entry, std::string::npos);
  const size_t sliceAt = be32(fat, entry + 8), sliceSize = be32(fat, entry + 12);
  struct Case {
    const char *what;
    std::function<void(std::string &)> damage;
    const char *error;  // a part of the message
  } cases[] = {
      {"empty", [](std::string &s) { s.clear(); }, "cannot load plugin"},
      {"cut inside the universal header", [](std::string &s) { s.resize(12); }, "ends inside a header"},
      {"cut inside the slice", [&](std::string &s) { s.resize(sliceAt + sliceSize / 2); }, "outside the file"},
      {"cut inside the load commands", [&](std::string &s) { s.resize(sliceAt + 200); }, "outside the file"},
      {"no slice for this architecture", [&](std::string &s) { s[entry + 3] = '\x55'; }, "no slice for this architecture"},
      {"an import outside the list", [](std::string &s) { replace_all(s, std::string("_strnlen\0", 9), std::string("_strnlex\0", 9)); },
       "the import _strnlex is not provided"},
      {"another system library", [](std::string &s) { replace_all(s, "libSystem.B.dylib", "libSystem.X.dylib"); },
       "needs /usr/lib/libSystem.X.dylib"},
      {"not a library", [&](std::string &s) { s[sliceAt + 12] = 2; }, "not a dynamic library"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    std::string bytes = fat;
    c.damage(bytes);
    EXPECT_NE(load_error(bytes).find(c.error), std::string::npos) << load_error(bytes);
  }
  // One slice on its own loads as the universal file does.
  EXPECT_EQ(load_error(fat.substr(sliceAt, sliceSize)), "");
  EXPECT_EQ(load_error(fat), "");
}

}  // namespace
#endif
