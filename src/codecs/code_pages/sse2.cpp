#include "codecs/code_pages/levels.h"
#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_X86
namespace ztk::codepage::sse2 {

// The chunks and the widening with the unit scans of this level.
const Kernels kKernels = {
    [](const Table &table, U16View units, uint8_t *out) {
      return plain::encode_chunks(table, !identity_high(table), units, 0, 0, out, units::sse2::kKernels);
    },
    [](const Table &table, ByteView bytes, uint16_t *out) {
      plain::decode_from(table, bytes, 0, out, units::sse2::kKernels.widen);
    },
};

}  // namespace ztk::codepage::sse2
#endif  // ZTK_X86
