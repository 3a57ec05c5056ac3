#include "binary/hex_dump/levels.h"
#include "frame/dispatch.h"

namespace ztk::hexdump {

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase), ZTK_ON_WIDE(&vbmi2::kKernels, kBase)};

void digits_reference(ByteView in, char *out) { plain::digits_from(in, 0, out); }
size_t lines_reference(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  return plain::lines(hex, digits, layout, out);
}

}  // namespace ztk::hexdump
