#include "analysis/html_tags.h"

#include <cstring>

#include "frame/registry.h"
#include "text/rb_text.h"
#include "text/string_handles.h"

namespace {

REALstring strip(ztk::ByteView in, ztk::ByteView replacement) {
  AsciiStringHandle out(int64_t(in.size) + 10);
  if (!out.alive()) return nullptr;
  ztk::tags::remove_tags(in, replacement, out);
  return out.Finish(enc::kUTF8);
}

}  // namespace

REALstring RemoveHTMLTagsWith(REALstring textWithTags, REALstring replacement) {
  if (textWithTags == nullptr) return nullptr;
  rbText text(textWithTags);
  const ztk::ByteView in = text.utf8();
  if (replacement == nullptr) return strip(in, {});  // no view of a missing replacement to set up
  rbText with(replacement);
  ztk::ByteView r = with.utf8();
  r.size = strnlen(reinterpret_cast<const char *>(r.data), r.size);  // up to its first NUL
  return strip(in, r);
}

REALstring RemoveHTMLTags(REALstring textWithTags) { return RemoveHTMLTagsWith(textWithTags, nullptr); }
