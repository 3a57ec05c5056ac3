#include "analysis/sql_boolean.h"

#include "frame/registry.h"
#include "text/rb_text.h"

REALstring SQLReplaceBooleanZTK(REALstring sql) {
  if (sql == nullptr) return nullptr;
  rbText text(sql);
  const ztk::ByteView in = text.ascii();
  AsciiStringHandle out(int64_t(in.size) + 10);
  if (!out.alive()) return nullptr;
  ztk::sql::replace_booleans(in, out);
  return out.Finish(enc::kUTF8);
}
