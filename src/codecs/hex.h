// Hex codec: bytes to upper-case hex digits and back.
//
// decode() takes digits strictly in pairs by position: any byte that is not a
// hex digit counts as 0, and an odd last digit is dropped.
#pragma once

#include "text/byte_view.h"

namespace ztk::hex {

// Writes 2 * in.size digits to out.
void encode(ByteView in, char *out);
// Writes in.size / 2 bytes to out.
void decode(ByteView digits, uint8_t *out);

}  // namespace ztk::hex
