#include "binary/bitwise/levels.h"

namespace ztk::bitwise::plain {

template <Kind K>
void stream_from(ByteView data, const uint8_t *mask, size_t from, uint8_t position, uint8_t *out) {
  for (size_t k = from; k < data.size; ++k) out[k] = apply<K>(data[k], mask[k], static_cast<uint8_t>(position + k));
}

template void stream_from<Kind::And>(ByteView, const uint8_t *, size_t, uint8_t, uint8_t *);
template void stream_from<Kind::Or>(ByteView, const uint8_t *, size_t, uint8_t, uint8_t *);
template void stream_from<Kind::Xor>(ByteView, const uint8_t *, size_t, uint8_t, uint8_t *);
template void stream_from<Kind::XorPosition>(ByteView, const uint8_t *, size_t, uint8_t, uint8_t *);

const Kernels kKernels = {
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream_from<Kind::And>(data, mask, 0, 0, out); },
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream_from<Kind::Or>(data, mask, 0, 0, out); },
    [](ByteView data, const uint8_t *mask, uint8_t *out) { stream_from<Kind::Xor>(data, mask, 0, 0, out); },
    [](ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out) {
      stream_from<Kind::XorPosition>(data, mask, 0, position, out);
    },
};

}  // namespace ztk::bitwise::plain
