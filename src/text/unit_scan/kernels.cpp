#include "frame/dispatch.h"
#include "text/unit_scan/levels.h"

namespace ztk::units {

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase), ZTK_ON_WIDE(&avx512::kKernels, kBase)};

size_t find_reference(U16View units, size_t from, const UnitSet &set) { return plain::find_from(units, from, set); }
void mark_reference(U16View units, const UnitSet &set, uint64_t *bits) { plain::mark_from(units, 0, set, bits); }
void narrow_reference(const uint16_t *in, size_t n, uint8_t *out) { plain::narrow_from(in, n, 0, out); }
void widen_reference(const uint8_t *in, size_t n, uint16_t *out) { plain::widen_from(in, n, 0, out); }

}  // namespace ztk::units
