#include <cstring>

#include "codecs/url/levels.h"
#include "frame/lanes_sse2.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::url::sse2 {

#define ZTK_URL_TARGET
using V = simd::sse2::ByteLanes;
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
