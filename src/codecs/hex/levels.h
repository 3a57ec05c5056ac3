// The hex kernels of each level. A level's block loop works on whole vectors
// from `from` and returns where it stopped; its table's entries finish with
// the narrower levels, so no load passes the end of the input.
#pragma once

#include "codecs/hex.h"

namespace ztk::hex {

namespace plain {
void encode_from(ByteView in, size_t from, char *out);
void decode_from(ByteView digits, size_t from, uint8_t *out);
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
size_t encode_blocks(ByteView in, size_t from, char *out);
size_t decode_blocks(ByteView digits, size_t from, uint8_t *out);
extern const Kernels kKernels;
}  // namespace sse2

namespace avx2 {
extern const Kernels kKernels;
}  // namespace avx2

namespace avx512 {
extern const Kernels kKernels;
}  // namespace avx512

namespace neon {
extern const Kernels kKernels;
}  // namespace neon

}  // namespace ztk::hex
