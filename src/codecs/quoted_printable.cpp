#include "codecs/quoted_printable.h"

#include <atomic>

#include "frame/registry.h"
#include "frame/string_access.h"
#include "text/byte_sink.h"

// The encoder's line length: set by the two-argument form (values of 2 and
// more), reset to 72 by the one-argument form, kept between calls otherwise.
// Host threads encode at once: a call that sets a length encodes with its own
// argument, and a call that does not reads the setting once, at its start.
static std::atomic<int32_t> LINELEN{72};

namespace {
template <class Coder>
REALstring transform(REALstring s, Coder coder) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const int64_t capacity = int64_t{in.length} + 1024;
  if (capacity > 0x7FFFFFFF) return nullptr;
  ztk::ByteSink out(capacity);
  if (!out.alive()) return nullptr;
  coder(in.view(), out);
  return out.build(enc::kASCII);
}
}  // namespace

REALstring EncodingToQuotedPrintable2(REALstring s, RBInteger lineLength) {
  int32_t length;
  if (lineLength >= 2) {
    length = lineLength > INT32_MAX ? INT32_MAX : static_cast<int32_t>(lineLength);
    LINELEN.store(length, std::memory_order_relaxed);
  } else {
    length = LINELEN.load(std::memory_order_relaxed);
  }
  return transform(s, [length](ztk::ByteView in, ztk::ByteSink &out) { ztk::qp::encode(in, length, out); });
}

REALstring EncodingToQuotedPrintable1(REALstring s) { return EncodingToQuotedPrintable2(s, 72); }

// Serves DecodingFromQuotedPrintableZTK (the handler keeps its historical name).
REALstring DecodingToQuotedPrintable(REALstring s) {
  return transform(s, [](ztk::ByteView in, ztk::ByteSink &out) {
    out.append(in.size, [in](uint8_t *room) { return ztk::qp::decode(in, room); });
  });
}
