#include "codecs/mysql/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::mysql::avx512 {
namespace {

#define ZTK_MYSQL_TARGET ZTK_AVX512
struct V {
  using reg = __m512i;
  static constexpr int kLaneBits = 1;
  static constexpr size_t kWidth = 64;
  ZTK_AVX512 static reg set1(uint8_t b) { return _mm512_set1_epi8(static_cast<char>(b)); }
  ZTK_AVX512 static reg load(const uint8_t *p) { return _mm512_loadu_si512(p); }
  ZTK_AVX512 static void store(uint8_t *p, reg v) { _mm512_storeu_si512(p, v); }
  ZTK_AVX512 static uint64_t equal_bits(reg v, reg b) { return _mm512_cmpeq_epi8_mask(v, b); }
  ZTK_AVX512 static bool any_equal(reg a, reg c, reg b) {
    return (_mm512_cmpeq_epi8_mask(a, b) | _mm512_cmpeq_epi8_mask(c, b)) != 0;
  }
};
#include "codecs/mysql/blocks.inc"
#undef ZTK_MYSQL_TARGET

ZTK_AVX512 size_t unescape(ByteView in, uint8_t *out) {
  uint8_t *o = out;
  size_t i = unescape_blocks(in, 0, o);
  if (in.size - i >= 16) i = sse2::unescape_blocks(in, i, o);
  return static_cast<size_t>(unescape_from(in, i, o) - out);
}

}  // namespace

const Kernels kKernels = {unescape};

}  // namespace ztk::mysql::avx512
#endif  // ZTK_WIDE_VECTORS
