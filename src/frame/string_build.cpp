#include "frame/string_build.h"

#include <cstring>

#include "frame/byte_checks.h"
#include "frame/host_api.h"
#include "frame/plugin_alloc.h"

namespace ztk {

uint32_t RawBytesTag(ByteView bytes) {
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
