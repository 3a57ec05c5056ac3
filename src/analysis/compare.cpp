#include "analysis/compare.h"

#include <algorithm>
#include <cstring>

#include "frame/host_api.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "text/byte_scan.h"
#include "text/rb_text.h"

namespace ztk::compare {
namespace {
constexpr scan::ByteSet kNonZero{{1, 255}};
}  // namespace

int compare_bytes(ByteView a, ByteView b) {
  const size_t common = std::min(a.size, b.size);
  if (common > 0) {
    const int c = std::memcmp(a.data, b.data, common);
    if (c != 0) return c < 0 ? -1 : 1;
  }
  // The longer one wins as soon as it holds a non-zero byte past the other's end.
  const ByteView &longer = a.size > b.size ? a : b;
  if (scan::find(longer, common, kNonZero) == longer.size) return 0;
  return &longer == &a ? 1 : -1;
}

int64_t count_occurrences(ByteView s, ByteView find) {
  // Matches do not overlap; each is the leftmost after the previous one.
  return static_cast<int64_t>(scan::count_needle(s, find));
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
