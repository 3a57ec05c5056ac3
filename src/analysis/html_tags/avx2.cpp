#include "analysis/html_tags/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::tags::avx2 {
namespace {

ZTK_AVX2 inline uint64_t bits_of(__m256i v) { return static_cast<uint32_t>(_mm256_movemask_epi8(v)); }

template <bool kFill, bool kBound>
ZTK_AVX2 size_t strip_as(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out,
                      uint8_t *outEnd, uint8_t *bound, size_t &at) {
  Walk<kFill, kBound> w(in, from, filler, depth, out, outEnd, bound);
  const __m256i lt = _mm256_set1_epi8('<'), gt = _mm256_set1_epi8('>');
  size_t i = from;
  // Stretches of blocks that surely fit below the bound; a block that may
  // not goes run by run.
  for (size_t end = w.sure_end(i);; end = w.sure_end(i)) {
    for (; i + 64 <= end; i += 64) {
      const auto *p = reinterpret_cast<const __m256i *>(in.data + i);
      const __m256i a = _mm256_loadu_si256(p), b = _mm256_loadu_si256(p + 1);
      const __m256i la = _mm256_cmpeq_epi8(a, lt), lb = _mm256_cmpeq_epi8(b, lt);
      const uint64_t open = bits_of(la) | bits_of(lb) << 32;
      if (w.depth == 0 && open == 0) {
        auto *o = reinterpret_cast<__m256i *>(w.out);
        _mm256_storeu_si256(o, a);
        _mm256_storeu_si256(o + 1, b);
        w.clean(i, 64);
        continue;
      }
      const uint64_t close = bits_of(_mm256_cmpeq_epi8(a, gt)) | bits_of(_mm256_cmpeq_epi8(b, gt)) << 32;
      w.step(open, close, i, 64);
    }
    if (i + 64 > in.size) break;
    if (w.fits_block()) continue;
    const auto *p = reinterpret_cast<const __m256i *>(in.data + i);
    const __m256i a = _mm256_loadu_si256(p), b = _mm256_loadu_si256(p + 1);
    const uint64_t open = bits_of(_mm256_cmpeq_epi8(a, lt)) | bits_of(_mm256_cmpeq_epi8(b, lt)) << 32;
    const uint64_t close = bits_of(_mm256_cmpeq_epi8(a, gt)) | bits_of(_mm256_cmpeq_epi8(b, gt)) << 32;
    if (!w.bounded(open, close, i, 64)) return w.stop(depth, at);
    i += 64;
  }
  if (i + 32 <= in.size) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in.data + i));
    const uint64_t open = bits_of(_mm256_cmpeq_epi8(a, lt)), close = bits_of(_mm256_cmpeq_epi8(a, gt));
    if (w.fits(32)) {
      w.step(open, close, i, 32);
    } else if (!w.bounded(open, close, i, 32)) {
      return w.stop(depth, at);
    }
    i += 32;
  }
  return plain::finish_from(w, i, depth, at);
}

// The two forms apart, each with its own walk.
ZTK_AVX2 size_t strip(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd,
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

}  // namespace ztk::tags::avx2
#endif  // ZTK_WIDE_VECTORS
