#include "analysis/sql_boolean/levels.h"
#include "frame/dispatch.h"

namespace ztk::sql {

const Kernels &kernels() {
  static constexpr simd::Dispatch<Kernels> kLevels{&plain::kKernels,
                                                   ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels),
                                                   ZTK_ON_WIDE(&avx2::kKernels), nullptr, nullptr};
  return kLevels();
}

size_t find_event_reference(ByteView in, size_t from) { return plain::kKernels.find_event(in, from); }
void replace_booleans_reference(ByteView in, AsciiStringHandle &out) { plain::kKernels.replace_booleans(in, out); }

}  // namespace ztk::sql
