#include "analysis/sql_boolean/events.h"
#include "analysis/sql_boolean/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::sql::sse2 {
namespace {

struct Sse2 {
  static uint64_t mask(__m128i v) { return static_cast<uint32_t>(_mm_movemask_epi8(v)); }
  static void add(const uint8_t *at, unsigned shift, LaneClasses &c) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
    // Separators: below 0x21 as signed bytes, and ( ) , ; -- "(" | 1 is ")".
    const __m128i sep = _mm_or_si128(
        _mm_or_si128(_mm_cmplt_epi8(v, _mm_set1_epi8(0x21)),
                     _mm_cmpeq_epi8(_mm_or_si128(v, _mm_set1_epi8(1)), _mm_set1_epi8(')'))),
        _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(',')), _mm_cmpeq_epi8(v, _mm_set1_epi8(';'))));
    const __m128i lower = _mm_or_si128(v, _mm_set1_epi8(0x20));
    c.single |= mask(_mm_cmpeq_epi8(v, _mm_set1_epi8('\''))) << shift;
    c.dbl |= mask(_mm_cmpeq_epi8(v, _mm_set1_epi8('"'))) << shift;
    c.separator |= mask(sep) << shift;
    c.starts |= mask(_mm_or_si128(_mm_cmpeq_epi8(lower, _mm_set1_epi8('t')), _mm_cmpeq_epi8(lower, _mm_set1_epi8('f'))))
                << shift;
  }
  static LaneClasses classify(const uint8_t *at) {
    LaneClasses c;
    for (unsigned k = 0; k < 64; k += 16) add(at + k, k, c);
    return c;
  }
  // The lanes of 16 bytes that rewrite_marked tells apart, found with few
  // instructions and more lanes than needed: quotes (with # and &, as
  // byte | 5 is the same for the four), and t or f (with d and v, as byte |
  // 0x32 is the same for the eight in either case) after a byte that may
  // separate (below '<' as a signed byte: every separator, and some
  // punctuation and digits).
  static __m128i load(const uint8_t *at) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(at)); }
  static void store(uint8_t *to, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(to), v); }
  static uint64_t mark(const uint8_t *at) { return mark(load(at), at); }
  static uint64_t mark(__m128i v, const uint8_t *at) {
    const __m128i before = load(at - 1);
    const __m128i letter = _mm_cmpeq_epi8(_mm_or_si128(v, _mm_set1_epi8(0x32)), _mm_set1_epi8(0x76));
    const __m128i start = _mm_andnot_si128(_mm_cmpgt_epi8(before, _mm_set1_epi8(';')), letter);
    const __m128i quote = _mm_cmpeq_epi8(_mm_or_si128(v, _mm_set1_epi8(5)), _mm_set1_epi8(0x27));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_or_si128(start, quote)));
  }
  static uint64_t marks(const uint8_t *at) {
    return mark(at) | mark(at + 16) << 16 | mark(at + 32) << 32 | mark(at + 48) << 48;
  }
  // The marks, with the 64 bytes stored at `to` once they are read.
  static uint64_t marks_stored(const uint8_t *at, uint8_t *to) {
    const __m128i v0 = load(at), v1 = load(at + 16), v2 = load(at + 32), v3 = load(at + 48);
    store(to, v0);
    store(to + 16, v1);
    store(to + 32, v2);
    store(to + 48, v3);
    return mark(v0, at) | mark(v1, at + 16) << 16 | mark(v2, at + 32) << 32 | mark(v3, at + 48) << 48;
  }
  [[gnu::noinline]] static void rewrite_in_place(InPlace &s) { sql::rewrite_in_place<Sse2>(s); }
};

}  // namespace

const Kernels kKernels = {
    [](ByteView in, size_t from) { return EventCursor<Sse2>(in).next(from, 0); },
    [](ByteView in, AsciiStringHandle &out) { rewrite_marked<Sse2>(in, out); },
};

}  // namespace ztk::sql::sse2
#endif  // ZTK_X86
