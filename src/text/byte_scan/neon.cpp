#include "text/byte_scan/levels.h"

#include <cstring>

#include "frame/lanes_neon.h"
#include "frame/simd.h"

#if ZTK_NEON
namespace ztk::scan::neon {
namespace {

#define ZTK_SCAN_TARGET
struct V : simd::neon::ByteLanes {
  static reg count_equal(reg lanes, reg v, reg b) { return vsubq_u8(lanes, vceqq_u8(v, b)); }
  static reg count_mask(reg lanes, mask m) { return vsubq_u8(lanes, m); }
  static uint64_t sum(reg lanes) { return vaddlvq_u8(lanes); }
};
#include "text/byte_scan/blocks.inc"
#undef ZTK_SCAN_TARGET

#include "text/byte_scan/narrow_entries.inc"

}  // namespace

const Kernels kKernels = {find, copy_until, count, count_needle, unescape};

}  // namespace ztk::scan::neon
#endif  // ZTK_NEON
