#include "codecs/code_pages.h"

#include "frame/host_api.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/byte_scan.h"
#include "text/byte_sink.h"
#include "text/rb_text.h"

namespace {

// Text the host holds as UTF-8 or ASCII with no byte from 0x80 on is its own
// encoding in either page (every unit below 0x80 is its own byte): its bytes
// are the result, found by one scan with no UTF-16 between.
bool IsPlainASCIIText(REALstring s, rbData &in) {
  const uint32_t encoding = REALGetStringEncoding(s).value_or(enc::kNone);
  if (encoding != enc::kUTF8 && encoding != enc::kASCII) return false;
  ztk::ReadString(in, s);
  static constexpr ztk::scan::ByteSet kHigh{{0x80, 0xFF}};
  return in.view().size > 0 && ztk::scan::find(in.view(), 0, kHigh) == in.view().size;
}

REALstring EncodingTo(REALstring s, const ztk::codepage::Table &table) {
  {
    rbData in;
    if (IsPlainASCIIText(s, in)) return ztk::BuildString(in.view().data, int64_t(in.view().size), enc::kASCII);
  }
  rbText text(s);
  const ztk::U16View units = text.utf16();
  ztk::ByteSink out(2 * int64_t(units.size));
  if (!out.alive()) return nullptr;
  out.append(units.size, [&](uint8_t *o) { return ztk::codepage::encode(table, units, o); });
  if (!out.alive() || out.size() == 0) return nullptr;
  return out.build(ztk::RawBytesTag({out.data(), static_cast<size_t>(out.size())}));
}

REALstring DecodingTo(REALstring s, const ztk::codepage::Table &table) {
  rbData in;
  ztk::ReadString(in, s);
  const ztk::ByteView bytes = in.view();
  ztk::ByteSink out(int64_t(bytes.size) + 1024);
  // One unit a byte: room for all of them at once grows (or fails) exactly
  // where unit-by-unit appends would have.
  if (bytes.size > 0 && bytes.size <= INT32_MAX / 2) {
    out.append(2 * bytes.size, [&](uint8_t *o) {
      // The units start the block, so they are aligned.
      ztk::codepage::decode(table, bytes, static_cast<uint16_t *>(static_cast<void *>(o)));
      return 2 * bytes.size;
    });
  }
  return out.build_unicode(enc::kUTF16);
}

}  // namespace

REALstring EncodingToISO8859(REALstring s) { return EncodingTo(s, ztk::codepage::escapecharsISO8859); }
REALstring EncodingToCP1252(REALstring s) { return EncodingTo(s, ztk::codepage::escapecharsCP1252); }
// The decoders serve the DecodingFrom... methods (the handlers keep their historical names).
REALstring DecodingToISO8859(REALstring s) { return DecodingTo(s, ztk::codepage::escapecharsISO8859); }
REALstring DecodingToCP1252(REALstring s) { return DecodingTo(s, ztk::codepage::escapecharsCP1252); }
