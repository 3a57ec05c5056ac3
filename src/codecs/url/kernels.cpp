#include "codecs/url/levels.h"
#include "frame/dispatch.h"

namespace ztk::url {

// The 16-byte level; the wider ones fall back to it where the target has
// none. AVX-512 without VBMI2 takes the AVX2 table: its byte shuffles spread
// and pack a block without branches, which 64-byte loops of one escape at a
// time could not match.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&vbmi2::kKernels, kBase)};

size_t encode_reference(ByteView in, int64_t options, char *out) { return plain::kKernels.encode(in, options, out); }
size_t decode_reference(ByteView in, int64_t options, uint8_t *out) { return plain::decode(in, options, out); }

}  // namespace ztk::url
