#include <cstring>

#include "codecs/url/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::url::avx2 {
namespace {

#define ZTK_URL_TARGET ZTK_AVX2
struct V {
  using reg = __m256i;
  using mask = __m256i;
  static constexpr size_t kWidth = 32;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = 0xFFFFFFFF;
  ZTK_AVX2 static reg set1(uint8_t b) { return _mm256_set1_epi8(static_cast<char>(b)); }
  ZTK_AVX2 static reg load(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
  ZTK_AVX2 static void store(uint8_t *p, reg v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
  ZTK_AVX2 static reg either_bits(reg a, reg b) { return _mm256_or_si256(a, b); }
  ZTK_AVX2 static mask in_range(reg v, reg first, reg span) {
    const reg d = _mm256_sub_epi8(v, first);
    return _mm256_cmpeq_epi8(_mm256_min_epu8(d, span), d);
  }
  ZTK_AVX2 static mask either(mask a, mask b) { return _mm256_or_si256(a, b); }
  ZTK_AVX2 static mask but(mask a, mask b) { return _mm256_andnot_si256(b, a); }
  ZTK_AVX2 static mask equal(reg a, reg b) { return _mm256_cmpeq_epi8(a, b); }
  ZTK_AVX2 static uint64_t bits(mask m) { return static_cast<uint32_t>(_mm256_movemask_epi8(m)); }
};
#include "codecs/url/blocks.inc"
#undef ZTK_URL_TARGET

ZTK_AVX2 size_t encode(ByteView in, int64_t options, char *out) {
  const int mode = static_cast<int>(options & 3);
  char *o = out;
  size_t i = encode_blocks(in, 0, mode, o);
  if (in.size - i > 16) i = sse2::encode_blocks(in, i, mode, o);
  return static_cast<size_t>(o - out) + plain::encode_from(in, mode, i, o);
}

ZTK_AVX2 size_t decode(ByteView in, int64_t options, uint8_t *out) {
  const bool plusIsSpace = (options & 1) != 0;
  uint8_t *o = out;
  size_t i = decode_blocks(in, 0, plusIsSpace, o);
  if (in.size - i >= 16) i = sse2::decode_blocks(in, i, plusIsSpace, o);
  return static_cast<size_t>(decode_from(in, i, plusIsSpace, o) - out);
}

}  // namespace

const Kernels kKernels = {encode, decode};

}  // namespace ztk::url::avx2
#endif  // ZTK_WIDE_VECTORS
