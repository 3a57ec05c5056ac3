#include "analysis/html_tags/levels.h"
#include "frame/dispatch.h"

namespace ztk::tags {

constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase)};

size_t strip_reference(ByteView in, ByteView replacement, uint8_t *out) {
  uint8_t *o = out;
  int64_t depth = 0;
  for (size_t i = 0; i < in.size; ++i) {
    const uint8_t c = in[i];
    if (c == '<') {
      ++depth;
    } else if (c == '>' && depth > 0) {
      --depth;
    } else if (depth == 0) {
      *o++ = c;
    } else {
      for (size_t k = 0; k < replacement.size; ++k) *o++ = replacement[k];
    }
  }
  return static_cast<size_t>(o - out);
}

}  // namespace ztk::tags
