#include "frame/byte_checks/levels.h"
#include "frame/ascii.h"

namespace ztk::byte_checks::plain {
namespace {

template <Class C>
bool passes(uint8_t b) {
  if constexpr (C == Class::Ascii) return b < 0x80;
  if constexpr (C == Class::Printable) return ascii::is_print(b);
  return b >= 0x20;
}

}  // namespace

template <Class C>
bool all_from(ByteView bytes, size_t from) {
  for (size_t i = from; i < bytes.size; ++i) {
    if (!passes<C>(bytes[i])) return false;
  }
  return true;
}

template bool all_from<Class::Ascii>(ByteView, size_t);
template bool all_from<Class::Printable>(ByteView, size_t);
template bool all_from<Class::NoControl>(ByteView, size_t);

void replace_from(ByteView bytes, size_t from, uint8_t replacement, uint8_t *out) {
  for (size_t i = from; i < bytes.size; ++i) out[i] = ascii::is_print(bytes[i]) ? bytes[i] : replacement;
}

const Kernels kKernels = {
    [](ByteView bytes) { return all_from<Class::Ascii>(bytes, 0); },
    [](ByteView bytes) { return all_from<Class::Printable>(bytes, 0); },
    [](ByteView bytes) { return all_from<Class::NoControl>(bytes, 0); },
    [](ByteView bytes, uint8_t replacement, uint8_t *out) { replace_from(bytes, 0, replacement, out); },
};

}  // namespace ztk::byte_checks::plain
