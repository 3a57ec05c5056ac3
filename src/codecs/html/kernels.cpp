// The HTML entity codec's tables, its dispatch and its unit-at-a-time
// versions: UTF-16 units or bytes in, growable buffers out; codecs/html.cpp
// holds the handlers.
#include "codecs/html.h"

#include <algorithm>
#include <cstring>

#include "codecs/html/levels.h"
#include "frame/dispatch.h"
#include "text/byte_scan.h"
#include "text/string_handles.h"
#include "text/unit_scan.h"

namespace ztk::html {

// The 252 named character references of HTML 4.01 with their code points
// (so lang is 9001 and rang 9002), plus apos (39), in ascending code order.
constexpr EscapeCode escapecodes[] = {
    {34, "quot"}, {38, "amp"}, {39, "apos"}, {60, "lt"}, {62, "gt"}, {160, "nbsp"}, {161, "iexcl"}, {162, "cent"},
    {163, "pound"}, {164, "curren"}, {165, "yen"}, {166, "brvbar"}, {167, "sect"}, {168, "uml"}, {169, "copy"},
    {170, "ordf"}, {171, "laquo"}, {172, "not"}, {173, "shy"}, {174, "reg"}, {175, "macr"}, {176, "deg"},
    {177, "plusmn"}, {178, "sup2"}, {179, "sup3"}, {180, "acute"}, {181, "micro"}, {182, "para"}, {183, "middot"},
    {184, "cedil"}, {185, "sup1"}, {186, "ordm"}, {187, "raquo"}, {188, "frac14"}, {189, "frac12"}, {190, "frac34"},
    {191, "iquest"}, {192, "Agrave"}, {193, "Aacute"}, {194, "Acirc"}, {195, "Atilde"}, {196, "Auml"},
    {197, "Aring"}, {198, "AElig"}, {199, "Ccedil"}, {200, "Egrave"}, {201, "Eacute"}, {202, "Ecirc"}, {203, "Euml"},
    {204, "Igrave"}, {205, "Iacute"}, {206, "Icirc"}, {207, "Iuml"}, {208, "ETH"}, {209, "Ntilde"}, {210, "Ograve"},
    {211, "Oacute"}, {212, "Ocirc"}, {213, "Otilde"}, {214, "Ouml"}, {215, "times"}, {216, "Oslash"},
    {217, "Ugrave"}, {218, "Uacute"}, {219, "Ucirc"}, {220, "Uuml"}, {221, "Yacute"}, {222, "THORN"}, {223, "szlig"},
    {224, "agrave"}, {225, "aacute"}, {226, "acirc"}, {227, "atilde"}, {228, "auml"}, {229, "aring"}, {230, "aelig"},
    {231, "ccedil"}, {232, "egrave"}, {233, "eacute"}, {234, "ecirc"}, {235, "euml"}, {236, "igrave"},
    {237, "iacute"}, {238, "icirc"}, {239, "iuml"}, {240, "eth"}, {241, "ntilde"}, {242, "ograve"}, {243, "oacute"},
    {244, "ocirc"}, {245, "otilde"}, {246, "ouml"}, {247, "divide"}, {248, "oslash"}, {249, "ugrave"},
    {250, "uacute"}, {251, "ucirc"}, {252, "uuml"}, {253, "yacute"}, {254, "thorn"}, {255, "yuml"}, {338, "OElig"},
    {339, "oelig"}, {352, "Scaron"}, {353, "scaron"}, {376, "Yuml"}, {402, "fnof"}, {710, "circ"}, {732, "tilde"},
    {913, "Alpha"}, {914, "Beta"}, {915, "Gamma"}, {916, "Delta"}, {917, "Epsilon"}, {918, "Zeta"}, {919, "Eta"},
    {920, "Theta"}, {921, "Iota"}, {922, "Kappa"}, {923, "Lambda"}, {924, "Mu"}, {925, "Nu"}, {926, "Xi"},
    {927, "Omicron"}, {928, "Pi"}, {929, "Rho"}, {931, "Sigma"}, {932, "Tau"}, {933, "Upsilon"}, {934, "Phi"},
    {935, "Chi"}, {936, "Psi"}, {937, "Omega"}, {945, "alpha"}, {946, "beta"}, {947, "gamma"}, {948, "delta"},
    {949, "epsilon"}, {950, "zeta"}, {951, "eta"}, {952, "theta"}, {953, "iota"}, {954, "kappa"}, {955, "lambda"},
    {956, "mu"}, {957, "nu"}, {958, "xi"}, {959, "omicron"}, {960, "pi"}, {961, "rho"}, {962, "sigmaf"},
    {963, "sigma"}, {964, "tau"}, {965, "upsilon"}, {966, "phi"}, {967, "chi"}, {968, "psi"}, {969, "omega"},
    {977, "thetasym"}, {978, "upsih"}, {982, "piv"}, {8194, "ensp"}, {8195, "emsp"}, {8201, "thinsp"},
    {8204, "zwnj"}, {8205, "zwj"}, {8206, "lrm"}, {8207, "rlm"}, {8211, "ndash"}, {8212, "mdash"}, {8216, "lsquo"},
    {8217, "rsquo"}, {8218, "sbquo"}, {8220, "ldquo"}, {8221, "rdquo"}, {8222, "bdquo"}, {8224, "dagger"},
    {8225, "Dagger"}, {8226, "bull"}, {8230, "hellip"}, {8240, "permil"}, {8242, "prime"}, {8243, "Prime"},
    {8249, "lsaquo"}, {8250, "rsaquo"}, {8254, "oline"}, {8260, "frasl"}, {8364, "euro"}, {8465, "image"},
    {8472, "weierp"}, {8476, "real"}, {8482, "trade"}, {8501, "alefsym"}, {8592, "larr"}, {8593, "uarr"},
    {8594, "rarr"}, {8595, "darr"}, {8596, "harr"}, {8629, "crarr"}, {8656, "lArr"}, {8657, "uArr"}, {8658, "rArr"},
    {8659, "dArr"}, {8660, "hArr"}, {8704, "forall"}, {8706, "part"}, {8707, "exist"}, {8709, "empty"},
    {8711, "nabla"}, {8712, "isin"}, {8713, "notin"}, {8715, "ni"}, {8719, "prod"}, {8721, "sum"}, {8722, "minus"},
    {8727, "lowast"}, {8730, "radic"}, {8733, "prop"}, {8734, "infin"}, {8736, "ang"}, {8743, "and"}, {8744, "or"},
    {8745, "cap"}, {8746, "cup"}, {8747, "int"}, {8756, "there4"}, {8764, "sim"}, {8773, "cong"}, {8776, "asymp"},
    {8800, "ne"}, {8801, "equiv"}, {8804, "le"}, {8805, "ge"}, {8834, "sub"}, {8835, "sup"}, {8836, "nsub"},
    {8838, "sube"}, {8839, "supe"}, {8853, "oplus"}, {8855, "otimes"}, {8869, "perp"}, {8901, "sdot"},
    {8968, "lceil"}, {8969, "rceil"}, {8970, "lfloor"}, {8971, "rfloor"}, {9001, "lang"}, {9002, "rang"},
    {9674, "loz"}, {9824, "spades"}, {9827, "clubs"}, {9829, "hearts"}, {9830, "diams"},
    {0, nullptr},
};

namespace {
constexpr uint16_t kAmpersand = '&', kSemicolon = ';', kHash = '#';

bool is_decimal(uint16_t u) { return u >= '0' && u <= '9'; }
bool is_hex(uint16_t u) { return is_decimal(u) || (u >= 'A' && u <= 'F') || (u >= 'a' && u <= 'f'); }
int hex_digit(uint16_t u) {
  if (is_decimal(u)) return u - '0';
  return (u | 0x20) - 'a' + 10;
}

// Appends a decoded reference value: a BMP unit as it is, a value above
// 0xFFFF as its surrogate pair.
void add_code_point(UnicodeStringHandle &out, int32_t value) {
  if (value <= 0xFFFF) {
    Add(out, static_cast<unsigned short>(value));
  } else {
    const int32_t v = value - 0x10000;
    Add(out, static_cast<unsigned short>(0xD800 + (v >> 10)));
    Add(out, static_cast<unsigned short>(0xDC00 + (v & 0x3FF)));
  }
}

// Decodes the reference at u[i] ("&" followed by k units and ";", or the end
// of the text); returns false when it is not one.
bool decode_reference(const uint16_t *u, size_t n, size_t i, size_t k, UnicodeStringHandle &out) {
  if (const EscapeCode *e = find_name(u + i + 1, k)) {
    Add(out, static_cast<unsigned short>(e->code));
    return true;
  }
  if (u[i + 1] != kHash) return false;
  int32_t value = 0;
  bool minus = false;
  size_t p = i + 2;
  if (p < n && u[p] == 'x') {
    for (size_t end = std::min(n, p + 5), q = p + 1; q < end && (u[q] == '-' || is_hex(u[q])); ++q) {
      if (u[q] == '-') {
        minus = true;
      } else {
        value = value * 16 + hex_digit(u[q]);
      }
    }
  } else {
    for (; p < n && (u[p] == '-' || is_decimal(u[p])); ++p) {
      if (u[p] == '-') {
        minus = true;
      } else if (value <= 0x10FFFF) {  // more digits than a reference can hold change nothing
        value = value * 10 + (u[p] - '0');
      }
    }
  }
  if (minus) value = -value;
  if (value <= 0 || value > 0x10FFFF) return false;
  add_code_point(out, value);
  return true;
}
}  // namespace

namespace {

constexpr size_t name_length(const char *name) {
  size_t n = 0;
  while (name[n] != '\0') ++n;
  return n;
}

constexpr CodeIndex make_code_index() {
  CodeIndex index{};
  for (int r = 0; r < kEntityCount; ++r) index.row[escapecodes[r].code] = static_cast<uint8_t>(r + 1);
  return index;
}
static_assert(kEntityCount < 255, "rows are numbered in a byte");

constexpr NameIndex make_name_index() {
  NameIndex index{};
  for (auto &r : index.row) r = -1;
  for (int r = 0; r < kEntityCount; ++r) {
    const size_t k = name_length(escapecodes[r].name);
    if (k > kMaxName) continue;
    uint16_t units[kMaxName] = {};
    for (size_t j = 0; j < k; ++j) units[j] = static_cast<uint8_t>(escapecodes[r].name[j]);
    const uint64_t lo = name_lo(units, k), hi = name_hi(units, k);
    size_t slot = slot_of(lo, hi);
    while (index.row[slot] >= 0) slot = (slot + 1) % 512;
    index.lo[slot] = lo;
    index.hi[slot] = hi;
    index.row[slot] = static_cast<int16_t>(r);
    index.code[slot] = static_cast<uint16_t>(escapecodes[r].code);
  }
  return index;
}

constexpr References make_references() {
  References all{};
  for (int r = 0; r < kEntityCount; ++r) {
    const size_t n = name_length(escapecodes[r].name);
    Reference &ref = all.row[r];
    ref.text[0] = '&';
    for (size_t j = 0; j < n; ++j) ref.text[1 + j] = escapecodes[r].name[j];
    ref.text[n + 1] = ';';
    ref.nameLength = static_cast<uint8_t>(n);
  }
  return all;
}

constexpr EncodeTable make_encode_table() {
  EncodeTable table{};
  for (int r = 0; r < kEntityCount; ++r) {
    const size_t n = name_length(escapecodes[r].name);
    EncodeRow &row = table.row[r + 1];
    row.text[0] = '&';
    for (size_t j = 0; j < n; ++j) row.text[1 + j] = escapecodes[r].name[j];
    row.text[n + 1] = ';';
    row.length = static_cast<uint8_t>(n + 2);
    table.index[escapecodes[r].code] = static_cast<uint8_t>(r + 1);
  }
  constexpr int kApos = kEntityCount + 1;
  const char apos[] = "&#39;";
  for (size_t j = 0; j < 5; ++j) table.row[kApos].text[j] = apos[j];
  table.row[kApos].length = 5;
  table.index[static_cast<uint8_t>('\'')] = static_cast<uint8_t>(kApos);
  return table;
}
static_assert(kEntityCount + 1 < 256, "encoder rows are numbered in a byte");

constexpr LatinRows make_latin_rows(const EncodeTable &table) {
  LatinRows rows{};
  for (size_t c = 0; c < 256; ++c) {
    EncodeRow &row = rows.row[c];
    if (table.index[c] != 0) {
      row = table.row[table.index[c]];
    } else if (c >= 0x80) {
      const char digits[3] = {static_cast<char>('0' + c / 100), static_cast<char>('0' + c / 10 % 10),
                              static_cast<char>('0' + c % 10)};
      const char text[6] = {'&', '#', digits[0], digits[1], digits[2], ';'};
      for (size_t j = 0; j < 6; ++j) row.text[j] = text[j];
      row.length = 6;
    } else {
      row.text[0] = static_cast<char>(c);
      row.length = 1;
    }
  }
  return rows;
}

// The names texts use most, placed first so that each has its own slot and
// is found by one compare; the others may have to probe.
constexpr const char *kCommonNames[] = {
    "amp",    "lt",     "gt",     "quot",   "apos",   "nbsp",   "copy",   "reg",   "trade", "eacute", "egrave",
    "agrave", "ecirc",  "ccedil", "ouml",   "uuml",   "auml",   "szlig",  "ndash", "mdash", "hellip", "rsquo",
    "lsquo",  "ldquo",  "rdquo",  "laquo",  "raquo",  "euro",   "pound",  "middot", "bull", "times",  "ucirc",
};

constexpr bool same_name(const char *a, const char *b) {
  for (; *a != 0 && *a == *b; ++a, ++b) {
  }
  return *a == *b;
}

constexpr bool is_common(const char *name) {
  for (const char *common : kCommonNames) {
    if (same_name(name, common)) return true;
  }
  return false;
}

constexpr ByteNameIndex make_byte_name_index() {
  ByteNameIndex index{};
  for (const bool common : {true, false}) {
    for (int r = 0; r < kEntityCount; ++r) {
      const size_t k = name_length(escapecodes[r].name);
      if (k > kMaxName || is_common(escapecodes[r].name) != common) continue;
      uint64_t key = 0;
      for (size_t j = 0; j < k; ++j) key |= uint64_t{static_cast<uint8_t>(escapecodes[r].name[j])} << (8 * j);
      key |= uint64_t{';'} << (8 * k);
      size_t slot = byte_slot_of(key);
      while (index.key[slot] != 0) slot = (slot + 1) % 512;
      index.key[slot] = key;
      index.code[slot] = static_cast<uint16_t>(escapecodes[r].code);
    }
  }
  return index;
}

constexpr PrefixNameIndex make_prefix_name_index() {
  PrefixNameIndex index{};
  for (auto &key : index.key) key = ~uint64_t{0};
  for (const bool common : {true, false}) {
    for (int r = 0; r < kEntityCount; ++r) {
      const size_t k = name_length(escapecodes[r].name);
      if (k > kMaxName || is_common(escapecodes[r].name) != common) continue;
      uint64_t key = 0;
      for (size_t j = 0; j < k; ++j) key |= uint64_t{static_cast<uint8_t>(escapecodes[r].name[j])} << (8 * j);
      key |= uint64_t{';'} << (8 * k);
      const size_t slot = prefix_slot_of(key);
      if (index.mask[slot] != 0) continue;  // found by code_of_key
      index.key[slot] = key;
      index.mask[slot] = (uint64_t{1} << (8 * (k + 1))) - 1;
      index.code[slot] = static_cast<uint16_t>(escapecodes[r].code);
      index.advance[slot] = static_cast<uint8_t>(k + 2);
      index.shrink[slot] = static_cast<ptrdiff_t>(2 * (k + 1));
    }
  }
  return index;
}

}  // namespace

constexpr CodeIndex kCodeIndex = make_code_index();
constexpr EncodeTable kEncodeTable = make_encode_table();
constexpr LatinRows kLatinRows = make_latin_rows(kEncodeTable);
constexpr ByteNameIndex kByteNameIndex = make_byte_name_index();
constexpr PrefixNameIndex kPrefixNameIndex = make_prefix_name_index();

namespace {
// Every common name sits in the slot its key hashes to.
constexpr bool common_names_in_own_slots() {
  for (const char *name : kCommonNames) {
    uint64_t key = 0;
    size_t k = 0;
    for (; name[k] != 0; ++k) key |= uint64_t{static_cast<uint8_t>(name[k])} << (8 * k);
    key |= uint64_t{';'} << (8 * k);
    if (kByteNameIndex.key[byte_slot_of(key)] != key) return false;
  }
  return true;
}
static_assert(common_names_in_own_slots(), "a common name lost its slot: choose another multiplier");
// And each holds the slot of its first three bytes.
constexpr bool common_names_hold_prefix_slots() {
  for (const char *name : kCommonNames) {
    uint64_t key = 0;
    size_t k = 0;
    for (; name[k] != 0; ++k) key |= uint64_t{static_cast<uint8_t>(name[k])} << (8 * k);
    key |= uint64_t{';'} << (8 * k);
    if (kPrefixNameIndex.key[prefix_slot_of(key)] != key) return false;
  }
  return true;
}
static_assert(common_names_hold_prefix_slots(), "a common name lost its prefix slot: choose another multiplier");
}  // namespace
constexpr NameIndex kNameIndex = make_name_index();
constexpr References kReferences = make_references();
constexpr Reference kApostrophe = {"&#39;", 3};

namespace {

// Writes a reference whose text (with "&" and ";") is `text`, counted as one
// append of its name's length. `text` holds 16 readable bytes, and the
// block's slack takes a whole 16-byte store.
inline void add_reference(AsciiStringHandle &out, const char *text, size_t n) {
  if (uint8_t *o = out.take_append(static_cast<int64_t>(n), static_cast<int64_t>(n) + 2)) {
    if (out.slack) {
      std::memcpy(o, text, 16);
    } else {
      std::memcpy(o, text, n + 2);
    }
  }
}

inline void add_unit_reference(AsciiStringHandle &out, uint16_t c) {
  if (c == '\'') return add_reference(out, kApostrophe.text, kApostrophe.nameLength);
  if (c < kCodeSpan && kCodeIndex.row[c] != 0) {
    const Reference &r = kReferences.row[kCodeIndex.row[c] - 1];
    return add_reference(out, r.text, r.nameLength);
  }
  char number[16] = {'&', '#'};
  const size_t digits = c >= 10000 ? 5 : c >= 1000 ? 4 : c >= 100 ? 3 : c >= 10 ? 2 : 1;
  for (size_t d = digits + 1; d > 1; --d, c = static_cast<uint16_t>(c / 10)) number[d] = static_cast<char>('0' + c % 10);
  number[digits + 2] = ';';
  add_reference(out, number, digits + 1);
}

// The end of the run of units from i up to the next one in `stop`: the first
// 16 looked at one at a time (runs between references are often short), the
// rest in blocks.
template <class Stops>
inline size_t clean_run(U16View units, size_t i, Stops special, const units::UnitSet &stop) {
  const size_t lead = units.size - i > 16 ? i + 16 : units.size;
  size_t end = i;
  while (end < lead && !special(units[end])) ++end;
  return end == lead && lead < units.size ? units::find(units, lead, stop) : end;
}

}  // namespace

const EscapeCode *find_code(uint16_t unit) {
  if (unit >= kCodeSpan || kCodeIndex.row[unit] == 0) return nullptr;
  return &escapecodes[kCodeIndex.row[unit] - 1];
}

const EscapeCode *find_name(const uint16_t *name, size_t k) {
  if (k == 0 || k > kMaxName) return nullptr;
  const int slot = slot_of_name(name_lo(name, k), name_hi(name, k));
  return slot < 0 ? nullptr : &escapecodes[kNameIndex.row[slot]];
}

namespace {

// Appends the references of units[i, units.size) one append at a time.
void encode_from(U16View units, size_t i, bool keepASCII, AsciiStringHandle &out) {
  // A unit is written as a reference from 0x80 up, and for the five markup
  // characters unless they are kept; runs of other units are narrowed in one go.
  static constexpr units::UnitSet kMarkup(0xFF80, {'"', '&', '\'', '<', '>'});
  static constexpr units::UnitSet kHigh(0xFF80, {});
  struct Table {
    bool special[0x80];
  };
  static constexpr Table kMarkupTable = [] {
    Table t{};
    for (char c : {'"', '&', '\'', '<', '>'}) t.special[static_cast<uint8_t>(c)] = true;
    return t;
  }();
  static constexpr Table kNone{};
  const units::UnitSet &stop = keepASCII ? kHigh : kMarkup;
  const bool *markup = (keepASCII ? kNone : kMarkupTable).special;
  const auto special = [markup](uint16_t c) { return c >= 0x80 || markup[c]; };
  while (i < units.size && out.alive()) {
    const size_t end = clean_run(units, i, special, stop);
    if (end > i) {
      uint8_t *o = out.take_bytes(static_cast<int64_t>(end - i));
      if (o == nullptr) return;
      if (end - i <= 16) {
        for (size_t j = i; j < end; ++j) *o++ = static_cast<uint8_t>(units[j]);
      } else {
        units::narrow(units.data + i, end - i, o);
      }
      i = end;
      if (i == units.size) return;
    }
    add_unit_reference(out, units[i++]);
  }
}

}  // namespace

void encode_by_units(U16View units, bool keepASCII, AsciiStringHandle &out) {
  encode_from(units, (units[0] == 0xFEFF || units[0] == 0xFFFE) ? 1 : 0, keepASCII, out);
}

void decode_by_units(U16View units, UnicodeStringHandle &out) {
  static constexpr units::UnitSet kReferenceStart(0, {kAmpersand});
  const uint16_t *u = units.data;
  const size_t n = units.size;
  size_t i = 0;
  while (i < n && out.alive()) {
    const size_t end = clean_run(units, i, [](uint16_t c) { return c == kAmpersand; }, kReferenceStart);
    if (end > i) {
      uint16_t *o = out.take_units(static_cast<int64_t>(end - i));
      if (o == nullptr) return;
      std::memcpy(o, u + i, (end - i) * 2);
      i = end;
      if (i == n) return;
    }
    // The name runs to ";" within the next seven units, or to the end of the text.
    size_t k = 0;
    bool bounded = false;
    for (size_t j = 1; j <= 7; ++j) {
      if (i + j == n || u[i + j] == kSemicolon) {
        k = j - 1;
        bounded = true;
        break;
      }
    }
    if (bounded && k > 0 && decode_reference(u, n, i, k, out)) {
      i += k + 2;
    } else {
      Add(out, u[i++]);
    }
  }
}

void encode(U16View units, bool keepASCII, AsciiStringHandle &out) {
  // Where the buffer's rule has room for the longest reference per unit and
  // the whole stores past it, no append of a stretch can grow the buffer:
  // the kernel writes it in place and `used` moves once. Where it has not, a
  // short stretch goes one append at a time and grows it.
  constexpr int64_t kLongest = 10;  // "&thetasym;"
  constexpr int64_t kPast = 48;
  constexpr size_t kShortest = 64;
  size_t i = (units[0] == 0xFEFF || units[0] == 0xFFFE) ? 1 : 0;
  while (i < units.size && out.alive()) {
    const int64_t room = (out.limit - out.used - 4 - kPast) / kLongest;
    const size_t left = units.size - i;
    if (room >= static_cast<int64_t>(left) || room >= static_cast<int64_t>(kShortest)) {
      const size_t end = room >= static_cast<int64_t>(left) ? units.size : i + static_cast<size_t>(room);
      uint8_t *block = reinterpret_cast<uint8_t *>(*out.handle);
      out.used += static_cast<int32_t>(kernels().encode({units.data, end}, i, keepASCII, block + out.used));
      i = end;
    } else {
      const size_t end = left > kShortest ? i + kShortest : units.size;
      encode_from({units.data, end}, i, keepASCII, out);
      i = end;
    }
  }
}

void decode(U16View units, UnicodeStringHandle &out) {
  // Decoding never lengthens the text: where the rule has room for one unit
  // per input unit, no append can grow the buffer.
  if (out.alive() && 2 * (int64_t{out.used} + static_cast<int64_t>(units.size) - 1) + 10 <= out.limit) {
    auto *block = static_cast<uint16_t *>(static_cast<void *>(*out.handle));
    uint16_t *end = block + (out.capacity + (out.slack ? growth::kSlack : 0)) / 2;
    out.used += static_cast<int32_t>(kernels().decode(units, block + out.used, end));
    return;
  }
  decode_by_units(units, out);
}

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx512::kKernels, kBase)};

}  // namespace ztk::html
