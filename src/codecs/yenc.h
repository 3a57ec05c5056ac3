// yEnc decoding of a data body: every byte minus 42, and after an escape
// byte "=" the next byte minus 106 (all modulo 256). Line breaks and header
// lines are not recognised: they decode like any data. An "=" that is the
// last byte has nothing to escape and is dropped. The work is the byte scans'
// unescaping, at their active level.
#pragma once

#include "text/byte_scan.h"
#include "frame/byte_view.h"

namespace ztk::yenc {

inline constexpr uint8_t kOffset = 42;
inline constexpr uint8_t kEscape = 0x3D;
inline constexpr uint8_t kEscapeOffset = 64;

// out needs in.size bytes; returns the number written.
inline size_t decode(ByteView in, uint8_t *out) {
  return scan::unescape(in, kEscape, static_cast<uint8_t>(-kOffset), static_cast<uint8_t>(-kEscapeOffset), out);
}

}  // namespace ztk::yenc
