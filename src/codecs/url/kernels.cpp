#include "codecs/url/levels.h"
#include "frame/dispatch.h"

namespace ztk::url {

constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, &plain::kKernels, &plain::kKernels, &plain::kKernels,
                                            ZTK_ON_WIDE(&vbmi2::kKernels, &plain::kKernels)};

size_t encode_reference(ByteView in, int64_t options, char *out) { return plain::kKernels.encode(in, options, out); }
size_t decode_reference(ByteView in, int64_t options, uint8_t *out) { return plain::decode(in, options, out); }

}  // namespace ztk::url
