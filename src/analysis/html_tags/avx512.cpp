#include "analysis/html_tags/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::tags::avx512 {
namespace {

// The last block is read through a mask: no byte past the end is touched.
template <bool kFill, bool kBound>
ZTK_AVX512 size_t strip_as(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out,
                        uint8_t *outEnd, uint8_t *bound, size_t &at) {
  Walk<kFill, kBound> w(in, from, filler, depth, out, outEnd, bound);
  const __m512i lt = _mm512_set1_epi8('<'), gt = _mm512_set1_epi8('>');
  size_t i = from;
  // Stretches of blocks that surely fit below the bound; a block that may
  // not goes run by run.
  for (size_t end = w.sure_end(i);; end = w.sure_end(i)) {
    for (; i + 64 <= end; i += 64) {
      const __m512i v = _mm512_loadu_si512(in.data + i);
      const uint64_t open = _mm512_cmpeq_epi8_mask(v, lt);
      if (w.depth == 0 && open == 0) {
        _mm512_storeu_si512(w.out, v);
        w.clean(i, 64);
        continue;
      }
      w.step(open, _mm512_cmpeq_epi8_mask(v, gt), i, 64);
    }
    if (i + 64 > in.size) break;
    if (w.fits_block()) continue;
    const __m512i v = _mm512_loadu_si512(in.data + i);
    if (!w.bounded(_mm512_cmpeq_epi8_mask(v, lt), _mm512_cmpeq_epi8_mask(v, gt), i, 64)) return w.stop(depth, at);
    i += 64;
  }
  if (i < in.size) {
    const size_t left = in.size - i;
    const __mmask64 live = (__mmask64{1} << left) - 1;
    const __m512i v = _mm512_maskz_loadu_epi8(live, in.data + i);
    const uint64_t open = _mm512_mask_cmpeq_epi8_mask(live, v, lt), close = _mm512_mask_cmpeq_epi8_mask(live, v, gt);
    if (w.fits(left)) {
      w.step(open, close, i, left);
    } else if (!w.bounded(open, close, i, left)) {
      return w.stop(depth, at);
    }
  }
  return w.finish(depth, at);
}

// The two forms apart, each with its own walk. Tags replaced by a text in a
// block or more go the AVX2 level's way: its 32-byte steps measured faster
// there (pages 5-14%, dense tags 8-10%, at 1 KiB and 1 MiB); shorter ones
// stay here, where the last block is read through a mask instead of a byte
// at a time. Tags removed alone are 2-7% faster in 64-byte blocks.
ZTK_AVX512 size_t strip(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out,
                        uint8_t *outEnd, uint8_t *bound, size_t &at) {
  if (filler.unit == 0) return strip_as<false, false>(in, from, filler, depth, out, outEnd, bound, at);
  if (in.size - from >= 64) return avx2::kKernels.strip(in, from, filler, depth, out, outEnd, bound, at);
  // The bound out of reach of the whole rest: the walk without its tests.
  if ((in.size - from) * filler.unit <= static_cast<size_t>(bound - out)) {
    return strip_as<true, false>(in, from, filler, depth, out, outEnd, bound, at);
  }
  return strip_as<true, true>(in, from, filler, depth, out, outEnd, bound, at);
}

}  // namespace

const Kernels kKernels = {strip};

}  // namespace ztk::tags::avx512
#endif  // ZTK_WIDE_VECTORS
