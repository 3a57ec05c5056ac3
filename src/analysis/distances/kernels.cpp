#include "analysis/distances/levels.h"
#include "frame/dispatch.h"

namespace ztk::distance {

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase), ZTK_ON_WIDE(&avx512::kKernels, kBase)};

std::optional<double> jaro_winkler_reference(U32View a, U32View b, int64_t *failedBytes) {
  return plain::kKernels.jaro_winkler(a, b, failedBytes);
}
std::optional<double> levenshtein_reference(U32View a, U32View b, int64_t *failedBytes) {
  return plain::kKernels.levenshtein(a, b, failedBytes);
}

}  // namespace ztk::distance
