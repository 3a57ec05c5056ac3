#include "analysis/distances/levels.h"
#include "frame/dispatch.h"

namespace ztk::distance {

const Kernels &kernels() {
  static constexpr simd::Dispatch<Kernels> kLevels{&plain::kKernels,
                                                   ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels),
                                                   ZTK_ON_WIDE(&avx2::kKernels), ZTK_ON_WIDE(&avx512::kKernels),
                                                   nullptr};
  return kLevels();
}

std::optional<double> jaro_winkler_reference(U32View a, U32View b, int64_t *failedBytes) {
  return plain::kKernels.jaro_winkler(a, b, failedBytes);
}
std::optional<double> levenshtein_reference(U32View a, U32View b, int64_t *failedBytes) {
  return plain::kKernels.levenshtein(a, b, failedBytes);
}

}  // namespace ztk::distance
