#include "binary/hex_dump.h"

#include <cstring>

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/ascii.h"

namespace ztk::hexdump {
namespace {
constexpr uint8_t kZeroDigit[] = {'0'};
constexpr ByteView kDefaultFiller{kZeroDigit, 1};

ByteView filler_of(const Layout &layout) { return layout.filler.empty() ? kDefaultFiller : layout.filler; }

char *put(char *out, ByteView text) {
  if (!text.empty()) std::memcpy(out, text.data, text.size);
  return out + text.size;
}
}  // namespace

uint64_t output_size(uint64_t inputBytes, const Layout &layout) {
  const uint64_t width = layout.hexlen * layout.linelen;  // both below 2^31
  const uint64_t lines = (2 * inputBytes + width - 1) / width;
  const uint64_t line =
      layout.linestart.size + width + (layout.linelen - 1) * layout.spacer.size + layout.lineend.size;
  uint64_t total = 0;
  if (__builtin_mul_overflow(lines, line, &total) || total + 2 > mem::kMaxBlock) return 0;
  return total;
}

void hex_text(ByteView in, const Layout &layout, char *out) {
  for (size_t i = 0; i < in.size; ++i) out = ascii::put_hex(out, in[i]);
  const ByteView filler = filler_of(layout);
  const uint64_t copies = layout.hexlen * layout.linelen;
  for (uint64_t k = 0; k < copies; ++k) out = put(out, filler);
}

size_t write_lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  char *const begin = out;
  for (uint64_t p = 0; p < digits;) {
    out = put(out, layout.linestart);
    for (uint64_t g = 0; g < layout.linelen; ++g) {
      std::memcpy(out, hex + p, layout.hexlen);
      out += layout.hexlen;
      p += layout.hexlen;
      if (g + 1 < layout.linelen) out = put(out, layout.spacer);
    }
    out = put(out, layout.lineend);
  }
  return static_cast<size_t>(out - begin);
}

}  // namespace ztk::hexdump

REALstring Hexstring(REALstring input, RBInteger hexlen, RBInteger linelen, REALstring linestart, REALstring lineend,
                     REALstring spacer, REALstring filler) {
  // Values beyond 31 bits can only ask for more than a result may hold.
  if (hexlen < 1 || linelen < 1 || input == nullptr || hexlen > INT32_MAX || linelen > INT32_MAX) return nullptr;
  rbData in, fill;
  ztk::ReadString(in, input);
  ztk::ReadString(fill, filler);
  ztk::hexdump::Layout layout{static_cast<uint64_t>(hexlen), static_cast<uint64_t>(linelen), {}, {}, {}, fill.view()};
  const uint64_t width = layout.hexlen * layout.linelen;
  const uint64_t fillerSize = layout.filler.empty() ? 1 : layout.filler.size;
  const uint64_t digits = 2 * uint64_t{in.view().size};
  if (width > ztk::mem::kMaxBlock) return nullptr;
  const uint64_t hexSize = digits + fillerSize * width;
  if (!ztk::mem::size_ok(hexSize)) return nullptr;
  char *hex = static_cast<char *>(ztk::mem::alloc_zeroed(hexSize));
  if (hex == nullptr) return nullptr;
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
  char *out = size > 0 ? static_cast<char *>(ztk::mem::alloc_zeroed(size + 2)) : nullptr;
  if (out != nullptr) {
    ztk::hexdump::write_lines(hex, digits, layout, out);
    // The result ends at its first zero byte (a zero inside a layout text cuts it).
    const size_t length = std::strlen(out);
    if (length > 0) result = ztk::BuildString(out, static_cast<int64_t>(length), enc::kASCII);
    ztk::mem::release(out);
  }
  ztk::mem::release(hex);
  return result;
}
