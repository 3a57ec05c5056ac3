#include "text/byte_scan/levels.h"
#include "frame/dispatch.h"

namespace ztk::scan {

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase), ZTK_ON_WIDE(&vbmi2::kKernels, kBase)};

size_t find_reference(ByteView in, size_t from, const ByteSet &set) { return plain::find_from(in, from, set); }
size_t copy_until_reference(ByteView in, size_t from, const ByteSet &stop, uint8_t add, uint8_t *out) {
  return plain::copy_from(in, from, from, stop, add, out);
}
size_t count_reference(ByteView in, uint8_t b) { return plain::count_from(in, 0, b); }
size_t count_needle_reference(ByteView in, ByteView needle) {
  if (needle.size == 0) return 0;
  return plain::count_needle_from(in, needle, 0, 0);
}
size_t unescape_reference(ByteView in, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *out) {
  uint8_t *o = out;
  plain::unescape_from(in, 0, escape, add, escaped_add, o);
  return static_cast<size_t>(o - out);
}

}  // namespace ztk::scan
