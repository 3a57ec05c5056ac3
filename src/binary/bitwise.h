// Bytewise AND, OR and XOR of a data string with a repeating mask.
//
// AND and OR align the mask with the data's first byte. XOR starts the mask
// at an offset (taken modulo the mask's length); XOR2 also XORs each byte
// with the low 8 bits of its position. Both XORs are their own inverse.
#pragma once

#include <cstdint>

#include "text/byte_view.h"

namespace ztk::bitwise {

enum class Op { And, Or };

// out[i] = data[i] op mask[i mod mask.size], for mask.size >= 1. Works four
// bytes at a time where the mask allows (1, 2 or 4 bytes, or at least as long
// as the data); out needs data.size + 3 bytes of room.
void combine(ByteView data, ByteView mask, Op op, uint8_t *out);
// The mask position the XORs start at: offset modulo mask.size (>= 1).
size_t start_position(int64_t offset, size_t maskSize);
void exclusive_or(ByteView data, ByteView mask, size_t start, bool withPosition, uint8_t *out);

}  // namespace ztk::bitwise
