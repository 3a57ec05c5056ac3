#include "binary/hex_dump.h"

#include <cstring>

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "codecs/hex.h"
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
  hex::encode(in, out);
  out += 2 * in.size;
  const ByteView filler = filler_of(layout);
  const uint64_t copies = layout.hexlen * layout.linelen;
  for (uint64_t k = 0; k < copies; ++k) out = put(out, filler);
}

namespace {

// One line's groups, each followed by the spacer but the last. The common
// layouts (groups of one byte, spacers of at most one byte) get copies of a
// fixed size that the compiler turns into plain moves.
template <uint64_t kGroup, int kSpacer>
char *groups(const char *hex, const Layout &layout, char *out) {
  const uint64_t group = kGroup != 0 ? kGroup : layout.hexlen;
  const uint8_t spacer = kSpacer == 1 ? layout.spacer[0] : 0;
  for (uint64_t g = 0; g < layout.linelen; ++g, hex += group) {
    std::memcpy(out, hex, group);
    out += group;
    if (g + 1 == layout.linelen) break;
    if (kSpacer == 1) {
      *out++ = static_cast<char>(spacer);
    } else if (kSpacer < 0) {
      out = put(out, layout.spacer);
    }
  }
  return out;
}

template <uint64_t kGroup, int kSpacer>
char *all_lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  const uint64_t width = layout.hexlen * layout.linelen;
  for (uint64_t p = 0; p < digits; p += width) {
    out = put(out, layout.linestart);
    out = groups<kGroup, kSpacer>(hex + p, layout, out);
    out = put(out, layout.lineend);
  }
  return out;
}

}  // namespace

size_t write_lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  char *const begin = out;
  const size_t spacer = layout.spacer.size;
  if (layout.hexlen == 2 && spacer == 0) {
    out = all_lines<2, 0>(hex, digits, layout, out);
  } else if (layout.hexlen == 2 && spacer == 1) {
    out = all_lines<2, 1>(hex, digits, layout, out);
  } else {
    out = all_lines<0, -1>(hex, digits, layout, out);
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
  char *hex = static_cast<char *>(ztk::mem::alloc(hexSize));
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
  char *out = size > 0 ? static_cast<char *>(ztk::mem::alloc(size + 2)) : nullptr;
  if (out != nullptr) {
    out[ztk::hexdump::write_lines(hex, digits, layout, out)] = '\0';
    // The result ends at its first zero byte (a zero inside a layout text cuts it).
    const size_t length = std::strlen(out);
    if (length > 0) result = ztk::BuildString(out, static_cast<int64_t>(length), enc::kASCII);
    ztk::mem::release(out);
  }
  ztk::mem::release(hex);
  return result;
}
