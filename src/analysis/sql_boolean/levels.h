// The SQL rewriting kernels of each level: plain (a byte at a time), and the
// vector levels, which share the event cursor of events.h.
#pragma once

#include "analysis/sql_boolean.h"

namespace ztk::sql {

namespace plain {
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
extern const Kernels kKernels;
}  // namespace avx2

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::sql
