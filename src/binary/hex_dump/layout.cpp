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

}  // namespace

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
