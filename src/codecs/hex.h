// Hex codec: bytes to upper-case hex digits and back.
//
// decode() takes digits strictly in pairs by position: any byte that is not a
// hex digit counts as 0, and an odd last digit is dropped. Both run at the
// active vector level (frame/dispatch.h); hex/ holds one source per level.
#pragma once

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::hex {

struct Kernels {
  // Writes 2 * in.size digits to out.
  void (*encode)(ByteView in, char *out);
  // Writes digits.size / 2 bytes to out.
  void (*decode)(ByteView digits, uint8_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

inline void encode(ByteView in, char *out) { kernels().encode(in, out); }
inline void decode(ByteView digits, uint8_t *out) { kernels().decode(digits, out); }

// The one-byte-at-a-time versions every vector level must equal.
void encode_reference(ByteView in, char *out);
void decode_reference(ByteView digits, uint8_t *out);

}  // namespace ztk::hex
