// URL codec: percent-encoding of stored bytes and its inverse.
//
// The encoder keeps digits, letters and ! * - . _ @ as they are and escapes
// every other byte as %XX (upper case). Space and plus are chosen by the
// options' two low bits. The decoder decodes %XX with lenient digits (a
// non-hex digit counts as 0, a cut-short escape reads missing digits as 0)
// and, with option bit 0, turns "+" into a space. Both run at the active
// level (frame/dispatch.h); url/ holds one source per level.
#pragma once

#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::url {

// The most bytes encode() can write for n input bytes.
constexpr uint64_t max_encoded_size(uint64_t n) { return 3 * n; }

struct Kernels {
  // Returns the number of bytes written, at most max_encoded_size(in.size).
  size_t (*encode)(ByteView in, int64_t options, char *out);
  // out needs in.size bytes; returns the number written.
  size_t (*decode)(ByteView in, int64_t options, uint8_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

inline size_t encode(ByteView in, int64_t options, char *out) { return kernels().encode(in, options, out); }
inline size_t decode(ByteView in, int64_t options, uint8_t *out) { return kernels().decode(in, options, out); }

// The plain versions every level must equal.
size_t encode_reference(ByteView in, int64_t options, char *out);
size_t decode_reference(ByteView in, int64_t options, uint8_t *out);

}  // namespace ztk::url
