// A Mach-O loader for the macOS library, so that the test programs of this
// machine's own platforms can run it: x86-64 macOS and Linux share the System
// V calling convention, and the arm64 slice runs in the aarch64 test
// programs under qemu-user. It takes a universal (fat) file or one slice,
// picks the slice of the running architecture, maps its segments, applies
// the rebase and bind opcodes (lazy binds at once), binds every import by
// name to a fixed list of C functions (any other import fails the load, by
// name), runs the initializers and finds exports in the exports trie.
// Apple's own loader is not imitated beyond that: no other libraries, no
// chained fixups, no code signature check (tools/check_macos_library.py
// checks the signature). Not on Windows, whose test programs never meet a
// macOS library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "loaded_image.h"

namespace subhost {

class MachOImage : public LoadedImage {
 public:
  // Whether the file starts like a Mach-O file or a universal one.
  static bool is_macho(const std::string &path);
  // Loads the slice of the running architecture; throws std::runtime_error
  // saying what is wrong.
  explicit MachOImage(const std::string &path);
  ~MachOImage() override;
  MachOImage(const MachOImage &) = delete;
  MachOImage &operator=(const MachOImage &) = delete;

  // The address of an exported symbol (its C name, without the leading
  // underscore Mach-O adds), or null.
  void *symbol(const char *name) const override;
  // Apple's convention lets a callee rely on its caller widening booleans.
  bool booleans_widened() const override { return true; }

 private:
  uint8_t *base_ = nullptr;  // where the image's address 0 lies
  uint8_t *map_ = nullptr;   // the mapping
  size_t mapSize_ = 0;
  std::string exports_;      // the exports trie
};

}  // namespace subhost
