// The byte-check kernels of each level. A class check's block loop returns
// the bytes before the first block holding a byte outside the class: a loop
// that stopped at a block answers "no" at once, one that ran out of whole
// blocks hands the rest to a narrower level, ending with the plain loop's
// verdict; replacement's block loops return where they stopped. No load
// passes the end of the input.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/byte_checks.h"

namespace ztk::byte_checks {

namespace plain {
// Whether every byte from `from` on is in class C.
template <Class C>
bool all_from(ByteView bytes, size_t from);
void replace_from(ByteView bytes, size_t from, uint8_t replacement, uint8_t *out);
extern const Kernels kKernels;
}  // namespace plain

namespace sse2 {
template <Class C>
size_t clean_prefix(ByteView bytes, size_t from);
// Whether every byte from `from` on is in class C, by the blocks and then
// the last block again: a wider level's last bytes in one call.
template <Class C>
bool rest_passes(ByteView bytes, size_t from);
size_t replace_blocks(ByteView bytes, size_t from, uint8_t replacement, uint8_t *out);
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

}  // namespace ztk::byte_checks
