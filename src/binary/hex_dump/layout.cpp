#include "binary/hex_dump/levels.h"
#include "frame/plugin_alloc.h"

namespace ztk::hexdump {
namespace {
constexpr uint8_t kZeroDigit[] = {'0'};
constexpr ByteView kDefaultFiller{kZeroDigit, 1};
}  // namespace

uint64_t output_size(uint64_t inputBytes, const Layout &layout) {
  const uint64_t width = layout.hexlen * layout.linelen;  // both below 2^31
  const uint64_t lines = (2 * inputBytes + width - 1) / width;
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
  const uint64_t copies = layout.hexlen * layout.linelen;
  for (uint64_t k = 0; k < copies; ++k) out = put(out, filler);
}

}  // namespace ztk::hexdump
