// The yEnc kernels of each level. A level's block loop works on whole
// vectors from where it is told to start and returns where it stopped; its
// table's entry finishes with the narrower level and then the one-byte loop,
// so no load passes the end of the input.
#pragma once

#include "codecs/yenc.h"

namespace ztk::yenc {

// Below this many bytes the VBMI2 level takes the AVX2 table.
inline constexpr size_t kShortText = 256;

// The one-byte loop from in[i]; returns the output's new end.
inline uint8_t *decode_from(ByteView in, size_t i, uint8_t *o) {
  for (; i < in.size; ++i) {
    uint8_t c = in[i];
    if (c == kEscape) {
      if (++i == in.size) break;  // a final escape stands for nothing
      c = static_cast<uint8_t>(in[i] - kEscapeOffset);
    }
    *o++ = static_cast<uint8_t>(c - kOffset);
  }
  return o;
}

// The plain, 16-byte and VBMI2 levels hand the input to the byte scans'
// unescaping, which packs a block's kept bytes in one instruction at VBMI2.
namespace scans {
extern const Kernels kKernels;
}  // namespace scans

// The 16-byte block loop finishes the AVX2 level's input.
namespace sse2 {
// Works while a whole block remains; `o` moves past what it writes.
size_t decode_blocks(ByteView in, size_t i, uint8_t *&o);
}  // namespace sse2

namespace avx2 {
extern const Kernels kKernels;
// The byte scans' packing, but the AVX2 loops for short texts.
extern const Kernels kVbmi2Kernels;
}  // namespace avx2

}  // namespace ztk::yenc
