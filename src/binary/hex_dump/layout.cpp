#include "binary/hex_dump/levels.h"
#include "frame/plugin_alloc.h"

namespace ztk::hexdump {
namespace {
constexpr uint8_t kZeroDigit[] = {'0'};
constexpr ByteView kDefaultFiller{kZeroDigit, 1};

// The lines that `digits` characters fill, the last one padded (a short
// call's few lines counted with no division, which takes longer than they do).
uint64_t lines_of(uint64_t digits, uint64_t width) {
  if (digits <= 4 * width) {
    uint64_t lines = 0;
    for (uint64_t end = 0; end < digits; end += width) ++lines;
    return lines;
  }
  return (digits + width - 1) / width;
}

// The filler characters that pad the last line of `digits` characters.
uint64_t last_line_room(uint64_t digits, uint64_t width) { return lines_of(digits, width) * width - digits; }

// The two digits of every byte, high digit first.
struct DigitPairs {
  char at[512] = {};
  constexpr DigitPairs() {
    for (int b = 0; b < 256; ++b) {
      at[2 * b] = "0123456789ABCDEF"[b >> 4];
      at[2 * b + 1] = "0123456789ABCDEF"[b & 15];
    }
  }
};
constexpr DigitPairs kDigitPairs{};

}  // namespace

size_t pair_lines(ByteView in, const Layout &layout, char *out) {
  const uint64_t linelen = layout.linelen;
  const uint8_t spacer = layout.spacer[0];
  const ByteView linestart = layout.linestart, lineend = layout.lineend;
  const ByteView filler = layout.filler.empty() ? kDefaultFiller : layout.filler;
  auto pair = [](uint8_t b) {
    uint16_t p;
    std::memcpy(&p, kDigitPairs.at + 2 * size_t{b}, 2);
    return uint64_t{p};
  };
  char *o = out;
  for (size_t i = 0; i < in.size;) {
    o = put_short(o, linestart);
    const size_t count = in.size - i < linelen ? in.size - i : static_cast<size_t>(linelen);
    const size_t end = i + count;
    // Each group followed by the spacer, the last one's then written over.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    // Four groups (12 characters) as an 8-byte and a 4-byte store.
    const uint64_t spacers = uint64_t{spacer} << 16 | uint64_t{spacer} << 40;
    for (; i + 4 <= end; i += 4, o += 12) {
      const uint64_t first = pair(in[i]) | pair(in[i + 1]) << 24 | pair(in[i + 2]) << 48 | spacers;
      const auto second = static_cast<uint32_t>(spacer | pair(in[i + 3]) << 8 | uint64_t{spacer} << 24);
      std::memcpy(o, &first, 8);
      std::memcpy(o + 8, &second, 4);
    }
#endif
    for (; i < end; ++i, o += 3) {
      std::memcpy(o, kDigitPairs.at + 2 * size_t{in[i]}, 2);
      o[2] = static_cast<char>(spacer);
    }
    // The last line's missing digits from the filler, which starts over
    // right after the digits and cycles: with one or two characters every
    // group is the same.
    uint64_t g = count;
    if (filler.size <= 2) {
      const char group[3] = {static_cast<char>(filler[0]), static_cast<char>(filler[filler.size - 1]),
                             static_cast<char>(spacer)};
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
      // Four groups as an 8-byte and a 4-byte store of one pattern.
      const uint64_t one = uint64_t{filler[0]} | uint64_t{filler[filler.size - 1]} << 8 | uint64_t{spacer} << 16;
      const uint64_t first = one | one << 24 | one << 48;
      const auto second = static_cast<uint32_t>(one >> 16 | one << 8);
      for (; g + 4 <= linelen; g += 4, o += 12) {
        std::memcpy(o, &first, 8);
        std::memcpy(o + 8, &second, 4);
      }
#endif
      for (; g < linelen; ++g, o += 3) std::memcpy(o, group, 3);
    } else {
      for (size_t f = 0; g < linelen; ++g, o += 3) {
        o[0] = static_cast<char>(filler[f]);
        f = f + 1 == filler.size ? 0 : f + 1;
        o[1] = static_cast<char>(filler[f]);
        f = f + 1 == filler.size ? 0 : f + 1;
        o[2] = static_cast<char>(spacer);
      }
    }
    o = put_short(o - 1, lineend);
  }
  return static_cast<size_t>(o - out);
}

uint64_t output_size(uint64_t inputBytes, const Layout &layout) {
  const uint64_t width = layout.hexlen * layout.linelen;  // both below 2^31
  const uint64_t lines = lines_of(2 * inputBytes, width);
  const uint64_t line = layout.linestart.size + width + (layout.linelen - 1) * layout.spacer.size + layout.lineend.size;
  uint64_t total = 0;
  if (__builtin_mul_overflow(lines, line, &total) || total + 2 > mem::kMaxBlock) return 0;
  return total;
}

uint64_t hex_text_size(uint64_t inputBytes, const Layout &layout) {
  const uint64_t fillerSize = layout.filler.empty() ? 1 : layout.filler.size;
  return 2 * inputBytes + fillerSize * layout.hexlen * layout.linelen;  // each factor below 2^31
}

void hex_text(ByteView in, const Layout &layout, char *out) {
  write_digits(in, out);
  out += 2 * in.size;
  const ByteView filler = layout.filler.empty() ? kDefaultFiller : layout.filler;
  // The lines read the filler only up to the end of the last line, less than
  // a line's digits: the rest of its room is left as it is.
  const uint64_t used = last_line_room(2 * uint64_t{in.size}, layout.hexlen * layout.linelen);
  if (used == 0) return;
  if (filler.size == 1) {
    if (used < 8) {
      for (uint64_t k = 0; k < used; ++k) out[k] = static_cast<char>(filler[0]);
      return;
    }
    // Eight at a time, the last eight overlapping: the room is a few bytes.
    const uint64_t eight = uint64_t{filler[0]} * 0x0101010101010101ULL;
    for (uint64_t k = 0; k + 8 < used; k += 8) std::memcpy(out + k, &eight, 8);
    std::memcpy(out + used - 8, &eight, 8);
    return;
  }
  // One copy, then what is written so far copied after itself.
  uint64_t done = filler.size < used ? filler.size : used;
  std::memcpy(out, filler.data, done);
  while (done < used) {
    const uint64_t n = done < used - done ? done : used - done;
    std::memcpy(out + done, out, n);
    done += n;
  }
}

}  // namespace ztk::hexdump
