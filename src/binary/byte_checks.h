// Byte classes over whole strings, at the widest vector level the CPU offers.
#pragma once

#include <cstdint>

#include "text/byte_view.h"

namespace ztk::byte_checks {

enum class Class { Ascii = 0, Printable = 1, NoControl = 2 };  // < 0x80, 0x20-0x7F, >= 0x20

// Whether every byte is in the class (true for no bytes).
bool all_in_class(ByteView bytes, Class c);
// out[i] = bytes[i] when it is printable ASCII (0x20-0x7F), else replacement.
void replace_non_printable(ByteView bytes, uint8_t replacement, uint8_t *out);

// The one-byte-at-a-time versions every level must equal.
bool all_in_class_reference(ByteView bytes, Class c);
void replace_non_printable_reference(ByteView bytes, uint8_t replacement, uint8_t *out);

}  // namespace ztk::byte_checks
