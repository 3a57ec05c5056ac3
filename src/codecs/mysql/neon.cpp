#include "codecs/mysql/levels.h"
#include "frame/lanes_neon.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::mysql::neon {
namespace {

#define ZTK_MYSQL_TARGET
using V = simd::neon::ByteLanes;
#include "codecs/mysql/blocks.inc"
#undef ZTK_MYSQL_TARGET

size_t unescape(ByteView in, uint8_t *out) {
  uint8_t *o = out;
  const size_t i = unescape_blocks(in, 0, o);
  return static_cast<size_t>(unescape_from(in, i, o) - out);
}

}  // namespace

const Kernels kKernels = {unescape};

}  // namespace ztk::mysql::neon
#endif  // ZTK_NEON
