#include "codecs/mysql/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::mysql::avx2 {
namespace {

#define ZTK_MYSQL_TARGET ZTK_AVX2
struct V {
  using reg = __m256i;
  static constexpr int kLaneBits = 1;
  static constexpr size_t kWidth = 32;
  ZTK_AVX2 static reg set1(uint8_t b) { return _mm256_set1_epi8(static_cast<char>(b)); }
  ZTK_AVX2 static reg load(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
  ZTK_AVX2 static void store(uint8_t *p, reg v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
  ZTK_AVX2 static uint64_t equal_bits(reg v, reg b) {
    return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, b)));
  }
  ZTK_AVX2 static bool any_equal(reg a, reg c, reg b) {
    return !_mm256_testz_si256(_mm256_or_si256(_mm256_cmpeq_epi8(a, b), _mm256_cmpeq_epi8(c, b)),
                               _mm256_set1_epi8(-1));
  }
};
#include "codecs/mysql/blocks.inc"
#undef ZTK_MYSQL_TARGET

ZTK_AVX2 size_t unescape(ByteView in, uint8_t *out) {
  uint8_t *o = out;
  size_t i = unescape_blocks(in, 0, o);
  if (in.size - i >= 16) i = sse2::unescape_blocks(in, i, o);
  return static_cast<size_t>(unescape_from(in, i, o) - out);
}

}  // namespace

const Kernels kKernels = {unescape};

}  // namespace ztk::mysql::avx2
#endif  // ZTK_WIDE_VECTORS
