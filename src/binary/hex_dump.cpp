#include "binary/hex_dump.h"

#include <cstring>

#include "codecs/hex.h"
#include "frame/cpu.h"
#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/simd.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/ascii.h"

namespace ztk::hexdump {
namespace {
constexpr uint8_t kZeroDigit[] = {'0'};
constexpr ByteView kDefaultFiller{kZeroDigit, 1};

ByteView filler_of(const Layout &layout) { return layout.filler.empty() ? kDefaultFiller : layout.filler; }

char *put(char *out, ByteView text) {
  if (!text.empty())
    std::memcpy(out, text.data, text.size);
  return out + text.size;
}
} // namespace

uint64_t output_size(uint64_t inputBytes, const Layout &layout) {
  const uint64_t width = layout.hexlen * layout.linelen; // both below 2^31
  const uint64_t lines = (2 * inputBytes + width - 1) / width;
  const uint64_t line = layout.linestart.size + width + (layout.linelen - 1) * layout.spacer.size + layout.lineend.size;
  uint64_t total = 0;
  if (__builtin_mul_overflow(lines, line, &total) || total + 2 > mem::kMaxBlock)
    return 0;
  return total;
}

void hex_text(ByteView in, const Layout &layout, char *out) {
  hex::encode(in, out);
  out += 2 * in.size;
  const ByteView filler = filler_of(layout);
  const uint64_t copies = layout.hexlen * layout.linelen;
  for (uint64_t k = 0; k < copies; ++k)
    out = put(out, filler);
}

namespace {

// One line's groups, each followed by the spacer but the last. The common
// layouts (groups of one byte, spacers of at most one byte) get copies of a
// fixed size that the compiler turns into plain moves.
template <uint64_t kGroup, int kSpacer> char *groups(const char *hex, const Layout &layout, char *out) {
  const uint64_t group = kGroup != 0 ? kGroup : layout.hexlen;
  const uint8_t spacer = kSpacer == 1 ? layout.spacer[0] : 0;
  for (uint64_t g = 0; g < layout.linelen; ++g, hex += group) {
    std::memcpy(out, hex, group);
    out += group;
    if (g + 1 == layout.linelen)
      break;
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

#if ZTK_WIDE_VECTORS
// One-byte groups and a one-byte spacer, up to 21 groups a line: a line's
// groups are one byte permutation of its digits (the spacer in the top lane),
// and every part of a line is a masked load and store, so nothing is read or
// written beyond the texts, the digits (digits and filler) and the output.
constexpr uint64_t kPermutedGroups = 21;

ZTK_AVX512VBMI2 char *permuted_lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  const uint64_t width = 2 * layout.linelen;
  const uint64_t section = 3 * layout.linelen - 1;
  // Output lane p holds digit 2 (p / 3) + p % 3, or the spacer (lane 63) every third lane; lanes past
  // the line's groups are not stored.
  alignas(64) static constexpr struct Order {
    uint8_t lane[64];
  } kOrder = [] {
    Order o{};
    for (int p = 0; p < 64; ++p) o.lane[p] = static_cast<uint8_t>(p % 3 == 2 ? 63 : 2 * (p / 3) + p % 3);
    return o;
  }();
  const __m512i index = _mm512_load_si512(kOrder.lane);
  const __mmask64 digitMask = _cvtu64_mask64(~uint64_t{0} >> (64 - width));
  const __mmask64 sectionMask = _cvtu64_mask64(~uint64_t{0} >> (64 - section));
  const uint64_t s = layout.linestart.size, e = layout.lineend.size;
  const __mmask64 startMask = _cvtu64_mask64(s == 0 ? 0 : ~uint64_t{0} >> (64 - s));
  const __mmask64 endMask = _cvtu64_mask64(e == 0 ? 0 : ~uint64_t{0} >> (64 - e));
  const __m512i start = _mm512_maskz_loadu_epi8(startMask, layout.linestart.data);
  const __m512i end = _mm512_maskz_loadu_epi8(endMask, layout.lineend.data);
  const __m512i spacer = _mm512_set1_epi8(static_cast<char>(layout.spacer[0]));
  for (uint64_t p = 0; p < digits; p += width) {
    _mm512_mask_storeu_epi8(out, startMask, start);
    out += s;
    const __m512i line = _mm512_mask_loadu_epi8(spacer, digitMask, hex + p);
    _mm512_mask_storeu_epi8(out, sectionMask, _mm512_maskz_permutexvar_epi8(sectionMask, index, line));
    out += section;
    _mm512_mask_storeu_epi8(out, endMask, end);
    out += e;
  }
  return out;
}
#endif

} // namespace

size_t write_lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  char *const begin = out;
  const size_t spacer = layout.spacer.size;
#if ZTK_WIDE_VECTORS
  if (layout.hexlen == 2 && spacer == 1 && layout.linelen <= kPermutedGroups && layout.linestart.size <= 64 &&
      layout.lineend.size <= 64 && cpu::active() >= cpu::kAVX512VBMI2) {
    return static_cast<size_t>(permuted_lines(hex, digits, layout, out) - begin);
  }
#endif
  if (layout.hexlen == 2 && spacer == 0) {
    out = all_lines<2, 0>(hex, digits, layout, out);
  } else if (layout.hexlen == 2 && spacer == 1) {
    out = all_lines<2, 1>(hex, digits, layout, out);
  } else {
    out = all_lines<0, -1>(hex, digits, layout, out);
  }
  return static_cast<size_t>(out - begin);
}

} // namespace ztk::hexdump

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
