// Hex codec: bytes to upper-case hex digits and back.
//
// Both run at the widest vector level the CPU offers (frame/cpu.h).
// decode() takes digits strictly in pairs by position: any byte that is not a
// hex digit counts as 0, and an odd last digit is dropped.
#pragma once

#include "text/byte_view.h"

namespace ztk::hex {

// Writes 2 * in.size digits to out.
void encode(ByteView in, char *out);
// Writes in.size / 2 bytes to out.
void decode(ByteView digits, uint8_t *out);

// The one-byte-at-a-time versions every vector level must equal.
void encode_reference(ByteView in, char *out);
void decode_reference(ByteView digits, uint8_t *out);

}  // namespace ztk::hex
