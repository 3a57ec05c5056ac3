// Quoted-printable codec (MIME, RFC 2045 section 6.7) on stored bytes.
//
// The encoder writes CR LF line breaks and "=" soft breaks so that no line is
// longer than LINELEN - 1 characters; LINELEN is a process-wide setting that
// the two-argument form changes for this and later calls. The decoder drops
// soft breaks and invalid escapes and writes every hard line break as one LF.
// The kernels (quoted_printable/) have no vector level of their own: their
// runs are found and copied by the byte scans, which take the active level.
#pragma once

#include <cstddef>
#include <cstdint>

#include "text/byte_sink.h"
#include "frame/byte_view.h"

namespace ztk::qp {

void encode(ByteView in, int32_t lineLength, ByteSink &out);
// Writes at most in.size bytes to `out` and returns how many.
size_t decode(ByteView in, uint8_t *out);

}  // namespace ztk::qp
