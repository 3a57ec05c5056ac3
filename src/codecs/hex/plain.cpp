#include "codecs/hex/levels.h"
#include "frame/ascii.h"

namespace ztk::hex::plain {

void encode_from(ByteView in, size_t from, char *out) {
  for (size_t i = from; i < in.size; ++i) ascii::put_hex(out + 2 * i, in[i]);
}

// Every hex digit d becomes its ASCII byte: '0' + d, plus 7 from 10 on.
void decode_from(ByteView digits, size_t from, uint8_t *out) {
  for (size_t i = from; i + 1 < digits.size; i += 2) {
    out[i / 2] = static_cast<uint8_t>(ascii::hex_value(digits[i]) << 4 | ascii::hex_value(digits[i + 1]));
  }
}

const Kernels kKernels = {
    [](ByteView in, char *out) { encode_from(in, 0, out); },
    [](ByteView digits, uint8_t *out) { decode_from(digits, 0, out); },
};

}  // namespace ztk::hex::plain
