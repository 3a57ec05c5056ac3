#include "codecs/code_pages.h"

#include "frame/host_api.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/byte_sink.h"
#include "text/rb_text.h"

namespace {

// Text the host holds as UTF-8 is encoded from its bytes: the units the
// host would convert it to are its characters (a pair for one above U+FFFF,
// which no page holds). Text in another encoding, or bytes that are not
// well-formed UTF-8, go through the host's UTF-16.
REALstring EncodingFromUTF8(REALstring s, const ztk::codepage::Table &table, bool &done) {
  done = false;
  if (REALGetStringEncoding(s).value_or(enc::kNone) != enc::kUTF8) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const ztk::ByteView bytes = in.view();
  if (bytes.size == 0 || bytes.size > INT32_MAX / 2) return nullptr;
  ztk::ByteSink out(int64_t(bytes.size));  // a byte a character at most
  if (!out.alive()) return nullptr;
  bool formed = false;
  out.append(bytes.size, [&](uint8_t *o) {
    size_t written = 0;
    formed = ztk::codepage::encode_utf8(table, bytes, o, written);
    return formed ? written : 0;
  });
  if (!formed || !out.alive()) return nullptr;
  done = true;
  if (out.size() == 0) return nullptr;
  return out.build(ztk::RawBytesTag({out.data(), static_cast<size_t>(out.size())}));
}

REALstring EncodingTo(REALstring s, const ztk::codepage::Table &table) {
  bool done = false;
  REALstring fromUTF8 = EncodingFromUTF8(s, table, done);
  if (done) return fromUTF8;
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
