#include <cstring>

#include "codecs/url/levels.h"
#include "frame/lanes_avx2.h"
#include "frame/pack_avx2.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::url::avx2 {
namespace {

#define ZTK_URL_TARGET ZTK_AVX2
using V = simd::avx2::ByteLanes;
#include "codecs/url/blocks.inc"
#undef ZTK_URL_TARGET

// For 4 bytes of which those in the key's bits are escaped, where each of
// their three output slots comes from, in a register holding their heads
// ("%", "+" or the byte), then their high digits, then their low digits, 4
// bytes each; the unused rest is zeroed.
struct Spread {
  alignas(16) uint8_t index[16][16];
  uint8_t size[16];
};
constexpr Spread kSpread = [] {
  Spread s{};
  for (int key = 0; key < 16; ++key) {
    int n = 0;
    for (int j = 0; j < 4; ++j) {
      s.index[key][n++] = static_cast<uint8_t>(j);
      if (key >> j & 1) {
        s.index[key][n++] = static_cast<uint8_t>(4 + j);
        s.index[key][n++] = static_cast<uint8_t>(8 + j);
      }
    }
    s.size[key] = static_cast<uint8_t>(n);
    while (n < 16) s.index[key][n++] = 0x80;
  }
  return s;
}();

// 16 bytes' heads, high and low digits, and escape bits, written with a
// width of 1 or 3 a byte: four groups of 4 bytes, each gathered into one
// register and spread by one byte shuffle. Returns the output's new end.
ZTK_AVX2 inline char *spread16(__m128i head, __m128i hi, __m128i lo, uint32_t escaped, char *o) {
  const __m128i a = _mm_unpacklo_epi32(head, hi), b = _mm_unpackhi_epi32(head, hi);
  const __m128i groups[4] = {_mm_unpacklo_epi64(a, lo), _mm_unpackhi_epi64(a, _mm_slli_si128(lo, 4)),
                             _mm_unpacklo_epi64(b, _mm_srli_si128(lo, 8)),
                             _mm_unpackhi_epi64(b, _mm_srli_si128(lo, 4))};
  for (int g = 0; g < 4; ++g) {
    const unsigned key = escaped >> (4 * g) & 15;
    const __m128i index = _mm_load_si128(reinterpret_cast<const __m128i *>(kSpread.index[key]));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm_shuffle_epi8(groups[g], index));
    o += kSpread.size[key];
  }
  return o;
}

// 32 bytes at a time: blocks that need no escape are stored as they are;
// the others have every byte's head and digits computed at once and spread
// to their widths. Works while the last group's 16-byte store stays within
// the output's room (three bytes for each input byte).
ZTK_AVX2 size_t encode_spread(ByteView in, size_t i, int mode, char *&out) {
  const V::reg plus = V::set1(plus_kept(mode) ? '+' : '!');
  const V::reg spaceAsPlus = V::set1(mode == 1 ? 0xFF : 0);
  const V::reg digits = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(ascii::kHexDigits)));
  const V::reg low = V::set1(15);
  char *o = out;
  while (in.size - i >= 48) {
    const V::reg v = V::load(in.data + i);
    const V::mask kept = kept_lanes(v, plus);
    if (V::bits(kept) == V::kAll) {
      V::store(reinterpret_cast<uint8_t *>(o), v);
      i += 32;
      o += 32;
      continue;
    }
    // The head: "+" for a space written so, "%" for an escape, else the byte.
    const V::mask space = _mm256_and_si256(V::equal(v, V::set1(' ')), spaceAsPlus);
    const V::mask escapedLanes = _mm256_xor_si256(_mm256_or_si256(kept, space), V::set1(0xFF));
    const uint32_t escaped = static_cast<uint32_t>(V::bits(escapedLanes));
    const V::reg head = _mm256_blendv_epi8(_mm256_blendv_epi8(v, V::set1('+'), space), V::set1('%'), escapedLanes);
    const V::reg hi = _mm256_shuffle_epi8(digits, _mm256_and_si256(_mm256_srli_epi16(v, 4), low));
    const V::reg lo = _mm256_shuffle_epi8(digits, _mm256_and_si256(v, low));
    o = spread16(_mm256_castsi256_si128(head), _mm256_castsi256_si128(hi), _mm256_castsi256_si128(lo), escaped & 0xFFFF,
                 o);
    o = spread16(_mm256_extracti128_si256(head, 1), _mm256_extracti128_si256(hi, 1), _mm256_extracti128_si256(lo, 1),
                 escaped >> 16, o);
    i += 32;
  }
  out = o;
  return i;
}

ZTK_AVX2 size_t encode(ByteView in, int64_t options, char *out) {
  const int mode = static_cast<int>(options & 3);
  // Short texts: setting up the blocks would cost more than they save.
  if (in.size < kShortText) return plain::encode_from(in, mode, 0, out);
  char *o = out;
  size_t i = encode_spread(in, 0, mode, o);
  if (in.size - i > 32) i = encode_blocks(in, i, mode, o);
  if (in.size - i > 16) i = sse2::encode_blocks(in, i, mode, o);
  return static_cast<size_t>(o - out) + plain::encode_from(in, mode, i, o);
}

using simd::avx2_pack::pack16;

