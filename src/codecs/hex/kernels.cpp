#include "codecs/hex/levels.h"
#include "frame/dispatch.h"

namespace ztk::hex {

const Kernels &kernels() {
  static constexpr simd::Dispatch<Kernels> kLevels{&plain::kKernels,
                                                   ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels),
                                                   ZTK_ON_WIDE(&avx2::kKernels), ZTK_ON_WIDE(&avx512::kKernels),
                                                   nullptr};
  return kLevels();
}

void encode_reference(ByteView in, char *out) { plain::encode_from(in, 0, out); }
void decode_reference(ByteView digits, uint8_t *out) { plain::decode_from(digits, 0, out); }

}  // namespace ztk::hex
