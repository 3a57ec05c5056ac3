// A PE/COFF loader for the Windows arm64 library, so that the aarch64 test
// programs can run it under qemu-user: the Windows arm64 convention is the
// arm64 procedure call standard for fixed arguments, and x18, which Windows
// keeps for the thread block, is left alone by the library. The loader maps
// the sections, applies the base relocations, binds each import by its DLL
// and name to the host's implementation (any other import fails the load, by
// name), with shims where Windows differs from Linux (variadic arguments in
// 8-byte slots, `long` of 32 bits, the runtime's rounding-mode values, the
// thread-local slots of kernel32), calls the entry point to attach and finds
// exports by name. Windows' own loader is not imitated beyond that: no
// static thread-local storage, no forwarded exports, no import by ordinal,
// no signature (tools/check_windows_library.py checks the headers Windows
// reads). Not on Windows, which loads the library itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "loaded_image.h"

namespace subhost {

class PEImage : public LoadedImage {
 public:
  // Whether the file starts like a PE file ("MZ").
  static bool is_pe(const std::string &path);
  // Loads the image and attaches it; throws std::runtime_error saying what
  // is wrong. Only ARM64 images load, and only on arm64.
  explicit PEImage(const std::string &path);
  ~PEImage() override;
  PEImage(const PEImage &) = delete;
  PEImage &operator=(const PEImage &) = delete;

  void *symbol(const char *name) const override;
  // Windows' convention asks nothing of the caller beyond the argument's type.
  bool booleans_widened() const override { return false; }

 private:
  void unload();

  uint8_t *map_ = nullptr;
  size_t mapSize_ = 0;
  uint32_t entry_ = 0;  // the entry point's address relative to map_, 0 for none
  bool attached_ = false;
  std::map<std::string, uint32_t, std::less<>> exports_;
};

}  // namespace subhost
