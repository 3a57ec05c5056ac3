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
  rbData in, fill, sp, ls, le;
  ztk::ReadString(in, input);
  ztk::ReadString(fill, filler);
  ztk::ReadString(sp, spacer);
  ztk::ReadString(ls, linestart);
  ztk::ReadString(le, lineend);
  const ztk::hexdump::Layout layout{static_cast<uint64_t>(hexlen), static_cast<uint64_t>(linelen),
                                    ls.view(), le.view(), sp.view(), fill.view()};
  const ztk::ByteView bytes = in.view();
  // The hex text of the whole input must fit a block even where the lines
  // below are written without it: the result does not depend on the level.
  if (layout.hexlen * layout.linelen > ztk::mem::kMaxBlock ||
      !ztk::mem::size_ok(ztk::hexdump::hex_text_size(bytes.size, layout)))
    return nullptr;
  const uint64_t size = bytes.empty() ? 0 : ztk::hexdump::output_size(bytes.size, layout);
  if (size == 0)
    return nullptr;
  // A short call's dump is built on the stack: an allocation costs more than the dump.
  char shortOut[512];
  char *out = size + 2 <= sizeof shortOut ? shortOut : static_cast<char *>(ztk::mem::alloc(size + 2));
  if (out == nullptr)
    return nullptr;
  auto release_out = [&] {
    if (out != shortOut)
      ztk::mem::release(out);
  };
  // Whole lines straight from the bytes where the level can; the rest (a
  // last line at least) through the hex text with its filler, or for a short
  // call of the common layout straight from the bytes too.
  const size_t taken = ztk::hexdump::write_byte_lines(bytes, layout, out);
  size_t written = taken == 0 ? 0 : static_cast<size_t>(ztk::hexdump::output_size(taken, layout));
  const ztk::ByteView rest{bytes.data + taken, bytes.size - taken};
  // A short call's hex text fits on the stack: an allocation costs more than its dump.
  char local[256];
  const uint64_t hexSize = rest.empty() ? 0 : ztk::hexdump::hex_text_size(rest.size, layout);
  if (!rest.empty() && hexSize <= sizeof local && layout.hexlen == 2 && layout.spacer.size == 1) {
    // The common layout straight from the bytes (the output has its byte to
    // spare), where its hex text would have fit on the stack: the
    // allocations stay those of the dump through the hex text.
    written += ztk::hexdump::pair_lines(rest, layout, out + written);
  } else if (!rest.empty()) {
    char *hex = hexSize <= sizeof local ? local : static_cast<char *>(ztk::mem::alloc(hexSize));
    if (hex == nullptr) {
      release_out();
      return nullptr;
    }
    ztk::hexdump::hex_text(rest, layout, hex);
    written += ztk::hexdump::write_lines(hex, 2 * uint64_t{rest.size}, layout, out + written);
    if (hex != local)
      ztk::mem::release(hex);
  }
  out[written] = '\0';
  // The result ends at its first zero byte; only a layout text can hold one.
  // (The layout texts are a few bytes: a loop costs less than calls to memchr.)
  auto has_zero = [](ztk::ByteView t) {
    for (size_t k = 0; k < t.size; ++k) {
      if (t[k] == 0)
        return true;
    }
    return false;
  };
  const bool cut =
      has_zero(layout.linestart) || has_zero(layout.lineend) || has_zero(layout.spacer) || has_zero(layout.filler);
  const size_t length = cut ? std::strlen(out) : written;
  REALstring result = length > 0 ? ztk::BuildString(out, static_cast<int64_t>(length), enc::kASCII) : nullptr;
  release_out();
  return result;
}
