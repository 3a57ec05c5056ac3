#include "codecs/code_pages/levels.h"
#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_WIDE_VECTORS
namespace ztk::codepage::avx2 {
namespace {

// 32 bytes a step: the table's entries for 0x80-0x9F split into low and high
// bytes, 16 entries to a byte shuffle, blended in where a byte is in that range.
ZTK_AVX2 size_t decode_blocks(const Table &table, ByteView bytes, uint16_t *out) {
  alignas(16) uint8_t parts[4][16];  // low bytes 0x80-0x8F, 0x90-0x9F, then high bytes
  for (int k = 0; k < 16; ++k) {
    parts[0][k] = static_cast<uint8_t>(table[0x80 + k]);
    parts[1][k] = static_cast<uint8_t>(table[0x90 + k]);
    parts[2][k] = static_cast<uint8_t>(table[0x80 + k] >> 8);
    parts[3][k] = static_cast<uint8_t>(table[0x90 + k] >> 8);
  }
  const auto *p = reinterpret_cast<const __m128i *>(parts);
  const __m256i low0 = _mm256_broadcastsi128_si256(_mm_load_si128(p)),
                low1 = _mm256_broadcastsi128_si256(_mm_load_si128(p + 1)),
                high0 = _mm256_broadcastsi128_si256(_mm_load_si128(p + 2)),
                high1 = _mm256_broadcastsi128_si256(_mm_load_si128(p + 3));
  const __m256i base = _mm256_set1_epi8(static_cast<char>(0x80)), zero = _mm256_setzero_si256();
  size_t i = 0;
  for (; i + 32 <= bytes.size; i += 32) {
    // Quarters in the order 0, 2, 1, 3, so that unpacking within lanes keeps the bytes' order.
    const __m256i b =
        _mm256_permute4x64_epi64(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i)), 0xD8);
    const __m256i index = _mm256_sub_epi8(b, base);
    const __m256i inC1 = _mm256_cmpeq_epi8(_mm256_and_si256(index, _mm256_set1_epi8(static_cast<char>(0xE0))), zero);
    const __m256i nibble = _mm256_and_si256(index, _mm256_set1_epi8(0x0F));
    const __m256i upper = _mm256_cmpeq_epi8(_mm256_and_si256(index, _mm256_set1_epi8(0x10)), zero);
    const __m256i low = _mm256_blendv_epi8(_mm256_shuffle_epi8(low1, nibble), _mm256_shuffle_epi8(low0, nibble), upper);
    const __m256i high =
        _mm256_blendv_epi8(_mm256_shuffle_epi8(high1, nibble), _mm256_shuffle_epi8(high0, nibble), upper);
    const __m256i lowOut = _mm256_blendv_epi8(b, low, inC1), highOut = _mm256_and_si256(high, inC1);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i), _mm256_unpacklo_epi8(lowOut, highOut));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i + 16), _mm256_unpackhi_epi8(lowOut, highOut));
  }
  return i;
}

}  // namespace

// 32 units a block in one pass: narrowed, and the units the runs stop at
// (above 0xFF, and for a page with characters of its own in 0x80-0x9F those
// too) marked in the same step. A block without them is stored whole; in one
// with them, each gets its byte by position from the mask, and the lanes
// after one the page drops move down. A
// whole 32-byte store at the output's end is safe: the output never runs
// ahead of the input, whose room it has. The last units, fewer than a block,
// go through the chunks.
ZTK_AVX2 size_t encode(const Table &table, U16View units, uint8_t *out) {
  const bool ownC1 = !identity_high(table);
  const bool slotted = ownC1 && slots_serve(table);
  const __m256i highByte = _mm256_set1_epi16(static_cast<short>(0xFF00)), zero = _mm256_setzero_si256();
  const __m256i c1 = _mm256_set1_epi8(static_cast<char>(0x80)), c1Last = _mm256_set1_epi8(0x1F);
  size_t i = 0, w = 0;
  for (; i + 32 <= units.size; i += 32) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(units.data + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(units.data + i + 16));
    // Packing works within 128-bit lanes: the quarters come out in the order 0, 2, 1, 3.
    const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
    const __m256i latin1 = _mm256_permute4x64_epi64(
        _mm256_packs_epi16(_mm256_cmpeq_epi16(_mm256_and_si256(a, highByte), zero),
                           _mm256_cmpeq_epi16(_mm256_and_si256(b, highByte), zero)),
        0xD8);
    uint32_t stops = ~static_cast<uint32_t>(_mm256_movemask_epi8(latin1));
    if (ownC1) {
      const __m256i d = _mm256_sub_epi8(bytes, c1);
      stops |= static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_min_epu8(d, c1Last), d)));
    }
    if (stops == 0) {
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + w), bytes);
      w += 32;
      continue;
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + w), bytes);
    w = place_stops(table, ownC1, slotted, units.data + i, 32, stops, out, w);
  }
  return plain::encode_chunks(table, ownC1, units, i, w, out, units::avx2::kKernels);
}

const Kernels kKernels = {
    encode,
    [](const Table &table, ByteView bytes, uint16_t *out) {
      // A page that holds 0x80-0x9F at their own values is widened alone:
      // the blocks' lookups cost it a fifth of its speed against the 16-byte level.
      const size_t from = identity_high(table) ? 0 : decode_blocks(table, bytes, out);
      plain::decode_from(table, bytes, from, out, units::avx2::kKernels.widen);
    },
};

}  // namespace ztk::codepage::avx2
#endif  // ZTK_WIDE_VECTORS
