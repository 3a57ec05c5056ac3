#include "codecs/code_pages/levels.h"
#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_X86
namespace ztk::codepage::sse2 {

namespace {

// As the AVX2 level's one pass, 16 units a block.
size_t encode(const Table &table, U16View units, uint8_t *out) {
  const bool ownC1 = !identity_high(table);
  const bool slotted = ownC1 && slots_serve(table);
  const __m128i highByte = _mm_set1_epi16(static_cast<short>(0xFF00)), zero = _mm_setzero_si128();
  const __m128i c1 = _mm_set1_epi8(static_cast<char>(0x80)), c1Last = _mm_set1_epi8(0x1F);
  size_t i = 0, w = 0;
  for (; i + 16 <= units.size; i += 16) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(units.data + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(units.data + i + 8));
    const __m128i bytes = _mm_packus_epi16(a, b);
    const __m128i latin1 = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_and_si128(a, highByte), zero),
                                           _mm_cmpeq_epi16(_mm_and_si128(b, highByte), zero));
    uint32_t stops = ~static_cast<uint32_t>(_mm_movemask_epi8(latin1)) & 0xFFFF;
    if (ownC1) {
      const __m128i d = _mm_sub_epi8(bytes, c1);
      stops |= static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(d, c1Last), d)));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + w), bytes);
    if (stops == 0) {
      w += 16;
      continue;
    }
    w = place_stops(table, ownC1, slotted, units.data + i, 16, stops, out, w);
  }
  return plain::encode_chunks(table, ownC1, units, i, w, out, units::sse2::kKernels);
}

}  // namespace

// The one pass, and the widening with the unit scans of this level.
const Kernels kKernels = {
    encode,
    [](const Table &table, ByteView bytes, uint16_t *out) {
      plain::decode_from(table, bytes, 0, out, units::sse2::kKernels.widen);
    },
};

}  // namespace ztk::codepage::sse2
#endif  // ZTK_X86
