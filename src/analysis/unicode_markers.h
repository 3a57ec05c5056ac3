// Byte-order marks: which one a string's stored bytes begin with, and the
// marker of a given kind as a host string. Kinds: 0 none, 1 UTF-8, 2 and 4
// UTF-16 little-endian, 3 UTF-16 big-endian, 5 and 7 UTF-32 little-endian,
// 6 UTF-32 big-endian.
#pragma once

#include "frame/byte_view.h"

namespace ztk::markers {

// 0, 1, 3, 4, 6 or 7; FF FE 00 00 is a UTF-32 mark, not UTF-16 and a NUL.
int detect(ByteView bytes);

}  // namespace ztk::markers
