#include "codecs/html.h"

#include "frame/host_api.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "text/rb_text.h"
#include "text/string_handles.h"

REALstring EncodingToHTML(REALstring s, RBInteger options) {
  if (s == nullptr) return nullptr;
  rbText text(s);
  ztk::U16View units = text.utf16();
  if (units.size == 0) return nullptr;
  AsciiStringHandle out(2 * int64_t(units.size) + 4096);
  if (!out.alive()) return nullptr;
  ztk::html::encode(units, (options & 1) != 0, out);
  return out.Finish(enc::kASCII);
}

// Serves DecodingFromHTMLZTK (the handler keeps its historical name).
REALstring DecodingToHTML(REALstring s) {
  if (s == nullptr) return nullptr;
  rbText text(s);
  const ztk::U16View units = text.utf16();
  if (units.size == 0) return nullptr;
  UnicodeStringHandle out(2 * int64_t(units.size) + 4096);
  if (!out.alive()) return nullptr;
  ztk::html::decode(units, out);
  return out.Finish();
}

RBBoolean StringIsHTMLready(REALstring s) {
  if (s == nullptr) return 1;
  if (const auto encoding = REALGetStringEncoding(s)) {
    if (*encoding != enc::kMacRoman && *encoding != enc::kWindows1252 && *encoding != enc::kASCII &&
        *encoding != enc::kUTF8) {
      return 0;
    }
  }
  rbData in;
  ztk::ReadString(in, s);
  return ztk::html::is_html_ready(in.view()) ? 1 : 0;
}
