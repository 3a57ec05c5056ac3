#include "codecs/quoted_printable/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::qp::avx2 {
namespace {

#define ZTK_QP_TARGET ZTK_AVX2
// The widest vectors.
struct Wide {
  using reg = __m256i;
  static constexpr size_t kWidth = 32;
  ZTK_AVX2 static reg load(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
  ZTK_AVX2 static void store(uint8_t *p, reg v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
  // "=", CR and LF.
  ZTK_AVX2 static uint64_t decoder_special(reg v) {
    const reg m = _mm256_or_si256(
        _mm256_or_si256(_mm256_cmpeq_epi8(v, _mm256_set1_epi8('=')), _mm256_cmpeq_epi8(v, _mm256_set1_epi8('\r'))),
        _mm256_cmpeq_epi8(v, _mm256_set1_epi8('\n')));
    return static_cast<uint32_t>(_mm256_movemask_epi8(m));
  }
  // Every byte but space and the printable ones other than "=".
  ZTK_AVX2 static uint64_t encoder_special(reg v) {
    const reg d = _mm256_sub_epi8(v, _mm256_set1_epi8(' '));
    const reg printable = _mm256_cmpeq_epi8(_mm256_min_epu8(d, _mm256_set1_epi8('~' - ' ')), d);
    const reg literal = _mm256_andnot_si256(_mm256_cmpeq_epi8(v, _mm256_set1_epi8('=')), printable);
    return static_cast<uint32_t>(_mm256_movemask_epi8(literal)) ^ 0xFFFFFFFFu;
  }
};
// The 16-byte blocks, in this level's encoding.
struct V {
  using reg = __m128i;
  static constexpr size_t kWidth = 16;
  static constexpr int kLaneBits = 1;
  // Its decoder is decode_wide, which takes the 16-byte level's windows
  // for mail; these windows serve only the last bytes.
  static constexpr size_t kDecoderWindowBlocks = 1;
  // Its encoder's windows span two blocks, as at the 16-byte level: CR LF
  // prose and random bytes 10-16% faster at 1 MiB than with one.
  static constexpr size_t kEncoderWindowBlocks = 2;
  ZTK_AVX2 static reg load(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
  ZTK_AVX2 static void store(uint8_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
  // "=", CR and LF.
  ZTK_AVX2 static uint64_t decoder_special(reg v) {
    const reg m = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('=')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\r'))),
                               _mm_cmpeq_epi8(v, _mm_set1_epi8('\n')));
    return static_cast<uint32_t>(_mm_movemask_epi8(m));
  }
  // The bytes the decoder's windows look at: those it treats, exactly.
  ZTK_AVX2 static uint64_t decoder_candidates(reg v) { return decoder_special(v); }
  // Every byte but space and the printable ones other than "=".
  ZTK_AVX2 static uint64_t encoder_special(reg v) {
    const reg d = _mm_sub_epi8(v, _mm_set1_epi8(' '));
    const reg printable = _mm_cmpeq_epi8(_mm_min_epu8(d, _mm_set1_epi8('~' - ' ')), d);
    const reg literal = _mm_andnot_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('=')), printable);
    return static_cast<uint32_t>(_mm_movemask_epi8(literal)) ^ 0xFFFFu;
  }
};
#include "codecs/quoted_printable/blocks.inc"
#undef ZTK_QP_TARGET

// Where escapes and line ends are dense the decoder handles a 32-byte block
// whole, without a branch per token: each lane's escape value is computed from
// the two bytes after it, escapes and hard line ends take their output byte
// in place, and the lanes a token consumes are dropped by byte shuffles, eight
// lanes at a time. Blocks with a rarer token (an "=" followed by white space
// or by an invalid pair, or LF CR) go to the scalar steps.

// For each 8-bit mask of lanes kept: their indexes, in order, and how many.
struct Compaction {
  uint8_t low[256][8];   // lanes 0 to 7
  uint8_t high[256][8];  // lanes 8 to 15
  uint8_t count[256];
};
constexpr Compaction kCompaction = [] {
  Compaction c{};
  for (int keep = 0; keep < 256; ++keep) {
    int n = 0;
    for (int lane = 0; lane < 8; ++lane) {
      if ((keep >> lane & 1) != 0) {
        c.low[keep][n] = static_cast<uint8_t>(lane);
        c.high[keep][n] = static_cast<uint8_t>(lane + 8);
        ++n;
      }
    }
    for (int k = n; k < 8; ++k) c.low[keep][k] = c.high[keep][k] = 0x80;
    c.count[keep] = static_cast<uint8_t>(n);
  }
  return c;
}();

// Hex digits by their nibbles, three lookups that share the high nibble: a
// byte is a digit when the classes of its two nibbles share a bit (bit 0
// "0"-"9", bit 1 "A"-"F" and "a"-"f"; a byte from 0x80 up reads 0 from the
// low table), and a digit's value is its low nibble plus 9 for a letter.
// Fewer constants than ranges tested by compares, so that the block's
// values stay in registers.
struct HexNibbles {
  __m256i lowClass, highClass, letterAdd, nibble;
};
ZTK_AVX2 inline HexNibbles hex_nibbles() {
  const __m256i lowClass = _mm256_setr_epi8(1, 3, 3, 3, 3, 3, 3, 1, 1, 1, 0, 0, 0, 0, 0, 0,  //
                                            1, 3, 3, 3, 3, 3, 3, 1, 1, 1, 0, 0, 0, 0, 0, 0);
  const __m256i highClass = _mm256_setr_epi8(0, 0, 0, 1, 2, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                             0, 0, 0, 1, 2, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256i letterAdd = _mm256_setr_epi8(0, 0, 0, 0, 9, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                             0, 0, 0, 0, 9, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0);
  return {lowClass, highClass, letterAdd, _mm256_set1_epi8(0x0F)};
}

// The values of 32 hex digit bytes (anything elsewhere), and the lanes that
// are not digits.
ZTK_AVX2 inline __m256i hex_values(__m256i v, const HexNibbles &h, __m256i &notHex) {
  const __m256i high = _mm256_and_si256(_mm256_srli_epi16(v, 4), h.nibble);
  const __m256i cls = _mm256_and_si256(_mm256_shuffle_epi8(h.lowClass, v), _mm256_shuffle_epi8(h.highClass, high));
  notHex = _mm256_cmpeq_epi8(cls, _mm256_setzero_si256());
  return _mm256_add_epi8(_mm256_and_si256(v, h.nibble), _mm256_shuffle_epi8(h.letterAdd, high));
}

struct alignas(32) Splats {
  uint8_t equals[32], cr[32], lf[32];
};
constexpr Splats kSplats = [] {
  Splats s{};
  for (int j = 0; j < 32; ++j) {
    s.equals[j] = '=';
    s.cr[j] = '\r';
    s.lf[j] = '\n';
  }
  return s;
}();
ZTK_AVX2 inline __m256i splat(const uint8_t (&bytes)[32]) {
  return _mm256_load_si256(reinterpret_cast<const __m256i *>(bytes));
}

ZTK_AVX2 inline uint64_t bits(__m256i m) { return static_cast<uint32_t>(_mm256_movemask_epi8(m)); }

// Writes the kept lanes of 16 bytes, eight at a time; returns the new end.
ZTK_AVX2 inline uint8_t *compact(__m128i bytes, unsigned keep, uint8_t *o) {
  const unsigned keepLow = keep & 0xFF, keepHigh = keep >> 8 & 0xFF;
  const __m128i lowLanes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(kCompaction.low[keepLow]));
  const __m128i highLanes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(kCompaction.high[keepHigh]));
  _mm_storel_epi64(reinterpret_cast<__m128i *>(o), _mm_shuffle_epi8(bytes, lowLanes));
  o += kCompaction.count[keepLow];
  _mm_storel_epi64(reinterpret_cast<__m128i *>(o), _mm_shuffle_epi8(bytes, highLanes));
  return o + kCompaction.count[keepHigh];
}

// The 16-byte blocks and the plain loop, for what the 32-byte blocks leave
// and for short inputs, which then do not set up the wide constants.
ZTK_AVX2 size_t decode_rest(ByteView in, size_t i, uint8_t *o, uint8_t *out) {
  i = decode_blocks(in, i, o);
  plain::decode_from(in, i, o);
  return static_cast<size_t>(o - out);
}

// The blocks from i while one starts before `limit`; returns where they
// stopped, past the tokens of the last one.
ZTK_AVX2 size_t dense_blocks(ByteView in, size_t i, uint8_t *&out, size_t limit) {
  uint8_t *o = out;
  // The lanes at the block's start that the last block's tokens consumed
  // (bit 0, or bits 0 and 1). Blocks step by 32 whatever their tokens, so
  // that the next load does not wait for this block's masks.
  uint64_t carried = 0;
  const HexNibbles hex = hex_nibbles();
  // Opaque to the compiler, which would otherwise broadcast the bytes it
  // knows.
  const Splats *splats = &kSplats;
  ZTK_IN_GENERAL_REGISTER(splats);
  // A scalar step may look two bytes past a 16-byte block two lanes on.
  // One bound: a block and the four bytes its tokens may read after it.
  const size_t stop = in.size >= 36 ? std::min(limit, in.size - 35) : 0;
  while (i < stop) {
    // Read from memory in the loop: the rare tokens' calls leave no vector
    // register as it was, and a byte broadcast again costs three
    // instructions where a compare with memory costs none.
    const __m256i equals = splat(splats->equals), cr = splat(splats->cr), lf = splat(splats->lf);
    const __m256i v0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in.data + i));
    const __m256i eq = _mm256_cmpeq_epi8(v0, equals), cr0 = _mm256_cmpeq_epi8(v0, cr), lf0 = _mm256_cmpeq_epi8(v0, lf);
    const __m256i lineEnd0 = _mm256_or_si256(cr0, lf0);
    const uint64_t special = bits(_mm256_or_si256(eq, lineEnd0)) & ~carried;
    if ((special | carried) == 0) {
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(o), v0);
      i += 32;
      o += 32;
      decode_clean_run(in, i, o);
      continue;
    }
    const __m256i v1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in.data + i + 1));
    const __m256i v2 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in.data + i + 2));
    const __m256i cr1 = _mm256_cmpeq_epi8(v1, cr), lf1 = _mm256_cmpeq_epi8(v1, lf);
    __m256i notHex1, notHex2;
    const __m256i high = hex_values(v1, hex, notHex1), low = hex_values(v2, hex, notHex2);
    const uint64_t escapes = bits(_mm256_andnot_si256(_mm256_or_si256(notHex1, notHex2), eq));
    const uint64_t softBreaks = bits(_mm256_and_si256(eq, _mm256_or_si256(cr1, lf1)));
    const uint64_t pairs = bits(_mm256_and_si256(cr0, lf1)) & ~carried;  // CR LF: the LF goes with the CR
    const uint64_t rare = (bits(eq) & ~(escapes | softBreaks)) | (bits(_mm256_and_si256(lf0, cr1)) & ~carried);
    if (rare != 0) {
      // From the first byte no token consumed: a 16-byte block, then its
      // first token and those after it by the scalar steps.
      i += (carried & 1) + (carried >> 1);
      carried = 0;
      const V::reg v = V::load(in.data + i);
      V::store(o, v);
      const uint64_t m = V::decoder_special(v);
      if (m == 0) {
        i += V::kWidth;
        o += V::kWidth;
        continue;
      }
      const size_t n = first_lane(m);
      i += n;
      o += n;
      decode_tokens(in, i, o);
      continue;
    }
    // Escapes take their value, line ends LF; the lanes tokens consume go,
    // up to two past the block.
    // A soft break in the last lane takes its line end's partner too, two
    // past the block.
    const uint64_t lastPartner = (softBreaks >> 31) & static_cast<uint64_t>((in[i + 32] ^ in[i + 33]) == kPartnerBits);
    const uint64_t dropped = escapes << 1 | escapes << 2 | softBreaks | softBreaks << 1 | pairs << 1 | lastPartner << 33;
    const unsigned keep = static_cast<unsigned>(~(dropped | carried));
    const __m256i values = _mm256_or_si256(_mm256_slli_epi16(high, 4), low);
    __m256i bytes = _mm256_blendv_epi8(v0, values, eq);
    bytes = _mm256_blendv_epi8(bytes, lf, lineEnd0);
    o = compact(_mm256_castsi256_si128(bytes), keep & 0xFFFF, o);
    o = compact(_mm256_extracti128_si256(bytes, 1), keep >> 16, o);
    carried = dropped >> 32;
    i += 32;
  }
  out = o;
  return i + (carried & 1) + (carried >> 1);
}

