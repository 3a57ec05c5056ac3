// Byte classes over whole strings, at the active vector level
// (frame/dispatch.h); byte_checks/ holds one source per level. They sit in the
// frame because its string building tags every result by the ASCII test;
// the byte-check methods (binary/byte_checks.cpp) call them from above.
#pragma once

#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::byte_checks {

enum class Class { Ascii = 0, Printable = 1, NoControl = 2 };  // < 0x80, 0x20-0x7F, >= 0x20

struct Kernels {
  // Whether every byte is in the class (true for no bytes).
  bool (*all_ascii)(ByteView bytes);
  bool (*all_printable)(ByteView bytes);
  bool (*all_no_control)(ByteView bytes);
  // out[i] = bytes[i] when it is printable ASCII (0x20-0x7F), else replacement.
  void (*replace_non_printable)(ByteView bytes, uint8_t replacement, uint8_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

// Whether every byte is below 0x80 (true for no bytes).
inline bool all_ascii(ByteView bytes) { return kernels().all_ascii(bytes); }

inline bool all_in_class(ByteView bytes, Class c) {
  const Kernels &k = kernels();
  switch (c) {
    case Class::Ascii: return k.all_ascii(bytes);
    case Class::Printable: return k.all_printable(bytes);
    case Class::NoControl: break;
  }
  return k.all_no_control(bytes);
}

inline void replace_non_printable(ByteView bytes, uint8_t replacement, uint8_t *out) {
  kernels().replace_non_printable(bytes, replacement, out);
}

// The one-byte-at-a-time versions every level must equal.
bool all_in_class_reference(ByteView bytes, Class c);
void replace_non_printable_reference(ByteView bytes, uint8_t replacement, uint8_t *out);

}  // namespace ztk::byte_checks
