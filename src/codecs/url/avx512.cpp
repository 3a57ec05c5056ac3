#include <cstring>

#include "codecs/url/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::url::avx512 {
namespace {

#define ZTK_URL_TARGET ZTK_AVX512
struct V {
  using reg = __m512i;
  using mask = __mmask64;
  static constexpr size_t kWidth = 64;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = ~uint64_t{0};
  ZTK_AVX512 static reg set1(uint8_t b) { return _mm512_set1_epi8(static_cast<char>(b)); }
  ZTK_AVX512 static reg load(const uint8_t *p) { return _mm512_loadu_si512(p); }
  ZTK_AVX512 static void store(uint8_t *p, reg v) { _mm512_storeu_si512(p, v); }
  ZTK_AVX512 static reg either_bits(reg a, reg b) { return _mm512_or_si512(a, b); }
  ZTK_AVX512 static mask in_range(reg v, reg first, reg span) {
    return _mm512_cmple_epu8_mask(_mm512_sub_epi8(v, first), span);
  }
  ZTK_AVX512 static mask either(mask a, mask b) { return a | b; }
  ZTK_AVX512 static mask but(mask a, mask b) { return a & ~b; }
  ZTK_AVX512 static mask equal(reg a, reg b) { return _mm512_cmpeq_epi8_mask(a, b); }
  ZTK_AVX512 static uint64_t bits(mask m) { return m; }
};
#include "codecs/url/blocks.inc"
#undef ZTK_URL_TARGET

ZTK_AVX512 size_t encode(ByteView in, int64_t options, char *out) {
  const int mode = static_cast<int>(options & 3);
  char *o = out;
  size_t i = encode_blocks(in, 0, mode, o);
  if (in.size - i > 16) i = sse2::encode_blocks(in, i, mode, o);
  return static_cast<size_t>(o - out) + plain::encode_from(in, mode, i, o);
}

}  // namespace

ZTK_AVX512 size_t decode(ByteView in, int64_t options, uint8_t *out) {
  const bool plusIsSpace = (options & 1) != 0;
  uint8_t *o = out;
  size_t i = decode_blocks(in, 0, plusIsSpace, o);
  if (in.size - i >= 16) i = sse2::decode_blocks(in, i, plusIsSpace, o);
  return static_cast<size_t>(decode_from(in, i, plusIsSpace, o) - out);
}

const Kernels kKernels = {encode, decode};

}  // namespace ztk::url::avx512
#endif  // ZTK_WIDE_VECTORS
