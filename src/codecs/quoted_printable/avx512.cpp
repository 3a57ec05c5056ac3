#include "codecs/quoted_printable/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::qp::avx512 {
namespace {

#define ZTK_QP_TARGET ZTK_AVX512
// The widest vectors.
struct Wide {
  using reg = __m512i;
  static constexpr size_t kWidth = 64;
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
// The 16-byte blocks, in this level's encoding.
struct V {
  using reg = __m128i;
  static constexpr size_t kWidth = 16;
  static constexpr int kLaneBits = 1;
  // Its decoder is decode_wide, which takes the 16-byte level's windows
  // for mail; these windows serve only the last bytes.
  static constexpr size_t kDecoderWindowBlocks = 1;
  // Its encoder's windows span two blocks, as at the 16-byte level: CR LF
  // prose and random bytes 10-16% faster at 1 MiB than with one.
  static constexpr size_t kEncoderWindowBlocks = 2;
  ZTK_AVX512 static reg load(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
  ZTK_AVX512 static void store(uint8_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
  // "=", CR and LF.
  ZTK_AVX512 static uint64_t decoder_special(reg v) {
    const reg m = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('=')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\r'))),
                               _mm_cmpeq_epi8(v, _mm_set1_epi8('\n')));
    return static_cast<uint32_t>(_mm_movemask_epi8(m));
  }
  // The bytes the decoder's windows look at: those it treats, exactly.
  ZTK_AVX512 static uint64_t decoder_candidates(reg v) { return decoder_special(v); }
  // Every byte but space and the printable ones other than "=".
  ZTK_AVX512 static uint64_t encoder_special(reg v) {
    const reg d = _mm_sub_epi8(v, _mm_set1_epi8(' '));
    const reg printable = _mm_cmpeq_epi8(_mm_min_epu8(d, _mm_set1_epi8('~' - ' ')), d);
    const reg literal = _mm_andnot_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('=')), printable);
    return static_cast<uint32_t>(_mm_movemask_epi8(literal)) ^ 0xFFFFu;
  }
};
#include "codecs/quoted_printable/blocks.inc"
#undef ZTK_QP_TARGET

}  // namespace

const Kernels kKernels = {encode_stretch, avx2::decode_wide};

}  // namespace ztk::qp::avx512
#endif  // ZTK_WIDE_VECTORS
