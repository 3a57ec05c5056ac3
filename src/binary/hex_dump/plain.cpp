#include "binary/hex_dump/levels.h"
#include "frame/ascii.h"

namespace ztk::hexdump::plain {
namespace {

// One line's groups, each followed by the spacer but the last. Groups of one
// byte with a one-byte spacer (the common layout) get copies of a fixed size
// that the compiler turns into plain moves. The layout is read into locals
// first: the output is chars, which may alias it, and would otherwise be
// read again after every store.
template <uint64_t kGroup, int kSpacer>
char *groups(const char *hex, const Layout &layout, char *out) {
  const uint64_t group = kGroup != 0 ? kGroup : layout.hexlen;
  const uint64_t linelen = layout.linelen;
  const ByteView spacer = layout.spacer;
  const char spacerByte = kSpacer == 1 ? static_cast<char>(spacer[0]) : 0;
  for (uint64_t g = 1; g < linelen; ++g, hex += group) {
    if (kGroup != 0) {
      std::memcpy(out, hex, group);
      out += group;
    } else {
      out = put_short(out, {reinterpret_cast<const uint8_t *>(hex), static_cast<size_t>(group)});
    }
    if (kSpacer == 1) {
      *out++ = spacerByte;
    } else {
      out = put_short(out, spacer);
    }
  }
  if (kGroup != 0) {
    std::memcpy(out, hex, group);
    return out + group;
  }
  return put_short(out, {reinterpret_cast<const uint8_t *>(hex), static_cast<size_t>(group)});
}

// Without a spacer a line's groups are its digits as they are.
char *whole_line(const char *hex, const Layout &layout, char *out) {
  const uint64_t width = layout.hexlen * layout.linelen;
  std::memcpy(out, hex, width);
  return out + width;
}

template <class Line>
char *all_lines(const char *hex, uint64_t digits, const Layout &layout, char *out, Line line) {
  const uint64_t width = layout.hexlen * layout.linelen;
  const ByteView linestart = layout.linestart, lineend = layout.lineend;
  for (uint64_t p = 0; p < digits; p += width) {
    out = put_short(out, linestart);
    out = line(hex + p, layout, out);
    out = put_short(out, lineend);
  }
  return out;
}

}  // namespace

void digits_from(ByteView in, size_t from, char *out) {
  for (size_t i = from; i < in.size; ++i) ascii::put_hex(out + 2 * i, in[i]);
}

size_t lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  char *const begin = out;
  // Each layout's line is a type of its own, so that it is inlined into its loop.
  if (layout.spacer.empty()) {
    out = all_lines(hex, digits, layout, out,
                    [](const char *h, const Layout &l, char *o) { return whole_line(h, l, o); });
  } else if (layout.hexlen == 2 && layout.spacer.size == 1) {
    out = all_lines(hex, digits, layout, out,
                    [](const char *h, const Layout &l, char *o) { return groups<2, 1>(h, l, o); });
  } else {
    out = all_lines(hex, digits, layout, out,
                    [](const char *h, const Layout &l, char *o) { return groups<0, -1>(h, l, o); });
  }
  return static_cast<size_t>(out - begin);
}

const Kernels kKernels = {
    [](ByteView in, char *out) { digits_from(in, 0, out); },
    lines,
    no_byte_lines,
};

}  // namespace ztk::hexdump::plain
