#include "analysis/sql_boolean/events.h"
#include "analysis/sql_boolean/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::sql::avx2 {
namespace {

struct Avx2 {
  ZTK_AVX2 static uint64_t mask(__m256i v) { return static_cast<uint32_t>(_mm256_movemask_epi8(v)); }
  ZTK_AVX2 static void add(const uint8_t *at, unsigned shift, LaneClasses &c) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at));
    const __m256i sep = _mm256_or_si256(
        _mm256_or_si256(_mm256_cmpgt_epi8(_mm256_set1_epi8(0x21), v),
                        _mm256_cmpeq_epi8(_mm256_or_si256(v, _mm256_set1_epi8(1)), _mm256_set1_epi8(')'))),
        _mm256_or_si256(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(',')), _mm256_cmpeq_epi8(v, _mm256_set1_epi8(';'))));
    const __m256i lower = _mm256_or_si256(v, _mm256_set1_epi8(0x20));
    c.single |= mask(_mm256_cmpeq_epi8(v, _mm256_set1_epi8('\''))) << shift;
    c.dbl |= mask(_mm256_cmpeq_epi8(v, _mm256_set1_epi8('"'))) << shift;
    c.separator |= mask(sep) << shift;
    c.starts |= mask(_mm256_or_si256(_mm256_cmpeq_epi8(lower, _mm256_set1_epi8('t')),
                                     _mm256_cmpeq_epi8(lower, _mm256_set1_epi8('f'))))
                << shift;
  }
  ZTK_AVX2 static LaneClasses classify(const uint8_t *at) {
    LaneClasses c;
    add(at, 0, c);
    add(at + 32, 32, c);
    return c;
  }
  // The lanes rewrite_marked tells apart, found with few instructions and
  // more lanes than needed, as the 16-byte level finds them (sse2.cpp).
  ZTK_AVX2 static __m256i load(const uint8_t *at) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at)); }
  ZTK_AVX2 static uint64_t mark(__m256i v, const uint8_t *at) {
    const __m256i before = load(at - 1);
    const __m256i letter = _mm256_cmpeq_epi8(_mm256_or_si256(v, _mm256_set1_epi8(0x32)), _mm256_set1_epi8(0x76));
    const __m256i start = _mm256_andnot_si256(_mm256_cmpgt_epi8(before, _mm256_set1_epi8(';')), letter);
    const __m256i quote = _mm256_cmpeq_epi8(_mm256_or_si256(v, _mm256_set1_epi8(5)), _mm256_set1_epi8(0x27));
    return mask(_mm256_or_si256(start, quote));
  }
  ZTK_AVX2 static uint64_t marks(const uint8_t *at) { return mark(load(at), at) | mark(load(at + 32), at + 32) << 32; }
  // The marks, with the 64 bytes stored at `to` once they are read.
  ZTK_AVX2 static uint64_t marks_stored(const uint8_t *at, uint8_t *to) {
    const __m256i v0 = load(at), v1 = load(at + 32);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to), v0);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to + 32), v1);
    return mark(v0, at) | mark(v1, at + 32) << 32;
  }
  [[gnu::noinline]] ZTK_AVX2 static void rewrite_in_place(InPlace &s) { sql::rewrite_in_place<Avx2>(s); }
};

ZTK_AVX2 size_t find_event(ByteView in, size_t from) { return EventCursor<Avx2>(in).next(from, 0); }

ZTK_AVX2 void replace_booleans(ByteView in, AsciiStringHandle &out) { rewrite_marked<Avx2>(in, out); }

}  // namespace

const Kernels kKernels = {find_event, replace_booleans};

}  // namespace ztk::sql::avx2
#endif  // ZTK_WIDE_VECTORS
