#include "analysis/html_tags.h"

#include <cstring>

#include "frame/registry.h"
#include "text/rb_text.h"
#include "text/string_handles.h"

REALstring RemoveHTMLTagsWith(REALstring textWithTags, REALstring replacement) {
  if (textWithTags == nullptr) return nullptr;
  rbText text(textWithTags), with(replacement);
  const ztk::ByteView in = text.utf8();
  ztk::ByteView r = with.utf8();
  r.size = strnlen(reinterpret_cast<const char *>(r.data), r.size);  // up to its first NUL
  AsciiStringHandle out(int64_t(in.size) + 10);
  if (!out.alive()) return nullptr;
  ztk::tags::remove_tags(in, r, out);
  return out.Finish(enc::kUTF8);
}

REALstring RemoveHTMLTags(REALstring textWithTags) { return RemoveHTMLTagsWith(textWithTags, nullptr); }
