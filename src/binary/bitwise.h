// Bytewise AND, OR and XOR of a data string with a repeating mask.
//
// AND and OR align the mask with the data's first byte. XOR starts the mask
// at an offset (taken modulo the mask's length); XOR2 also XORs each byte
// with the low 8 bits of its position. Both XORs are their own inverse. The
// byte loops run at the active vector level (frame/dispatch.h); bitwise/
// holds one source per level.
#pragma once

#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::bitwise {

enum class Op { And, Or };

// One run of the data against as many mask bytes: out[k] = data[k] op
// mask[k] for k < data.size. xor_position also XORs in (position + k) mod
// 256, position being the low 8 bits of data[0]'s place in the whole input.
struct Kernels {
  void (*and_bytes)(ByteView data, const uint8_t *mask, uint8_t *out);
  void (*or_bytes)(ByteView data, const uint8_t *mask, uint8_t *out);
  void (*xor_bytes)(ByteView data, const uint8_t *mask, uint8_t *out);
  void (*xor_position)(ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

// out[i] = data[i] op mask[i mod mask.size], for mask.size >= 1; out has room
// for data.size bytes.
void combine(ByteView data, ByteView mask, Op op, uint8_t *out);
// The mask position the XORs start at: offset modulo mask.size (>= 1).
size_t start_position(int64_t offset, size_t maskSize);
void exclusive_or(ByteView data, ByteView mask, size_t start, bool withPosition, uint8_t *out);

// The one-byte-at-a-time rules every level must equal.
void combine_reference(ByteView data, ByteView mask, Op op, uint8_t *out);
void exclusive_or_reference(ByteView data, ByteView mask, size_t start, bool withPosition, uint8_t *out);

}  // namespace ztk::bitwise
