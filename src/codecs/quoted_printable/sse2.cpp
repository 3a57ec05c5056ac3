#include "codecs/quoted_printable/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::qp::sse2 {
namespace {

#define ZTK_QP_TARGET
struct V {
  using reg = __m128i;
  static constexpr size_t kWidth = 16;
  static constexpr int kLaneBits = 1;
  // Its decoder's windows span two blocks: the masks' loop is paid once for
  // 32 bytes, which the two stores after each run of tokens cost less than.
  static constexpr size_t kDecoderWindowBlocks = 2;
  // Its encoder's windows span two blocks too: per 32 bytes of prose one
  // mask costs less than the block stored more after each token.
  static constexpr size_t kEncoderWindowBlocks = 2;
  static reg load(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
  static void store(uint8_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
  // "=", CR and LF.
  static uint64_t decoder_special(reg v) {
    const reg m = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('=')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\r'))),
                               _mm_cmpeq_epi8(v, _mm_set1_epi8('\n')));
    return static_cast<uint32_t>(_mm_movemask_epi8(m));
  }
  // The bytes the decoder's windows look at: "=" and every byte up to CR,
  // which costs less than CR and LF alone; the windows copy the other
  // control bytes as they are. 0x8D minus a byte, saturated, has its top bit
  // set exactly for the bytes up to CR, and the mask takes only top bits.
  static uint64_t decoder_candidates(reg v) {
    const reg low = _mm_subs_epu8(_mm_set1_epi8(static_cast<char>(0x80 + '\r')), v);
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('=')), low)));
  }
  // Every byte but space and the printable ones other than "=".
  // One signed comparison after adding 1 finds space and the printable ones
  // (DEL and the bytes above it wrap to the negative ones); inverting the
  // mask's bits after costs less than inverting the vector.
  static uint64_t encoder_special(reg v) {
    const reg inside = _mm_cmpgt_epi8(_mm_add_epi8(v, _mm_set1_epi8(1)), _mm_set1_epi8(' '));
    const reg literal = _mm_andnot_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('=')), inside);
    return static_cast<uint32_t>(_mm_movemask_epi8(literal)) ^ 0xFFFFu;
  }
};
using Wide = V;
#include "codecs/quoted_printable/blocks.inc"
#undef ZTK_QP_TARGET

}  // namespace

size_t decode_windows_until(ByteView in, size_t i, uint8_t *&o, size_t limit) {
  return decode_windows(in, i, o, limit);
}

const Kernels kKernels = {encode_stretch, decode};

}  // namespace ztk::qp::sse2
#endif  // ZTK_X86
