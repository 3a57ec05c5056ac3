#include "codecs/code_pages/levels.h"
#include "frame/dispatch.h"

namespace ztk::codepage {

const Table escapecharsISO8859 = identity();  // ISO 8859-1 maps every byte to the same code point
const Table escapecharsCP1252 = cp1252();

int find_byte(const Table &table, uint16_t unit) { return search_byte(table, unit); }

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase), ZTK_ON_WIDE(&vbmi2::kKernels, kBase)};

size_t encode_reference(const Table &table, U16View units, uint8_t *out) {
  size_t written = 0;
  for (size_t i = 0; i < units.size; ++i) {
    const int b = find_byte(table, units[i]);
    if (b >= 0) out[written++] = static_cast<uint8_t>(b);
  }
  return written;
}

void decode_reference(const Table &table, ByteView bytes, uint16_t *out) {
  for (size_t i = 0; i < bytes.size; ++i) out[i] = bytes[i] >= 0x80 && bytes[i] <= 0x9F ? table[bytes[i]] : bytes[i];
}

}  // namespace ztk::codepage
