#include "analysis/number_format.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "frame/registry.h"
#include "frame/string_build.h"

namespace ztk::numfmt {
namespace {

// Every double's decimal expansion ends within 767 significant digits, so a
// precision beyond this only appends zeros past the 498 characters kept.
constexpr int64_t kMaxDigits = 1100;

// Removes trailing zeros from the fourth character on, keeping one zero
// after a non-zero digit or the point (1.500 -> 1.50, 1.0 stays).
void trim_zeros(char *text) {
  size_t p = std::strlen(text);
  while (p >= 4 && text[p - 1] == '0' && text[p - 2] == '0') text[--p] = '\0';
}

}  // namespace

size_t scientific(double d, int64_t digits, char *out) {
  // Fewer than no digits is none; more than the text can hold is capped.
  const auto precision = static_cast<int>(std::clamp<int64_t>(digits, 0, kMaxDigits));
  std::memset(out, 0, kTextBuffer);
  std::snprintf(out, kTextBuffer - 1, "%.*e", precision, d);
  return std::strlen(out);
}

size_t plain(double d, char *out) {
  std::memset(out, 0, kTextBuffer);
  std::snprintf(out, kTextBuffer, "%.99f", d);
  trim_zeros(out);
  if (char *point = std::strchr(out, '.')) {
    // Significant characters before the point: every one but "0" (a minus sign counts).
    const auto c = static_cast<size_t>(std::count_if(out, point, [](char ch) { return ch != '0'; }));
    if (c > 14) {
      *point = '\0';
    } else {
      size_t f = static_cast<size_t>(point - out) + 1;
      while (out[f] == '0') ++f;
      const size_t end = f + 15 - c;
      if (end < std::strlen(out)) out[end] = '\0';
    }
  }
  trim_zeros(out);
  return std::strlen(out);
}

}  // namespace ztk::numfmt

REALstring ScientificStrZTK(double d, RBInteger digits) {
  char text[ztk::numfmt::kTextBuffer];
  const size_t n = ztk::numfmt::scientific(d, digits, text);
  return n > 0 ? ztk::BuildString(text, static_cast<int64_t>(n), enc::kASCII) : nullptr;
}

REALstring StrZTK(double d) {
  char text[ztk::numfmt::kTextBuffer];
  const size_t n = ztk::numfmt::plain(d, text);
  return n > 0 ? ztk::BuildString(text, static_cast<int64_t>(n), enc::kASCII) : nullptr;
}
