#include "codecs/mysql/levels.h"
#include "frame/dispatch.h"

namespace ztk::mysql {

// The 16-byte level; the wider ones fall back to it where the target has
// none. The AVX-512 levels take the AVX2 kernel: 64-byte blocks measured
// slower on every input with escapes (dump rows 19%, random bytes 29%, at
// 1 MiB), where an escape every 150 bytes or so leaves few clean runs of 128.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx2::kKernels, kBase)};

size_t unescape_reference(ByteView in, uint8_t *out) { return plain::kKernels.unescape(in, out); }

}  // namespace ztk::mysql
