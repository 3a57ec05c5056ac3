#include "analysis/html_tags/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::tags::sse2 {
namespace {

inline uint64_t bits_of(__m128i v, __m128i b) {
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, b)));
}

// Copies the whole blocks of 64 bytes from in + i that have no "<" to out,
// up to the first that has one; returns where it stopped. Plain text in a
// loop of its own: one mask of the four vectors' "<" together, and the
// stores from the loaded vectors.
[[gnu::noinline]] size_t copy_plain_blocks(const uint8_t *in, size_t i, size_t size, uint8_t *out) {
  const __m128i lt = _mm_set1_epi8('<');
  for (; i + 64 <= size; i += 64, out += 64) {
    const auto *p = reinterpret_cast<const __m128i *>(in + i);
    const __m128i a = _mm_loadu_si128(p), b = _mm_loadu_si128(p + 1);
    const __m128i c = _mm_loadu_si128(p + 2), d = _mm_loadu_si128(p + 3);
    const __m128i any = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(a, lt), _mm_cmpeq_epi8(b, lt)),
                                     _mm_or_si128(_mm_cmpeq_epi8(c, lt), _mm_cmpeq_epi8(d, lt)));
    if (_mm_movemask_epi8(any) != 0) break;
    auto *o = reinterpret_cast<__m128i *>(out);
    _mm_storeu_si128(o, a);
    _mm_storeu_si128(o + 1, b);
    _mm_storeu_si128(o + 2, c);
    _mm_storeu_si128(o + 3, d);
  }
  return i;
}

template <bool kFill, bool kBound>
size_t strip_as(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd,
                uint8_t *bound, size_t &at) {
  Walk<kFill, kBound> w(in, from, filler, depth, out, outEnd, bound);
  const __m128i lt = _mm_set1_epi8('<'), gt = _mm_set1_epi8('>');
  size_t i = from;
  if (depth == 0) {  // a text that starts plain (most of a plain text, or all of it) first
    // A byte of text writes one: with a filler, as many as the bound leaves room for.
    size_t end = in.size;
    if (kBound && static_cast<size_t>(bound - out) < in.size - i) end = i + static_cast<size_t>(bound - out);
    i = copy_plain_blocks(in.data, i, end, out);
    w.clean(from, i - from);
  }
  for (; i + 64 <= in.size; i += 64) {
    if constexpr (kFill) {
      const auto masks_of = [](const uint8_t *q, __m128i b) {
        const auto *v = reinterpret_cast<const __m128i *>(q);
        return bits_of(_mm_loadu_si128(v), b) | bits_of(_mm_loadu_si128(v + 1), b) << 16 |
               bits_of(_mm_loadu_si128(v + 2), b) << 32 | bits_of(_mm_loadu_si128(v + 3), b) << 48;
      };
      i = w.blocks(
          i, [&](const uint8_t *q) { return masks_of(q, lt); }, [&](const uint8_t *q) { return masks_of(q, gt); });
      if (i + 64 > in.size) break;
    }
    const auto *p = reinterpret_cast<const __m128i *>(in.data + i);
    const __m128i a = _mm_loadu_si128(p), b = _mm_loadu_si128(p + 1);
    const __m128i c = _mm_loadu_si128(p + 2), d = _mm_loadu_si128(p + 3);
    const uint64_t open = bits_of(a, lt) | bits_of(b, lt) << 16 | bits_of(c, lt) << 32 | bits_of(d, lt) << 48;
    if (!w.fits_block()) {
      const uint64_t close = bits_of(a, gt) | bits_of(b, gt) << 16 | bits_of(c, gt) << 32 | bits_of(d, gt) << 48;
      if (!w.bounded(open, close, i, 64)) return w.stop(depth, at);
      continue;
    }
    if (open == 0 && w.depth == 0) {
      auto *o = reinterpret_cast<__m128i *>(w.out);
      _mm_storeu_si128(o, a);
      _mm_storeu_si128(o + 1, b);
      _mm_storeu_si128(o + 2, c);
      _mm_storeu_si128(o + 3, d);
      w.clean(i, 64);
      continue;
    }
    const uint64_t close = bits_of(a, gt) | bits_of(b, gt) << 16 | bits_of(c, gt) << 32 | bits_of(d, gt) << 48;
    w.step(open, close, i, 64);
  }
  for (; i + 16 <= in.size; i += 16) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in.data + i));
    if (!w.fits(16)) {
      if (!w.bounded(bits_of(a, lt), bits_of(a, gt), i, 16)) return w.stop(depth, at);
      continue;
    }
    w.step(bits_of(a, lt), bits_of(a, gt), i, 16);
  }
  return plain::finish_from(w, i, depth, at);
}

// The two forms apart, each with its own walk.
size_t strip(ByteView in, size_t from, const Filler &filler, int64_t &depth, uint8_t *out, uint8_t *outEnd,
             uint8_t *bound, size_t &at) {
  // One walk with a filler, bound or not: here a second instance made the
  // compiler leave more of the walk out of line (pages with " " 0.08
  // instructions a byte more), where the bound's tests cost 0.02.
  if (filler.unit == 0) return strip_as<false, false>(in, from, filler, depth, out, outEnd, bound, at);
  return strip_as<true, true>(in, from, filler, depth, out, outEnd, bound, at);
}

}  // namespace

const Kernels kKernels = {strip};

}  // namespace ztk::tags::sse2
#endif  // ZTK_X86
