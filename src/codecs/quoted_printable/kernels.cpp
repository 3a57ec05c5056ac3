#include "codecs/quoted_printable/levels.h"
#include "frame/dispatch.h"

namespace ztk::qp {

// The 16-byte level; the wider ones fall back to it where the target has none.
// The AVX-512 levels take the AVX2 kernels: they decoded with them already,
// and their own encoder (64-byte scans of clean runs) measured 4-5% slower
// on CR LF prose, random bytes and text of 1 MiB.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx2::kKernels, kBase), ZTK_ON_WIDE(&avx2::kKernels, kBase)};

void encode_with(const Kernels &k, ByteView in, int32_t lineLength, ByteSink &out) {
  EncoderState state{lineLength};
  size_t i = 0;
  while (i < in.size && out.alive()) {
    const size_t end = in.size - i > kStretch ? i + kStretch : in.size;
    out.append((end - i) * kMostPerByte + kMostAtFinish, [&](uint8_t *room) {
      size_t written;
      i = k.encode_stretch(in, i, end, state, room, written);
      return written;
    });
  }
}

void encode_reference(ByteView in, int32_t lineLength, ByteSink &out) {
  encode_with(plain::kKernels, in, lineLength, out);
}
size_t decode_reference(ByteView in, uint8_t *out) { return plain::kKernels.decode(in, out); }

}  // namespace ztk::qp
