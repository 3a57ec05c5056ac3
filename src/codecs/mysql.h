// MySQL unescaping: undoes the backslash escapes of MySQL string literals
// (\0 \' \" \b \n \r \t \Z \\ \% \_). Any other byte after a backslash is
// not an escape: both bytes are copied. A final lone backslash is kept. The
// kernel runs at the active level (frame/dispatch.h); mysql/ holds one source
// per level.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::mysql {

struct Kernels {
  // out needs in.size bytes; returns the number written.
  size_t (*unescape)(ByteView in, uint8_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

// out needs in.size bytes; returns the number written.
inline size_t unescape(ByteView in, uint8_t *out) { return kernels().unescape(in, out); }

// The plain version every level must equal.
size_t unescape_reference(ByteView in, uint8_t *out);

}  // namespace ztk::mysql