// Input is taken in stretches of kStretch bytes, each by the decoder that
// suits the one before: the 16-byte level's windows where about one byte in
// six went in tokens (mail: escapes, soft breaks, CR LF; 17% at 1 MiB, where
// they decode 1.2x as fast), the blocks above elsewhere (text, random bytes,
// escapes alone, and any input's first stretch). What a stretch saved is a
// property of the text, the same whichever decoder took it.
constexpr size_t kStretch = 16384;
constexpr bool mail_like(size_t read, size_t saved) { return saved * 32 >= read && saved * 8 <= read * 3; }

}  // namespace

ZTK_AVX2 size_t decode_wide(ByteView in, uint8_t *out) {
  if (in.size < 36) return decode_rest(in, 0, out, out);
  uint8_t *o = out;
  size_t i = 0;
  bool windows = false;
  while (in.size - i > kStretch) {
    const size_t from = i;
    uint8_t *const was = o;
    i = windows ? sse2::decode_windows_until(in, i, o, i + kStretch) : dense_blocks(in, i, o, i + kStretch);
    if (i == from) break;
    windows = mail_like(i - from, (i - from) - static_cast<size_t>(o - was));
  }
  i = dense_blocks(in, i, o, in.size);
  return decode_rest(in, i, o, out);
}

const Kernels kKernels = {encode_stretch, decode_wide};

}  // namespace ztk::qp::avx2
#endif  // ZTK_WIDE_VECTORS
