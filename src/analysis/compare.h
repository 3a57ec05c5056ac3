// Byte-wise and character-wise three-way comparison, and counting of
// non-overlapping occurrences of a byte sequence.
#pragma once

#include <cstdint>

#include "frame/byte_view.h"

namespace ztk::compare {

// -1, 0 or 1: bytes compare unsigned; past its end a sequence reads as 0x00
// bytes, so "ab" equals "ab\0".
int compare_bytes(ByteView a, ByteView b);
// Leftmost, non-overlapping matches of `find` (at least one byte) in `s`.
int64_t count_occurrences(ByteView s, ByteView find);

}  // namespace ztk::compare
