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
};

ZTK_AVX2 size_t find_event(ByteView in, size_t from) { return EventCursor<Avx2>(in).next(from, 0); }

ZTK_AVX2 void replace_booleans(ByteView in, AsciiStringHandle &out) { rewrite_blocks<Avx2>(in, out); }

}  // namespace

const Kernels kKernels = {find_event, replace_booleans};

}  // namespace ztk::sql::avx2
#endif  // ZTK_WIDE_VECTORS
