#include "frame/byte_checks/levels.h"
#include "frame/dispatch.h"

namespace ztk::byte_checks {

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase), ZTK_ON_WIDE(&avx512::kKernels, kBase)};

bool all_in_class_reference(ByteView bytes, Class c) {
  switch (c) {
    case Class::Ascii: return plain::all_from<Class::Ascii>(bytes, 0);
    case Class::Printable: return plain::all_from<Class::Printable>(bytes, 0);
    case Class::NoControl: break;
  }
  return plain::all_from<Class::NoControl>(bytes, 0);
}

void replace_non_printable_reference(ByteView bytes, uint8_t replacement, uint8_t *out) {
  plain::replace_from(bytes, 0, replacement, out);
}

}  // namespace ztk::byte_checks
