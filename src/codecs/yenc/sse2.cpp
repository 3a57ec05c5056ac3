#include "codecs/yenc/levels.h"
#include "frame/lanes_sse2.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::yenc::sse2 {

#define ZTK_YENC_TARGET
using V = simd::sse2::ByteLanes;
#include "codecs/yenc/blocks.inc"
#undef ZTK_YENC_TARGET

}  // namespace ztk::yenc::sse2
#endif  // ZTK_X86
