// The bitwise kernels of each level. A level's block loop works on whole
// vectors from `from` and returns where it stopped; its table's entries finish
// with the narrower levels, so no load passes the end of the data or the mask.
#pragma once

#include <cstddef>
#include <cstdint>

#include "binary/bitwise.h"

namespace ztk::bitwise {

// The rule a loop applies. Each is its own instantiation: a choice inside the
// loop would cost a compare and branch per vector, as much as the work itself.
enum class Kind { And, Or, Xor, XorPosition };

template <Kind K>
constexpr uint8_t apply(uint8_t a, uint8_t b, uint8_t position) {
  if constexpr (K == Kind::And) return a & b;
  if constexpr (K == Kind::Or) return a | b;
  if constexpr (K == Kind::Xor) return a ^ b;
  return static_cast<uint8_t>(a ^ b ^ position);
}

// From this many bytes a wide level's loop stores whole lines of the output:
// the runs of a long input with a short mask (about 2 KiB), not the short
// calls, to which the extra vector would add a twentieth.
constexpr size_t kAlignFrom = 2048;

namespace plain {
template <Kind K>
void stream_from(ByteView data, const uint8_t *mask, size_t from, uint8_t position, uint8_t *out);
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
template <Kind K>
size_t stream_blocks(ByteView data, const uint8_t *mask, size_t from, uint8_t position, uint8_t *out);
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
extern const Kernels kKernels;
}  // namespace avx2

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::bitwise
