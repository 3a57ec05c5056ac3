// yEnc decoding of a data body: every byte minus 42, and after an escape
// byte "=" the next byte minus 106 (all modulo 256). Line breaks and header
// lines are not recognised: they decode like any data. An "=" that is the
// last byte has nothing to escape and is dropped.
#pragma once

#include "text/byte_view.h"

namespace ztk::yenc {

// out needs in.size bytes; returns the number written.
size_t decode(ByteView in, uint8_t *out);

}  // namespace ztk::yenc
