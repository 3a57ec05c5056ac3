// Binary concatenation: the stored bytes of up to six strings, back to back,
// with no conversion between their encodings.
#include <cstring>

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

namespace {

REALstring ConcatBinaryStringsZTK(REALstring a, REALstring b, REALstring c, REALstring d, REALstring e,
                                  REALstring f) {
  const REALstring parts[6] = {a, b, c, d, e, f};
  rbData reads[6];
  uint64_t total = 0;
  for (int k = 0; k < 6; ++k) {
    ztk::ReadString(reads[k], parts[k]);
    total += reads[k].view().size;
  }
  if (!ztk::mem::size_ok(total + 10)) return nullptr;
  // Short results are joined on the stack: a heap block would cost more than
  // the copy, and threads joining short texts at once would meet in the
  // allocator.
  const ztk::mem::Scratch scratch(total + 10);
  uint8_t *out = scratch.data();
  if (out == nullptr) return nullptr;
  size_t at = 0;
  for (const rbData &r : reads) {
    if (!r.view().empty()) std::memcpy(out + at, r.data, r.view().size);
    at += r.view().size;
  }
  return total > 0 ? ztk::BuildRawBytes({out, static_cast<size_t>(total)}) : nullptr;
}

}  // namespace

REALstring ConcatBinaryStringsZTK6(REALstring a, REALstring b, REALstring c, REALstring d, REALstring e,
                                   REALstring f) {
  return ConcatBinaryStringsZTK(a, b, c, d, e, f);
}
REALstring ConcatBinaryStringsZTK5(REALstring a, REALstring b, REALstring c, REALstring d, REALstring e) {
  return ConcatBinaryStringsZTK(a, b, c, d, e, nullptr);
}
REALstring ConcatBinaryStringsZTK4(REALstring a, REALstring b, REALstring c, REALstring d) {
  return ConcatBinaryStringsZTK(a, b, c, d, nullptr, nullptr);
}
REALstring ConcatBinaryStringsZTK3(REALstring a, REALstring b, REALstring c) {
  return ConcatBinaryStringsZTK(a, b, c, nullptr, nullptr, nullptr);
}
REALstring ConcatBinaryStringsZTK2(REALstring a, REALstring b) {
  return ConcatBinaryStringsZTK(a, b, nullptr, nullptr, nullptr, nullptr);
}
