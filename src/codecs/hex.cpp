#include "codecs/hex.h"

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "frame/ascii.h"
#include "text/rb_text.h"

REALstring EncodingToHex(REALstring s) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const uint64_t size = 2 * uint64_t(in.view().size);
  if (in.view().empty() || !ztk::mem::size_ok(size)) return nullptr;
  const ztk::mem::Scratch out(size);
  if (out.data() == nullptr) return nullptr;
  ztk::hex::encode(in.view(), reinterpret_cast<char *>(out.data()));
  return ztk::BuildString(out.data(), static_cast<int64_t>(size), enc::kASCII);
}

// Serves DecodingFromHexZTK (the handler keeps its historical name).
REALstring DecodingToHex(REALstring s) {
  rbText text(s);
  const ztk::ByteView digits = text.ascii();
  if (digits.size < 2) return nullptr;
  const size_t size = digits.size / 2;
  const ztk::mem::Scratch out(size);
  if (out.data() == nullptr) return nullptr;
  ztk::hex::decode(digits, out.data());
  return ztk::BuildRawBytes({out.data(), size});
}
