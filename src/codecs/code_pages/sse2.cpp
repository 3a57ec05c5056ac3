#include "codecs/code_pages/levels.h"
#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_X86
namespace ztk::codepage::sse2 {

namespace {

// 16 bytes a step: a block of ASCII is stored whole; in one with a byte from
// 0x80 on, the ASCII before it is stored with the block, and the sequences
// from there on are decoded one by one up to the next ASCII byte, where the
// blocks go on. A whole store is safe: the output never runs ahead of the
// input, whose room it has.
bool encode_utf8(const Table &table, ByteView in, uint8_t *out, size_t &written) {
  const Utf8Page page(table);
  size_t i = 0, w = 0;
  while (i + 16 <= in.size) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in.data + i));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + w), v);
    const unsigned m = static_cast<unsigned>(_mm_movemask_epi8(v));
    if (m == 0) {
      i += 16;
      w += 16;
      continue;
    }
    const unsigned k = static_cast<unsigned>(__builtin_ctz(m));
    i += k;
    w += k;
    do {
      i = encode_sequence(page, in, i, out, w);
      if (i == 0) return false;
    } while (i < in.size && in[i] >= 0x80);
  }
  return plain::encode_utf8_from(page, in, i, w, out, written);
}

}  // namespace

// The chunks and the widening with the unit scans of this level.
const Kernels kKernels = {
    [](const Table &table, U16View units, uint8_t *out) {
      return plain::encode_chunks(table, !identity_high(table), units, 0, 0, out, units::sse2::kKernels);
    },
    [](const Table &table, ByteView bytes, uint16_t *out) {
      plain::decode_from(table, bytes, 0, out, units::sse2::kKernels.widen);
    },
    encode_utf8,
};

}  // namespace ztk::codepage::sse2
#endif  // ZTK_X86
