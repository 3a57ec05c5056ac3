#include "analysis/sql_boolean/levels.h"
#include "frame/dispatch.h"

namespace ztk::sql {

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx2::kKernels, kBase), ZTK_ON_WIDE(&avx2::kKernels, kBase)};

size_t find_event_reference(ByteView in, size_t from) { return plain::kKernels.find_event(in, from); }
void replace_booleans_reference(ByteView in, AsciiStringHandle &out) { plain::kKernels.replace_booleans(in, out); }

}  // namespace ztk::sql
