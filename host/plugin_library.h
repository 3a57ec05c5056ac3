// Loads the plugin library as Xojo does: opens it, finds REALPluginMain and
// calls it with the substitute host's resolver. Every load is a fresh copy of
// the library, so that the plugin's process-wide state (its caches and
// settings) starts as it does when an application starts. A macOS library
// (Mach-O) and the Windows arm64 library (PE) are loaded by the host's own
// loaders (macho_image.h, pe_image.h), elsewhere than on Windows; each
// library's calling details come with its image.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace subhost {

class LoadedImage;

class PluginLibrary {
 public:
  explicit PluginLibrary(const std::string &path);
  ~PluginLibrary();
  PluginLibrary(const PluginLibrary &) = delete;
  PluginLibrary &operator=(const PluginLibrary &) = delete;

  // Calls REALPluginMain with the host's resolver.
  void start();
  // Test builds of the plugin only: fail the plugin's n-th allocation from
  // now (n < 0: every one; 0: none). False when the library has no such hook.
  bool fail_allocation(int64_t nth);
  // Test builds only: the number of allocations the plugin has attempted.
  int64_t allocation_count();
  // Test build only: caps the plugin's vector kernels at `level` (0 plain to
  // 4 AVX-512 with VBMI2); answers the level in force, or -1 without the hook.
  int limit_level(int level);
  // Whether the library exports `symbol`.
  bool exports(const std::string &symbol) const;

  // One library for the whole process, loaded and started on first use with
  // a freshly reset host (for benchmarks and fuzzers, which call many times).
  static PluginLibrary &started_once(const std::string &path);

 private:
  void *find(const char *name) const;

  std::string copy_;
  void *handle_ = nullptr;
  std::unique_ptr<LoadedImage> image_;  // a library loaded by the host itself
};

}  // namespace subhost
