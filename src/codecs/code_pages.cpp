#include "codecs/code_pages.h"

#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/byte_sink.h"
#include "text/rb_text.h"

namespace {

REALstring EncodingTo(REALstring s, const ztk::codepage::Table &table) {
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
