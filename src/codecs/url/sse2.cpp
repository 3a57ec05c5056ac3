#include <cstring>

#include "codecs/url/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::url::sse2 {

#define ZTK_URL_TARGET
struct V {
  using reg = __m128i;
  using mask = __m128i;
  static constexpr size_t kWidth = 16;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = 0xFFFF;
  static reg set1(uint8_t b) { return _mm_set1_epi8(static_cast<char>(b)); }
  static reg load(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
  static void store(uint8_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
  static reg either_bits(reg a, reg b) { return _mm_or_si128(a, b); }
  // v - first, wrapped, is at most span exactly for the range's bytes.
  static mask in_range(reg v, reg first, reg span) {
    const reg d = _mm_sub_epi8(v, first);
    return _mm_cmpeq_epi8(_mm_min_epu8(d, span), d);
  }
  static mask either(mask a, mask b) { return _mm_or_si128(a, b); }
  static mask but(mask a, mask b) { return _mm_andnot_si128(b, a); }
  static mask equal(reg a, reg b) { return _mm_cmpeq_epi8(a, b); }
  static uint64_t bits(mask m) { return static_cast<uint32_t>(_mm_movemask_epi8(m)); }
};
#include "codecs/url/blocks.inc"
#undef ZTK_URL_TARGET

namespace {

size_t encode(ByteView in, int64_t options, char *out) {
  const int mode = static_cast<int>(options & 3);
  // Short texts: setting up the blocks would cost more than they save.
  if (in.size < kShortText) return plain::encode_from(in, mode, 0, out);
  char *o = out;
  const size_t i = encode_blocks(in, 0, mode, o);
  return static_cast<size_t>(o - out) + plain::encode_from(in, mode, i, o);
}

size_t decode(ByteView in, int64_t options, uint8_t *out) {
  const bool plusIsSpace = (options & 1) != 0;
  uint8_t *o = out;
  const size_t i = decode_blocks(in, 0, plusIsSpace, o);
  return static_cast<size_t>(decode_from(in, i, plusIsSpace, o) - out);
}

}  // namespace

const Kernels kKernels = {encode, decode};

}  // namespace ztk::url::sse2
#endif  // ZTK_X86
