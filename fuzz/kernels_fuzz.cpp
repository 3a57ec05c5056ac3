// Every fast path against its plain version, at every vector level this CPU
// offers: the byte and UTF-16 scanning kernels, hex, the bitwise and
// byte-check kernels, the URL, quoted-printable, MySQL and yEnc codecs
// against the one-byte codecs the tests keep, the SQL event search, the
// code pages against their tables, and number formatting against the C
// formatter. Inputs are copied to exact-size buffers, outputs
// get exactly the room promised, so ASan sees any access past either.
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/number_format.h"
#include "analysis/sql_boolean.h"
#include "binary/bitwise.h"
#include "frame/byte_checks.h"
#include "codecs/code_pages.h"
#include "codecs/hex.h"
#include "codecs/mysql.h"
#include "codecs/quoted_printable.h"
#include "codecs/url.h"
#include "codecs/yenc.h"
#include "frame/cpu.h"
#include "fuzz_check.h"
#include "reference_codecs.h"
#include "text/byte_scan.h"
#include "text/byte_sink.h"
#include "text/unit_scan.h"

namespace {

namespace reference = ztk_test::reference;
using ztk::ByteView;

// Output room of exactly n bytes, checked for writes past it by ASan.
struct Room {
  explicit Room(size_t n) : bytes(n == 0 ? 1 : n) {}
  uint8_t *data() { return bytes.data(); }
  std::string first(size_t k) const { return std::string(bytes.begin(), bytes.begin() + static_cast<long>(k)); }
  std::vector<uint8_t> bytes;
};

std::string_view text(ByteView v) { return {reinterpret_cast<const char *>(v.data), v.size}; }

void scanning(ByteView in, uint8_t a, uint8_t b) {
  const ztk::scan::ByteSet sets[] = {
      ztk::scan::ByteSet{{a, a}},
      ztk::scan::ByteSet{{a, a}, {b, b}},
      ztk::scan::ByteSet{{static_cast<uint8_t>(a < b ? a : b), static_cast<uint8_t>(a < b ? b : a)}},
      ztk::scan::ByteSet{{{'0', '9'}, {'A', 'Z'}, {'a', 'z'}}, true},
  };
  for (const auto &set : sets) {
    for (size_t from : {size_t{0}, in.size / 3}) {
      FUZZ_CHECK(ztk::scan::find(in, from, set) == ztk::scan::find_reference(in, from, set));
      Room fast(in.size - from), slow(in.size - from);
      const size_t stop = ztk::scan::copy_until(in, from, set, b, fast.data());
      FUZZ_CHECK(stop == ztk::scan::copy_until_reference(in, from, set, b, slow.data()));
      FUZZ_CHECK(fast.first(stop - from) == slow.first(stop - from));
    }
  }
  FUZZ_CHECK(ztk::scan::count(in, a) == ztk::scan::count_reference(in, a));
  const uint8_t needle[] = {a, b, a};
  for (size_t k : {2, 3}) FUZZ_CHECK(ztk::scan::count_needle(in, {needle, k}) == ztk::scan::count_needle_reference(in, {needle, k}));
  Room fast(in.size), slow(in.size);
  const size_t n = ztk::scan::unescape(in, a, b, static_cast<uint8_t>(a + b), fast.data());
  FUZZ_CHECK(n == ztk::scan::unescape_reference(in, a, b, static_cast<uint8_t>(a + b), slow.data()));
  FUZZ_CHECK(fast.first(n) == slow.first(n));
}

void binary(ByteView in, uint8_t a) {
  Room fast(2 * in.size), slow(2 * in.size);
  ztk::hex::encode(in, reinterpret_cast<char *>(fast.data()));
  ztk::hex::encode_reference(in, reinterpret_cast<char *>(slow.data()));
  FUZZ_CHECK(fast.bytes == slow.bytes);
  Room fastBytes(in.size / 2), slowBytes(in.size / 2);
  ztk::hex::decode({in.data, in.size / 2 * 2}, fastBytes.data());
  ztk::hex::decode_reference({in.data, in.size / 2 * 2}, slowBytes.data());
  FUZZ_CHECK(fastBytes.bytes == slowBytes.bytes);

  const size_t m = 1 + a % 40;
  if (in.size > m) {
    const ByteView mask{in.data, m}, data{in.data + m, in.size - m};
    Room f(data.size), s(data.size);
    for (auto op : {ztk::bitwise::Op::And, ztk::bitwise::Op::Or}) {
      ztk::bitwise::combine(data, mask, op, f.data());
      ztk::bitwise::combine_reference(data, mask, op, s.data());
      FUZZ_CHECK(f.first(data.size) == s.first(data.size));
    }
    for (bool withPosition : {false, true}) {
      ztk::bitwise::exclusive_or(data, mask, a % m, withPosition, f.data());
      ztk::bitwise::exclusive_or_reference(data, mask, a % m, withPosition, s.data());
      FUZZ_CHECK(f.first(data.size) == s.first(data.size));
    }
  }
  for (auto c : {ztk::byte_checks::Class::Ascii, ztk::byte_checks::Class::Printable, ztk::byte_checks::Class::NoControl}) {
    FUZZ_CHECK(ztk::byte_checks::all_in_class(in, c) == ztk::byte_checks::all_in_class_reference(in, c));
  }
  Room f(in.size), s(in.size);
  ztk::byte_checks::replace_non_printable(in, a, f.data());
  ztk::byte_checks::replace_non_printable_reference(in, a, s.data());
  FUZZ_CHECK(f.bytes == s.bytes);
}

void codecs(ByteView in, uint8_t a) {
  for (int64_t options = 0; options < 4; ++options) {
    Room out(ztk::url::max_encoded_size(in.size));
    const size_t n = ztk::url::encode(in, options, reinterpret_cast<char *>(out.data()));
    FUZZ_CHECK(out.first(n) == reference::url_encode(text(in), options));
  }
  Room out(in.size);
  for (int64_t options = 0; options < 2; ++options) {
    const size_t n = ztk::url::decode(in, options, out.data());
    FUZZ_CHECK(out.first(n) == reference::url_decode(text(in), options));
  }
  size_t n = ztk::mysql::unescape(in, out.data());
  FUZZ_CHECK(out.first(n) == reference::mysql_unescape(text(in)));
  n = ztk::yenc::decode(in, out.data());
  FUZZ_CHECK(out.first(n) == reference::ydecode(text(in)));
  n = ztk::qp::decode(in, out.data());
  FUZZ_CHECK(out.first(n) == reference::qp_decode(text(in)));
  const int32_t lineLength = 2 + a % 90;
  ztk::ByteSink sink(static_cast<int64_t>(in.size) + 1024);
  ztk::qp::encode(in, lineLength, sink);
  const std::string encoded = sink.size() > 0 ? std::string(sink.data(), sink.data() + sink.size()) : "";
  FUZZ_CHECK(encoded == reference::qp_encode(text(in), lineLength));
}

void text_kernels(ByteView in, uint8_t a, uint8_t b) {
  for (size_t from : {size_t{0}, size_t{1}, in.size / 2}) {
    FUZZ_CHECK(ztk::sql::find_event(in, from) == ztk::sql::find_event_reference(in, from));
  }
  // The same bytes as UTF-16 units, in an exact-size copy.
  std::vector<uint16_t> units(in.size / 2);
  if (!units.empty()) std::memcpy(units.data(), in.data, units.size() * 2);
  const ztk::U16View u{units.data(), units.size()};
  const ztk::units::UnitSet sets[] = {
      ztk::units::UnitSet(0xFF80, {'&', '<', '>'}),
      ztk::units::UnitSet(0, {static_cast<uint16_t>(a << 8 | b)}).with_range(a, static_cast<uint16_t>(a + b)),
  };
  for (const auto &set : sets) {
    for (size_t from : {size_t{0}, units.size() / 3}) {
      FUZZ_CHECK(ztk::units::find(u, from, set) == ztk::units::find_reference(u, from, set));
    }
  }
  Room fast(units.size()), slow(units.size());
  ztk::units::narrow(units.data(), units.size(), fast.data());
  ztk::units::narrow_reference(units.data(), units.size(), slow.data());
  FUZZ_CHECK(fast.bytes == slow.bytes);
  std::vector<uint16_t> wide(in.size + 1), plain(in.size + 1);
  ztk::units::widen(in.data, in.size, wide.data());
  ztk::units::widen_reference(in.data, in.size, plain.data());
  FUZZ_CHECK(wide == plain);
  // Both code pages, the units encoded and the bytes decoded, against the
  // table one unit or byte at a time.
  for (const auto *table : {&ztk::codepage::escapecharsISO8859, &ztk::codepage::escapecharsCP1252}) {
    Room encoded(units.size());
    std::string expected;
    for (uint16_t unit : units) {
      const int byte = ztk::codepage::find_byte(*table, unit);
      if (byte >= 0) expected += static_cast<char>(byte);
    }
    FUZZ_CHECK(encoded.first(ztk::codepage::encode(*table, u, encoded.data())) == expected);
    std::vector<uint16_t> decoded(in.size), byTable(in.size);
    ztk::codepage::decode(*table, in, decoded.data());
    for (size_t i = 0; i < in.size; ++i) byTable[i] = (*table)[in[i]];
    FUZZ_CHECK(decoded == byTable);
  }
  // Every eight bytes a double, formatted both ways.
  char x[ztk::numfmt::kTextBuffer], y[ztk::numfmt::kTextBuffer];
  for (size_t k = 0; k + 8 <= in.size && k < 64; k += 8) {
    double d;
    std::memcpy(&d, in.data + k, sizeof d);
    size_t n = ztk::numfmt::plain(d, x);
    FUZZ_CHECK(n == ztk::numfmt::plain_by_formatter(d, y) && std::memcmp(x, y, n) == 0);
    const int64_t digits = static_cast<int64_t>(a) - 20;
    n = ztk::numfmt::scientific(d, digits, x);
    FUZZ_CHECK(n == ztk::numfmt::scientific_by_formatter(d, digits, y) && std::memcmp(x, y, n) == 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const uint8_t a = data[0], b = data[1];
  // An exact-size copy: the kernels' vector loads must stop at its end.
  const std::vector<uint8_t> bytes(data + 2, data + size);
  const ByteView in{bytes.data(), bytes.size()};
  for (int level = ztk::cpu::kPlain; level <= ztk::cpu::best(); ++level) {
    ztk::cpu::limit(static_cast<ztk::cpu::Level>(level));
    scanning(in, a, b);
    binary(in, a);
    codecs(in, a);
    text_kernels(in, a, b);
  }
  ztk::cpu::limit(ztk::cpu::kTop);
  return 0;
}
