#include "codecs/mysql/levels.h"
#include "frame/lanes_avx2.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::mysql::avx2 {
namespace {

#define ZTK_MYSQL_TARGET ZTK_AVX2
using V = simd::avx2::ByteLanes;
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
