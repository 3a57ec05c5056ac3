#include "binary/hex_dump.h"

#include <cstring>

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

REALstring Hexstring(REALstring input, RBInteger hexlen, RBInteger linelen, REALstring linestart, REALstring lineend,
                     REALstring spacer, REALstring filler) {
  // Values beyond 31 bits can only ask for more than a result may hold.
  if (hexlen < 1 || linelen < 1 || input == nullptr || hexlen > INT32_MAX || linelen > INT32_MAX)
    return nullptr;
  rbData in, fill;
  ztk::ReadString(in, input);
  ztk::ReadString(fill, filler);
  ztk::hexdump::Layout layout{static_cast<uint64_t>(hexlen), static_cast<uint64_t>(linelen), {}, {}, {}, fill.view()};
  const uint64_t width = layout.hexlen * layout.linelen;
  const uint64_t fillerSize = layout.filler.empty() ? 1 : layout.filler.size;
  const uint64_t digits = 2 * uint64_t{in.view().size};
  if (width > ztk::mem::kMaxBlock)
    return nullptr;
  const uint64_t hexSize = digits + fillerSize * width;
  if (!ztk::mem::size_ok(hexSize))
    return nullptr;
  char *hex = static_cast<char *>(ztk::mem::alloc(hexSize));
  if (hex == nullptr)
    return nullptr;
  ztk::hexdump::hex_text(in.view(), layout, hex);

  rbData sp, ls, le;
  ztk::ReadString(sp, spacer);
  ztk::ReadString(ls, linestart);
  ztk::ReadString(le, lineend);
  layout.spacer = sp.view();
  layout.linestart = ls.view();
  layout.lineend = le.view();

  REALstring result = nullptr;
  const uint64_t size = in.view().empty() ? 0 : ztk::hexdump::output_size(in.view().size, layout);
  char *out = size > 0 ? static_cast<char *>(ztk::mem::alloc(size + 2)) : nullptr;
  if (out != nullptr) {
    const size_t written = ztk::hexdump::write_lines(hex, digits, layout, out);
    out[written] = '\0';
    // The result ends at its first zero byte; only a layout text can hold one.
    auto has_zero = [](ztk::ByteView t) { return !t.empty() && std::memchr(t.data, 0, t.size) != nullptr; };
    const bool cut =
        has_zero(layout.linestart) || has_zero(layout.lineend) || has_zero(layout.spacer) || has_zero(layout.filler);
    const size_t length = cut ? std::strlen(out) : written;
    if (length > 0)
      result = ztk::BuildString(out, static_cast<int64_t>(length), enc::kASCII);
    ztk::mem::release(out);
  }
  ztk::mem::release(hex);
  return result;
}
