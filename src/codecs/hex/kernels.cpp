#include "codecs/hex/levels.h"
#include "frame/dispatch.h"

namespace ztk::hex {

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase), ZTK_ON_WIDE(&avx512::kKernels, kBase)};

void encode_reference(ByteView in, char *out) { plain::encode_from(in, 0, out); }
void decode_reference(ByteView digits, uint8_t *out) { plain::decode_from(digits, 0, out); }

}  // namespace ztk::hex
