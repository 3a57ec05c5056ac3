// Runs a fuzz target over files and folders of inputs, for compilers without
// libFuzzer: every committed seed becomes a regression test.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
  namespace fs = std::filesystem;
  int runs = 0;
  for (int i = 1; i < argc; ++i) {
    std::vector<fs::path> files;
    if (fs::is_directory(argv[i])) {
      for (const auto &entry : fs::directory_iterator(argv[i])) files.push_back(entry.path());
    } else {
      files.emplace_back(argv[i]);
    }
    for (const fs::path &file : files) {
      std::ifstream in(file, std::ios::binary);
      const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
      // An exact-size copy, so that a read past the input's end is caught.
      std::vector<uint8_t> exact(bytes.begin(), bytes.end());
      LLVMFuzzerTestOneInput(exact.empty() ? nullptr : exact.data(), exact.size());
      ++runs;
    }
  }
  std::printf("replayed %d inputs\n", runs);
  return runs > 0 ? 0 : 1;
}
