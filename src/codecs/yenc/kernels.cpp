#include "codecs/yenc/levels.h"
#include "frame/dispatch.h"

namespace ztk::yenc {

// The 16-byte level is the byte scans' unescaping (SSE2 or NEON), which
// writes a block with escapes in segments from a copy of it: with an escape
// in 64 bytes or so that measured faster than reading the next block from
// after each escape (5.1 against 4.0 GB/s on articles). The wider ones fall
// back to it where the target has none. AVX-512 without VBMI2 takes the AVX2 table: its byte shuffles pack a
// block without branches, which a 64-byte loop of one escape at a time could
// not match (6 against 11 GB/s on articles). With VBMI2 the byte scans pack
// 64 bytes in one instruction.
constexpr const Kernels *kBase = &scans::kKernels;
constexpr simd::Dispatch<Kernels> kDispatch{&scans::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx2::kVbmi2Kernels, kBase)};

size_t decode_reference(ByteView in, uint8_t *out) { return static_cast<size_t>(decode_from(in, 0, out) - out); }

}  // namespace ztk::yenc
