#include "codecs/quoted_printable/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::qp::avx512 {
namespace {

#define ZTK_QP_TARGET ZTK_AVX512
struct V {
  using reg = __m512i;
  static constexpr size_t kWidth = 64;
  static constexpr int kLaneBits = 1;
  ZTK_AVX512 static reg load(const uint8_t *p) { return _mm512_loadu_si512(p); }
  ZTK_AVX512 static void store(uint8_t *p, reg v) { _mm512_storeu_si512(p, v); }
  // "=", CR and LF.
  ZTK_AVX512 static uint64_t decoder_special(reg v) {
    return _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('=')) | _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('\r')) |
           _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('\n'));
  }
  // Every byte but space and the printable ones other than "=".
  ZTK_AVX512 static uint64_t encoder_special(reg v) {
    return _mm512_cmpgt_epu8_mask(_mm512_sub_epi8(v, _mm512_set1_epi8(' ')), _mm512_set1_epi8('~' - ' ')) |
           _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('='));
  }
};
#include "codecs/quoted_printable/blocks.inc"
#undef ZTK_QP_TARGET

}  // namespace

const Kernels kKernels = {encode_stretch<sse2::encode_blocks>, decode<sse2::decode_blocks>};

}  // namespace ztk::qp::avx512
#endif  // ZTK_WIDE_VECTORS