// The values of hex digit bytes; any other byte is 0.
ZTK_AVX2 inline __m256i hex_values(__m256i v) {
  const __m256i d = _mm256_sub_epi8(v, V::set1('0'));
  const __m256i isDigit = _mm256_cmpeq_epi8(_mm256_min_epu8(d, V::set1(9)), d);
  const __m256i l = _mm256_sub_epi8(_mm256_or_si256(v, V::set1(0x20)), V::set1('a'));
  const __m256i isLetter = _mm256_cmpeq_epi8(_mm256_min_epu8(l, V::set1(5)), l);
  return _mm256_or_si256(_mm256_and_si256(isDigit, d), _mm256_and_si256(isLetter, _mm256_add_epi8(l, V::set1(10))));
}

// After this many blocks in a row with nothing to decode, blocks are tested
// before they are packed: in a query string that many come in a row too
// seldom for the test to cost mispredictions.
constexpr unsigned kCleanRun = 8;

// 32 bytes at a time with no branch on where the escapes are: the value of
// the two bytes after every byte is computed, each escape's lane takes it
// (a "+" meaning a space takes the space), and the digits are packed away.
// An escape in the last two lanes takes its digits from the next block,
// which then starts after them. A block whose escapes overlap ("%%", "%4%")
// goes byte by byte. Reads two bytes past the block, so works while 34
// remain; the output never runs ahead of the input, so the packing's stores
// stay within the room the input's size gives.
// With kHandBackClean it returns at the block that would start a stretch
// stored as it is, for a wider level to store it.
template <bool kHandBackClean>
ZTK_AVX2 size_t decode_packed(ByteView in, size_t i, bool plusIsSpace, uint8_t *&out) {
  const __m256i percent = V::set1('%'), plus = V::set1(plusIsSpace ? '+' : '%'), space = V::set1(' ');
  uint8_t *o = out;
  unsigned clean = 0;  // blocks in a row with nothing to decode
  while (in.size - i >= 34) {
    const __m256i v = V::load(in.data + i);
    const __m256i isPercent = _mm256_cmpeq_epi8(v, percent), isPlus = _mm256_cmpeq_epi8(v, plus);
    const uint32_t m = static_cast<uint32_t>(_mm256_movemask_epi8(isPercent));
    const uint32_t special = static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_or_si256(isPercent, isPlus)));
    if (clean >= kCleanRun) {
      if (kHandBackClean) break;
      // Long stretches with nothing to decode (text, not a query) are
      // stored as they are until the next escape.
      if (special == 0) {
        V::store(o, v);
        i += 32;
        o += 32;
        continue;
      }
      clean = 0;
    }
    const uint32_t digits = m << 1 | m << 2;
    if ((m & digits) != 0) {
      clean = 0;
      // Bytes one at a time up to the block's end; the last escapes take
      // their digits from the next block, which is there.
      for (const size_t stop = i + 32; i < stop;) {
        if (in[i] == '%') {
          *o++ = static_cast<uint8_t>(kHexHigh[in[i + 1]] | kHexLow[in[i + 2]]);
          i += 3;
        } else {
          *o++ = in[i] == '+' && plusIsSpace ? ' ' : in[i];
          ++i;
        }
      }
      continue;
    }
    const __m256i value = _mm256_or_si256(_mm256_slli_epi16(hex_values(V::load(in.data + i + 1)), 4),
                                          hex_values(V::load(in.data + i + 2)));
    const __m256i t = _mm256_blendv_epi8(_mm256_blendv_epi8(v, space, isPlus), value, isPercent);
    const uint32_t keep = ~digits;
    o = pack16(_mm256_castsi256_si128(t), keep & 0xFFFF, o);
    o = pack16(_mm256_extracti128_si256(t, 1), keep >> 16, o);
    i += 32 + (m >> 31 != 0 ? 2 : m >> 30);
    clean = special == 0 ? clean + 1 : 0;
  }
  out = o;
  return i;
}

}  // namespace

ZTK_AVX2 size_t decode(ByteView in, int64_t options, uint8_t *out) {
  // Less than a block: the 16-byte entry (escape-dense text of 20 bytes 10%
  // faster there than through the 32-byte level's calls).
  if (in.size < 32) return sse2::kKernels.decode(in, options, out);
  const bool plusIsSpace = (options & 1) != 0;
  uint8_t *o = out;
  const size_t i = decode_packed<false>(in, 0, plusIsSpace, o);
  return decode_last(in, i, plusIsSpace, o, out);
}

ZTK_AVX2 size_t decode_until_clean(ByteView in, size_t i, bool plusIsSpace, uint8_t *&out) {
  return decode_packed<true>(in, i, plusIsSpace, out);
}

ZTK_AVX2 size_t decode_last(ByteView in, size_t i, bool plusIsSpace, uint8_t *o, uint8_t *out) {
  i = decode_blocks(in, i, plusIsSpace, o);
  if (in.size - i >= 16) i = sse2::decode_blocks(in, i, plusIsSpace, o);
  return static_cast<size_t>(decode_from(in, i, plusIsSpace, o) - out);
}

const Kernels kKernels = {encode, decode};

}  // namespace ztk::url::avx2
#endif  // ZTK_WIDE_VECTORS
