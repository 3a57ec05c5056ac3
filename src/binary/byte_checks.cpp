// Byte checks and generators: ASCII tests, replacement of bytes outside
// printable ASCII, and random byte strings.
#include "frame/byte_checks.h"

#include <cstdlib>

#include "frame/plugin_alloc.h"
#include "frame/random_seed.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

namespace {

// Whether every byte passes `mode`: 0 ASCII (below 0x80), 1 printable ASCII
// (0x20-0x7F), 2 at or above 0x20. Any other mode passes nothing.
bool all_in_class(ztk::ByteView bytes, RBInteger mode) {
  if (bytes.empty() || mode < 0 || mode > 2) return false;
  return ztk::byte_checks::all_in_class(bytes, static_cast<ztk::byte_checks::Class>(mode));
}

}  // namespace

RBBoolean IsASCIIString2(REALstring s, RBInteger mode) {
  if (s == nullptr) return 0;
  rbData in;
  ztk::ReadString(in, s);
  return all_in_class(in.view(), mode) ? 1 : 0;
}

RBBoolean IsASCIIString1(REALstring s) { return IsASCIIString2(s, 0); }

REALstring ReplaceNonPrintableCharactersZTK(REALstring s, RBInteger replacevalue) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const ztk::ByteView bytes = in.view();
  if (bytes.empty()) return nullptr;
  const ztk::mem::Scratch out(bytes.size);
  if (out.data() == nullptr) return nullptr;
  ztk::byte_checks::replace_non_printable(bytes, static_cast<uint8_t>(replacevalue & 0xFF), out.data());
  return ztk::BuildString(out.data(), static_cast<int64_t>(bytes.size), enc::kASCII);
}

REALstring RandomBytesStringZTK(RBInteger length, RBBoolean ascii) {
  if (length < 1 || !ztk::mem::size_ok(static_cast<uint64_t>(length))) return nullptr;
  const ztk::mem::Scratch scratch(static_cast<uint64_t>(length));
  uint8_t *out = scratch.data();
  if (out == nullptr) return nullptr;
  ztk::random::prepare_thread();
  // Byte i comes from the i-th rand() call of this method.
  for (RBInteger i = 0; i < length; ++i) {
    const int r = std::rand();
    out[i] = ascii != 0 ? static_cast<uint8_t>(32 + r % 96) : static_cast<uint8_t>(r & 0xFF);
  }
  return REALBuildUnicodeString(out, length, ascii != 0 ? enc::kASCII : enc::kNone);
}
