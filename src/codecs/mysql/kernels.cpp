#include "codecs/mysql/levels.h"
#include "frame/dispatch.h"

namespace ztk::mysql {

// The 16-byte level; the wider ones fall back to it where the target has
// none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase)};

size_t unescape_reference(ByteView in, uint8_t *out) { return plain::kKernels.unescape(in, out); }

}  // namespace ztk::mysql
