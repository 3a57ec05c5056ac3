#include "codecs/yenc/levels.h"
#include "text/byte_scan.h"

namespace ztk::yenc::scans {

const Kernels kKernels = {[](ByteView in, uint8_t *out) {
  return scan::unescape(in, kEscape, static_cast<uint8_t>(-kOffset), static_cast<uint8_t>(-kEscapeOffset), out);
}};

}  // namespace ztk::yenc::scans
