#include "codecs/url/levels.h"
#include "frame/dispatch.h"

namespace ztk::url {

const Kernels &kernels() {
  static constexpr simd::Dispatch<Kernels> kLevels{&plain::kKernels, nullptr, nullptr, nullptr,
                                                   ZTK_ON_WIDE(&vbmi2::kKernels)};
  return kLevels();
}

size_t encode_reference(ByteView in, int64_t options, char *out) { return plain::kKernels.encode(in, options, out); }
size_t decode_reference(ByteView in, int64_t options, uint8_t *out) { return plain::decode(in, options, out); }

}  // namespace ztk::url
