#include "codecs/quoted_printable.h"

#include <atomic>

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/byte_sink.h"

// The encoder's line length: set by the two-argument form (values of 2 and
// more), reset to 72 by the one-argument form, kept between calls otherwise.
// Host threads encode at once: a call that sets a length encodes with its own
// argument, and a call that does not reads the setting once, at its start.
static std::atomic<int32_t> LINELEN{72};

namespace {
// Output up to this size is written on the stack: a short call then makes
// no allocation of its own, only the host's string.
constexpr size_t kOnStack = 2048;

// The longest input either direction takes: its first output block held
// the input and 1 KB more.
constexpr int64_t kLongestInput = 0x7FFFFFFF - 1024;

REALstring built(const uint8_t *out, size_t n) {
  return n > 0 ? ztk::BuildString(out, static_cast<int64_t>(n), enc::kASCII) : nullptr;
}

// Writes into room for `room` bytes with write(out), which returns the bytes
// written, and builds the ASCII string of them (null when there are none).
template <class Write>
REALstring built_from(size_t room, Write write) {
  if (room <= kOnStack) {
    uint8_t out[kOnStack];
    return built(out, write(out));
  }
  if (!ztk::mem::size_ok(room)) return nullptr;
  auto *out = static_cast<uint8_t *>(ztk::mem::alloc(room));
  if (out == nullptr) return nullptr;
  REALstring result = built(out, write(out));
  ztk::mem::release(out);
  return result;
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
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const ztk::ByteView view = in.view();
  if (view.empty() || in.length > kLongestInput) return nullptr;
  // A short input is one stretch written into one buffer; a long one grows
  // its output stretch by stretch.
  if (view.size <= ztk::qp::kStretch) {
    return built_from(ztk::qp::encoded_room(view.size),
                      [&](uint8_t *out) { return ztk::qp::encode_short(view, length, out); });
  }
  ztk::ByteSink out(int64_t{in.length} + 1024);
  if (!out.alive()) return nullptr;
  ztk::qp::encode(view, length, out);
  return out.build(enc::kASCII);
}

REALstring EncodingToQuotedPrintable1(REALstring s) { return EncodingToQuotedPrintable2(s, 72); }

// Serves DecodingFromQuotedPrintableZTK (the handler keeps its historical name).
REALstring DecodingToQuotedPrintable(REALstring s) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const ztk::ByteView view = in.view();
  if (view.empty() || in.length > kLongestInput) return nullptr;
  // Never more output than input.
  return built_from(view.size, [&](uint8_t *out) { return ztk::qp::decode(view, out); });
}
