#include "analysis/html_tags/levels.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::tags::neon {
namespace {

// One bit per byte of four compares (NEON has no byte mask move): each lane
// keeps its own bit weight, and three pairwise additions gather the 64 bits.
inline uint64_t bits_of(uint8x16_t a, uint8x16_t b, uint8x16_t c, uint8x16_t d) {
  static const uint8_t kWeights[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t w = vld1q_u8(kWeights);
  const uint8x16_t ab = vpaddq_u8(vandq_u8(a, w), vandq_u8(b, w));
  const uint8x16_t cd = vpaddq_u8(vandq_u8(c, w), vandq_u8(d, w));
  const uint8x16_t abcd = vpaddq_u8(ab, cd);
  return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(abcd, abcd)), 0);
}

template <bool kFill, bool kBound>
size_t strip_as(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd,
                uint8_t *bound, size_t &at) {
  Walk<kFill, kBound> w(in, from, filler, depth, out, outEnd, bound);
  const uint8x16_t lt = vdupq_n_u8('<'), gt = vdupq_n_u8('>');
  size_t i = from;
  // Stretches of blocks that surely fit below the bound; a block that may
  // not goes run by run.
  for (size_t end = w.sure_end(i);; end = w.sure_end(i)) {
    for (; i + 64 <= end; i += 64) {
      const uint8_t *p = in.data + i;
      const uint8x16_t a = vld1q_u8(p), b = vld1q_u8(p + 16), c = vld1q_u8(p + 32), d = vld1q_u8(p + 48);
      const uint8x16_t la = vceqq_u8(a, lt), lb = vceqq_u8(b, lt), lc = vceqq_u8(c, lt), ld = vceqq_u8(d, lt);
      const bool anyOpen = vmaxvq_u8(vorrq_u8(vorrq_u8(la, lb), vorrq_u8(lc, ld))) != 0;
      if (w.depth == 0 && !anyOpen) {
        vst1q_u8(w.out, a);
        vst1q_u8(w.out + 16, b);
        vst1q_u8(w.out + 32, c);
        vst1q_u8(w.out + 48, d);
        w.clean(i, 64);
        continue;
      }
      const uint64_t open = anyOpen ? bits_of(la, lb, lc, ld) : 0;
      const uint64_t close = bits_of(vceqq_u8(a, gt), vceqq_u8(b, gt), vceqq_u8(c, gt), vceqq_u8(d, gt));
      w.step(open, close, i, 64);
    }
    if (i + 64 > in.size) break;
    if (w.fits_block()) continue;
    const uint8_t *p = in.data + i;
    const uint8x16_t a = vld1q_u8(p), b = vld1q_u8(p + 16), c = vld1q_u8(p + 32), d = vld1q_u8(p + 48);
    const uint64_t open = bits_of(vceqq_u8(a, lt), vceqq_u8(b, lt), vceqq_u8(c, lt), vceqq_u8(d, lt));
    const uint64_t close = bits_of(vceqq_u8(a, gt), vceqq_u8(b, gt), vceqq_u8(c, gt), vceqq_u8(d, gt));
    if (!w.bounded(open, close, i, 64)) return w.stop(depth, at);
    i += 64;
  }
  // The last bytes a word at a time, so that no load passes the end.
  return plain::finish_from(w, i, depth, at);
}

// The two forms apart, each with its own walk.
size_t strip(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd,
             uint8_t *bound, size_t &at) {
  if (filler.unit == 0) return strip_as<false, false>(in, from, filler, depth, out, outEnd, bound, at);
  // The bound out of reach of the whole rest: the walk without its tests.
  if ((in.size - from) * filler.unit <= static_cast<size_t>(bound - out)) {
    return strip_as<true, false>(in, from, filler, depth, out, outEnd, bound, at);
  }
  return strip_as<true, true>(in, from, filler, depth, out, outEnd, bound, at);
}

}  // namespace

const Kernels kKernels = {strip};

}  // namespace ztk::tags::neon
#endif  // ZTK_NEON
