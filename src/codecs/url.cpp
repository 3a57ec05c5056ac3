#include "codecs/url.h"

#include "frame/byte_transform.h"
#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

REALstring EncodingToURL2(REALstring s, RBInteger options) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const uint64_t capacity = ztk::url::max_encoded_size(in.view().size) + 10;
  if (!ztk::mem::size_ok(capacity)) return nullptr;
  const ztk::mem::Scratch out(capacity);
  if (out.data() == nullptr) return nullptr;
  char *text = reinterpret_cast<char *>(out.data());
  const size_t n = ztk::url::encode(in.view(), static_cast<int64_t>(options), text);
  return n > 0 ? ztk::BuildString(text, static_cast<int64_t>(n), enc::kASCII) : nullptr;
}

REALstring EncodingToURL1(REALstring s) { return EncodingToURL2(s, 0); }

// Serves DecodingFromURLZTK (the handler keeps its historical name).
REALstring DecodingToURL2(REALstring s, RBInteger options) {
  return ztk::ShrinkBytes(s, [options](ztk::ByteView in, uint8_t *out) {
    return ztk::url::decode(in, static_cast<int64_t>(options), out);
  });
}

REALstring DecodingToURL1(REALstring s) { return DecodingToURL2(s, 0); }
