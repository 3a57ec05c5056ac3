#include "frame/string_build.h"

#include <cstring>

#include "frame/byte_checks.h"
#include "frame/host_api.h"
#include "frame/plugin_alloc.h"

namespace ztk {

namespace {
// Whether n bytes (1 to 32) are all below 0x80, from loads of 8, 4 or 1
// bytes that overlap in the middle and stay inside the bytes. A short result
// is tested here rather than through the kernel table, whose block loops and
// tails cost several times this on a few bytes.
uint64_t load8(const uint8_t *p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
  return v;
}
bool short_all_ascii(const uint8_t *p, size_t n) {
  uint64_t seen;
  if (n >= 16) {
    seen = load8(p) | load8(p + 8) | load8(p + n - 16) | load8(p + n - 8);
  } else if (n >= 8) {
    seen = load8(p) | load8(p + n - 8);
  } else if (n >= 4) {
    uint32_t head, tail;
    std::memcpy(&head, p, 4);
    std::memcpy(&tail, p + n - 4, 4);
    seen = head | tail;
  } else {
    seen = p[0] | p[n / 2] | p[n - 1];
  }
  return (seen & 0x8080808080808080u) == 0;
}
}  // namespace

uint32_t RawBytesTag(ByteView bytes) {
  if (bytes.size >= 1 && bytes.size <= 32) return short_all_ascii(bytes.data, bytes.size) ? enc::kASCII : enc::kNone;
  return byte_checks::all_ascii(bytes) ? enc::kASCII : enc::kNone;
}

REALstring BuildString(const void *bytes, int64_t n, uint32_t encoding) {
  if (n < 0 || static_cast<uint64_t>(n) > mem::kMaxBlock) return nullptr;
  REALstring s = originalREALBuildString(bytes, static_cast<int>(n));
  if (s == nullptr) return nullptr;
  REALSetStringEncoding(s, encoding);
  return s;
}

REALstring BuildRawBytes(ByteView bytes) {
  return BuildString(bytes.data, static_cast<int64_t>(bytes.size), RawBytesTag(bytes));
}

}  // namespace ztk

namespace {

// UTF-16 bytes to a UTF-8 host string through the host's converter.
REALstring utf16_to_utf8(const void *data, int length) {
  if (!ztk::host::can_release_strings()) return nullptr;
  REALstring u = originalREALBuildString(data, length);
  if (u == nullptr) return nullptr;
  REALSetStringEncoding(u, enc::kUTF16);
  REALstring r = REALConvertString(u, enc::kUTF8);
  REALUnlockString(u);
  return r;
}

// Keeps the low 16 bits of each 32-bit unit (no surrogate pairs are formed).
void narrow_utf32(const uint8_t *in, size_t count, uint16_t *out) {
  for (size_t i = 0; i < count; ++i) {
    uint32_t unit;
    std::memcpy(&unit, in + 4 * i, 4);
    out[i] = static_cast<uint16_t>(unit);
  }
}

}  // namespace

REALstring REALBuildUnicodeString(const void *data, int64_t length, uint32_t encoding) {
  if (data == nullptr || length <= 0 || length >= (int64_t{1} << 31)) return nullptr;
  const auto *bytes = static_cast<const uint8_t *>(data);

  switch (static_cast<int32_t>(encoding)) {
    case static_cast<int32_t>(enc::kUTF32): {
      if (!ztk::host::can_release_strings()) return nullptr;
      const size_t count = static_cast<size_t>(length) / 4;
      uint16_t stack[200];
      uint16_t *buffer = stack;
      if (length >= 800) {
        const uint64_t bytesNeeded = uint64_t{count} * 2 + 4;
        if (!ztk::mem::size_ok(bytesNeeded)) return nullptr;
        buffer = static_cast<uint16_t *>(ztk::mem::alloc_zeroed(bytesNeeded));
        if (buffer == nullptr) return nullptr;
      }
      narrow_utf32(bytes, count, buffer);
      REALstring u = originalREALBuildString(buffer, static_cast<int>(count * 2));
      REALstring r;
      if (u == nullptr) {
        r = REALConvertString(nullptr, enc::kUTF8);
      } else {
        REALSetStringEncoding(u, enc::kUTF16);
        r = REALConvertString(u, enc::kUTF8);
        REALUnlockString(u);
      }
      if (buffer != stack) ztk::mem::release(buffer);
      return r;
    }
    case static_cast<int32_t>(enc::kUTF16):
      return utf16_to_utf8(data, static_cast<int>(length));
    case static_cast<int32_t>(enc::kMacRoman):
    case static_cast<int32_t>(enc::kWindows1252):
    case static_cast<int32_t>(enc::kNone):
      encoding = ztk::RawBytesTag({bytes, static_cast<size_t>(length)}) == enc::kASCII ? enc::kASCII : encoding;
      break;
    default:
      break;
  }
  return ztk::BuildString(data, length, encoding);
}
