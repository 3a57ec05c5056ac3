#include "codecs/mysql/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::mysql::sse2 {

#define ZTK_MYSQL_TARGET
struct V {
  using reg = __m128i;
  static constexpr int kLaneBits = 1;
  static constexpr size_t kWidth = 16;
  static reg set1(uint8_t b) { return _mm_set1_epi8(static_cast<char>(b)); }
  static reg load(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
  static void store(uint8_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
  static uint64_t equal_bits(reg v, reg b) { return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, b))); }
  static bool any_equal(reg a, reg c, reg b) {
    return _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(a, b), _mm_cmpeq_epi8(c, b))) != 0;
  }
};
#include "codecs/mysql/blocks.inc"
#undef ZTK_MYSQL_TARGET

namespace {
size_t unescape(ByteView in, uint8_t *out) {
  uint8_t *o = out;
  const size_t i = unescape_blocks(in, 0, o);
  return static_cast<size_t>(unescape_from(in, i, o) - out);
}
}  // namespace

const Kernels kKernels = {unescape};

}  // namespace ztk::mysql::sse2
#endif  // ZTK_X86
