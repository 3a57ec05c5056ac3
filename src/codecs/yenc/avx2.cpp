#include "codecs/yenc/levels.h"
#include "frame/lanes_avx2.h"
#include "frame/pack_avx2.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::yenc::avx2 {
namespace {

#define ZTK_YENC_TARGET ZTK_AVX2
using V = simd::avx2::ByteLanes;
#include "codecs/yenc/blocks.inc"
#undef ZTK_YENC_TARGET

using simd::avx2_pack::pack16;

// A count of blocks with no escape, less kEscapeCost for each block with
// escapes (up to kCleanCap, down to 0): from kCleanRun on, a block with no
// escape is stored as it is before anything else is tried. In an article (an
// escape in 64 bytes or so) the count stays low, and the test would cost
// mispredictions; text and random bytes (an escape in 256) keep it high.
constexpr unsigned kCleanRun = 8, kCleanCap = 64, kEscapeCost = 2;

// A block with up to two escapes is written from the input three times over:
// the block, then the input from after the first escape at the first
// escape's place, then from after the second at the second's place (each
// store overwrites the tail of the one before). Those reads reach this many
// bytes past the block's start.
constexpr size_t kSegmentReach = 130;

// Bytes from `from` decoded to `to`, the first of them as an escaped one.
ZTK_AVX2 inline void segment(const uint8_t *from, uint8_t *to, __m256i offset) {
  V::store(to, _mm256_add_epi8(V::load(from), offset));
  V::store(to + 32, _mm256_add_epi8(V::load(from + 32), offset));
  *to = static_cast<uint8_t>(*from - (kEscapeOffset + kOffset));
}

// 64 bytes at a time. An article's blocks (up to two escapes in nine of ten)
// are written by segments with no branch on where the escapes are; blocks
// with more escapes have every byte decoded, the bytes after escapes given
// the escape's offset too (the escape lanes moved up by one, across the two
// halves), and the escapes packed away. The output never runs ahead of the
// input, so every store stays within the room the input's size gives.
ZTK_AVX2 size_t decode_packed(ByteView in, size_t i, uint8_t *&out) {
  const __m256i escape = V::set1(kEscape), offset = V::set1(static_cast<uint8_t>(-kOffset));
  const __m256i more = V::set1(static_cast<uint8_t>(-kEscapeOffset));
  const uint8_t *p = in.data + i, *const end = in.data + in.size;
  uint8_t *o = out;
  // Clean to begin with: a short call of text or random bytes (a few
  // blocks) then stores its blocks as they are.
  unsigned clean = kCleanRun;
  while (end - p >= 64) {
    const __m256i v0 = V::load(p), v1 = V::load(p + 32);
    const __m256i e0 = _mm256_cmpeq_epi8(v0, escape), e1 = _mm256_cmpeq_epi8(v1, escape);
    const uint64_t m = static_cast<uint32_t>(_mm256_movemask_epi8(e0)) |
                       uint64_t{static_cast<uint32_t>(_mm256_movemask_epi8(e1))} << 32;
    if (clean >= kCleanRun && m == 0) {
      V::store(o, _mm256_add_epi8(v0, offset));
      V::store(o + 32, _mm256_add_epi8(v1, offset));
      p += 64;
      o += 64;
      clean += clean < kCleanCap;
      continue;
    }
    // No branch: an article mixes both kinds of block.
    const unsigned less = clean >= kEscapeCost ? clean - kEscapeCost : 0;
    clean = m == 0 ? clean + 1 : less;
    // "==" is an escaped "=", not two escapes, and an escape in the last
    // lane takes its byte from the next block: such blocks go one escape at
    // a time. Every other block moves the input on by 64 bytes, so the next
    // block's reads never wait for this one's escapes.
    const bool step = ((m & (m << 1)) | (m >> 63)) != 0;
    const uint64_t rest = m & (m - 1);  // the escapes after the first
    if (!step && (rest & (rest - 1)) == 0 && end - p >= static_cast<ptrdiff_t>(kSegmentReach)) {
      V::store(o, _mm256_add_epi8(v0, offset));
      V::store(o + 32, _mm256_add_epi8(v1, offset));
      // A missing escape's segment lands past the block's output (64 bytes
      // with no escape, 63 with one), where the next block overwrites it.
      const size_t first = m != 0 ? static_cast<size_t>(__builtin_ctzll(m)) : 64;
      const size_t second = rest != 0 ? static_cast<size_t>(__builtin_ctzll(rest)) - 1 : 64;
      segment(p + first + 1, o + first, offset);
      segment(p + second + 2, o + second, offset);
      p += 64;
      o += 64 - static_cast<size_t>(m != 0) - static_cast<size_t>(rest != 0);
      continue;
    }
    if (step) {
      V::store(o, _mm256_add_epi8(v0, offset));
      V::store(o + 32, _mm256_add_epi8(v1, offset));
      const size_t first = static_cast<size_t>(__builtin_ctzll(m));
      p += first;
      o += first;
      if (p + 1 == end) {  // a final escape stands for nothing
        p = end;
        break;
      }
      *o++ = static_cast<uint8_t>(p[1] - (kEscapeOffset + kOffset));
      p += 2;
      continue;
    }
    // Each lane's neighbour below: the 16 bytes below a lane are the other
    // lane of its block or the upper lane of the block before.
    const __m256i after0 = _mm256_alignr_epi8(e0, _mm256_permute2x128_si256(e0, e0, 0x08), 15);
    const __m256i after1 = _mm256_alignr_epi8(e1, _mm256_permute2x128_si256(e1, e0, 0x03), 15);
    const __m256i t0 = _mm256_add_epi8(_mm256_add_epi8(v0, offset), _mm256_and_si256(after0, more));
    const __m256i t1 = _mm256_add_epi8(_mm256_add_epi8(v1, offset), _mm256_and_si256(after1, more));
    const uint64_t keep = ~m;
    o = pack16(_mm256_castsi256_si128(t0), keep & 0xFFFF, o);
    o = pack16(_mm256_extracti128_si256(t0, 1), keep >> 16 & 0xFFFF, o);
    o = pack16(_mm256_castsi256_si128(t1), keep >> 32 & 0xFFFF, o);
    o = pack16(_mm256_extracti128_si256(t1, 1), keep >> 48 & 0xFFFF, o);
    p += 64;
  }
  out = o;
  return static_cast<size_t>(p - in.data);
}

ZTK_AVX2 size_t decode(ByteView in, uint8_t *out) {
  uint8_t *o = out;
  size_t i = decode_packed(in, 0, o);
  i = decode_blocks(in, i, o);
  if (in.size - i >= 16) i = sse2::decode_blocks(in, i, o);
  return static_cast<size_t>(decode_from(in, i, o) - out);
}

// Short texts at the VBMI2 level: two dispatches to the byte scans' packing
// cost more than it saves there (16 against 9 ns at 20 bytes).
size_t decode_vbmi2(ByteView in, uint8_t *out) {
  if (in.size < kShortText) return decode(in, out);
  return scans::kKernels.decode(in, out);
}

}  // namespace

const Kernels kKernels = {decode};
const Kernels kVbmi2Kernels = {decode_vbmi2};

}  // namespace ztk::yenc::avx2
#endif  // ZTK_WIDE_VECTORS
