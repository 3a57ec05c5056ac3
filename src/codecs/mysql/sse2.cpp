#include "codecs/mysql/levels.h"
#include "frame/lanes_sse2.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::mysql::sse2 {

#define ZTK_MYSQL_TARGET
using V = simd::sse2::ByteLanes;
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
