#include "codecs/mysql/levels.h"
#include "frame/lanes_avx2.h"
#include "frame/lanes_avx512.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::mysql::avx512 {
namespace {

#define ZTK_MYSQL_TARGET ZTK_AVX512
using V = simd::avx512::ByteLanes;
// Near a backslash, 32 bytes: a block read right after an escape starts at
// any byte, and 64 bytes from there always span two cache lines, where 32
// do about half the time (dump rows at 1 MiB measured 2-3% faster so, with
// clean runs still taken 128 bytes at a time).
using N = simd::avx2::ByteLanes;
#include "codecs/mysql/blocks.inc"
#undef ZTK_MYSQL_TARGET

ZTK_AVX512 size_t unescape(ByteView in, uint8_t *out) {
  uint8_t *o = out;
  size_t i = unescape_blocks(in, 0, o);
  if (in.size - i >= 16) i = sse2::unescape_blocks(in, i, o);
  return static_cast<size_t>(unescape_from(in, i, o) - out);
}

}  // namespace

const Kernels kKernels = {unescape};

}  // namespace ztk::mysql::avx512
#endif  // ZTK_WIDE_VECTORS
