#include "text/unit_scan/levels.h"

namespace ztk::units::plain {

const Kernels kKernels = {
    [](U16View units, size_t from, const UnitSet &set) { return find_from(units, from, set); },
    [](U16View units, const UnitSet &set, uint64_t *bits) { mark_from(units, 0, set, bits); },
    [](const uint16_t *in, size_t n, uint8_t *out) { narrow_from(in, n, 0, out); },
    [](const uint8_t *in, size_t n, uint16_t *out) { widen_from(in, n, 0, out); },
};

}  // namespace ztk::units::plain
