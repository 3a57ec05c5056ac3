#include "analysis/compare.h"

#include <algorithm>
#include <cstring>

#include "frame/host_api.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "text/rb_text.h"

namespace ztk::compare {

int compare_bytes(ByteView a, ByteView b) {
  const size_t common = std::min(a.size, b.size);
  if (common > 0) {
    const int c = std::memcmp(a.data, b.data, common);
    if (c != 0) return c < 0 ? -1 : 1;
  }
  // The longer one wins as soon as it holds a non-zero byte past the other's end.
  const ByteView &longer = a.size > b.size ? a : b;
  for (size_t i = common; i < longer.size; ++i) {
    if (longer[i] != 0) return &longer == &a ? 1 : -1;
  }
  return 0;
}

int64_t count_occurrences(ByteView s, ByteView find) {
  if (find.size == 0 || s.size < find.size) return 0;
  if (find.size == 1) return std::count(s.data, s.data + s.size, find[0]);
  int64_t count = 0;
  const uint8_t *p = s.data;
  const uint8_t *const last = s.data + (s.size - find.size);  // last possible start
  while (p <= last) {
    p = static_cast<const uint8_t *>(std::memchr(p, find[0], static_cast<size_t>(last - p) + 1));
    if (p == nullptr) break;
    if (std::memcmp(p + 1, find.data + 1, find.size - 1) == 0) {
      ++count;
      p += find.size;
    } else {
      ++p;
    }
  }
  return count;
}

}  // namespace ztk::compare

RBInteger StrCompBytesZTK(REALstring a, REALstring b) {
  rbData ra, rb;
  ztk::ReadString(ra, a);
  ztk::ReadString(rb, b);
  if (ra.data == nullptr) return -1;
  if (rb.data == nullptr) return 1;
  return ztk::compare::compare_bytes(ra.view(), rb.view());
}

// Serves StrCompCharactersZTK.
RBInteger StrCompCharsZTK(REALstring a, REALstring b) {
  const auto ea = REALGetStringEncoding(a);
  const auto eb = REALGetStringEncoding(b);
  if (ea.value_or(0) == eb.value_or(0)) {
    rbData ra, rb;
    ztk::ReadString(ra, a);
    ztk::ReadString(rb, b);
    if (ra.data == nullptr || rb.data == nullptr) return -1;
    return ztk::compare::compare_bytes(ra.view(), rb.view());
  }
  rbText ta(a), tb(b);
  return ztk::compare::compare_bytes(ta.utf8(), tb.utf8());
}

RBInteger CountOccurancesZTK(REALstring s, REALstring find) {
  if (find == nullptr) return 0;
  rbData rf, rs;
  ztk::ReadString(rf, find);
  ztk::ReadString(rs, s);
  if (rf.data == nullptr || rs.data == nullptr) return 0;
  return ztk::compare::count_occurrences(rs.view(), rf.view());
}
