// What the substitute host's own loaders (Mach-O for the macOS library, PE
// for the Windows arm64 library) share: finding an export, and the calling
// details the library's platform asks of its caller, which the host applies
// to that library alone.
#pragma once

namespace subhost {

class LoadedImage {
 public:
  virtual ~LoadedImage() = default;
  // The address of an exported C symbol, or null.
  virtual void *symbol(const char *name) const = 0;
  // Whether boolean arguments must reach the library widened to 32 bits.
  virtual bool booleans_widened() const = 0;
};

}  // namespace subhost
