// yEnc decoding of a data body: every byte minus 42, and after an escape
// byte "=" the next byte minus 106 (all modulo 256). Line breaks and header
// lines are not recognised: they decode like any data. An "=" that is the
// last byte has nothing to escape and is dropped. The kernel runs at the
// active level (frame/dispatch.h); yenc/ holds one source per level.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::yenc {

inline constexpr uint8_t kOffset = 42;
inline constexpr uint8_t kEscape = 0x3D;
inline constexpr uint8_t kEscapeOffset = 64;

struct Kernels {
  // out needs in.size bytes; returns the number written.
  size_t (*decode)(ByteView in, uint8_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

// out needs in.size bytes; returns the number written.
inline size_t decode(ByteView in, uint8_t *out) { return kernels().decode(in, out); }

// The one-byte version every level must equal.
size_t decode_reference(ByteView in, uint8_t *out);

}  // namespace ztk::yenc
