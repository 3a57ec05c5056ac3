// The shape most byte-level decoders share: read a string as stored, run a
// kernel into one scratch block sized from the input, and return
// the bytes it wrote as a raw-bytes result (tagged ASCII or 0xFFFF).
#pragma once

#include "frame/plugin_alloc.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

namespace ztk {

// `kernel(ByteView in, uint8_t *out)` writes at most in.size bytes and
// returns how many. Null for a null or empty input or a failed allocation.
template <class Kernel>
REALstring ShrinkBytes(REALstring s, Kernel kernel) {
  if (s == nullptr) return nullptr;
  rbData in;
  ReadString(in, s);
  if (in.view().empty()) return nullptr;
  const mem::Scratch out(in.view().size);
  if (out.data() == nullptr) return nullptr;
  const size_t n = kernel(in.view(), out.data());
  return n > 0 ? BuildRawBytes({out.data(), n}) : nullptr;
}

}  // namespace ztk
