#include "binary/hex_dump/levels.h"
#include "frame/dispatch.h"

namespace ztk::hexdump {

// AVX2 takes the 16-byte level: the digits are a small part of a dump, and
// its lines have no vector form there.
const Kernels &kernels() {
  static constexpr simd::Dispatch<Kernels> kLevels{&plain::kKernels,
                                                   ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels), nullptr,
                                                   ZTK_ON_WIDE(&avx512::kKernels), ZTK_ON_WIDE(&vbmi2::kKernels)};
  return kLevels();
}

void digits_reference(ByteView in, char *out) { plain::digits_from(in, 0, out); }
size_t lines_reference(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  return plain::lines(hex, digits, layout, out);
}

}  // namespace ztk::hexdump
