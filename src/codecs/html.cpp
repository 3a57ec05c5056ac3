#include "codecs/html.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "frame/host_api.h"
#include "frame/registry.h"
#include "text/byte_scan.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/rb_text.h"
#include "text/string_handles.h"

namespace ztk::html {

// The 252 named character references of HTML 4.01 with their code points
// (so lang is 9001 and rang 9002), plus apos (39), in ascending code order.
const EscapeCode escapecodes[] = {
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

const EscapeCode *find_code(uint16_t unit) {
  const EscapeCode *end = escapecodes + kEntityCount;
  const EscapeCode *e =
      std::lower_bound(escapecodes, end, unit, [](const EscapeCode &r, uint16_t u) { return r.code < u; });
  return (e != end && e->code == unit) ? e : nullptr;
}

const EscapeCode *find_name(const uint16_t *name, size_t k) {
  for (const EscapeCode *e = escapecodes; e->code != 0; ++e) {
    if (std::strlen(e->name) != k) continue;
    size_t j = 0;
    while (j < k && name[j] == static_cast<uint8_t>(e->name[j])) ++j;
    if (j == k) return e;
  }
  return nullptr;
}

bool is_html_ready(ByteView bytes) {
  // Zero, the five markup characters and every byte of a multi-byte character.
  static constexpr scan::ByteSet kNotReady{{0, 0}, {'"', '"'}, {'&', '\''}, {'<', '<'}, {'>', '>'}, {0x80, 0xFF}};
  return scan::find(bytes, 0, kNotReady) == bytes.size;
}

}  // namespace ztk::html

REALstring EncodingToHTML(REALstring s, RBInteger options) {
  if (s == nullptr) return nullptr;
  rbText text(s);
  ztk::U16View units = text.utf16();
  if (units.size == 0) return nullptr;
  AsciiStringHandle out(2 * int64_t(units.size) + 4096);
  if (!out.alive()) return nullptr;
  size_t i = (units[0] == 0xFEFF || units[0] == 0xFFFE) ? 1 : 0;
  const bool keepASCII = (options & 1) != 0;
  for (; i < units.size && out.alive(); ++i) {
    const uint16_t c = units[i];
    if (c < 0x80 && (keepASCII || (c != '\'' && ztk::html::find_code(c) == nullptr))) {
      const char byte = static_cast<char>(c);
      AddBinary(out, &byte, 1);
    } else if (c == '\'') {
      Add(out, "#39");  // the apos row is for decoding only
    } else if (const ztk::html::EscapeCode *e = ztk::html::find_code(c)) {
      Add(out, e->name);
    } else {
      char number[12];
      std::snprintf(number, sizeof number, "#%d", c);
      Add(out, number);
    }
  }
  return out.Finish(enc::kASCII);
}

// Serves DecodingFromHTMLZTK (the handler keeps its historical name).
REALstring DecodingToHTML(REALstring s) {
  if (s == nullptr) return nullptr;
  rbText text(s);
  const ztk::U16View units = text.utf16();
  const uint16_t *u = units.data;
  const size_t n = units.size;
  if (n == 0) return nullptr;
  UnicodeStringHandle out(2 * int64_t(n) + 4096);
  if (!out.alive()) return nullptr;
  size_t i = 0;
  while (i < n && out.alive()) {
    if (u[i] != ztk::html::kAmpersand || i + 1 == n) {
      Add(out, u[i++]);
      continue;
    }
    // The name runs to ";" within the next seven units, or to the end of the text.
    size_t k = 0;
    bool bounded = false;
    for (size_t j = 1; j <= 7; ++j) {
      if (i + j == n || u[i + j] == ztk::html::kSemicolon) {
        k = j - 1;
        bounded = true;
        break;
      }
    }
    if (bounded && k > 0 && ztk::html::decode_reference(u, n, i, k, out)) {
      i += k + 2;
    } else {
      Add(out, u[i++]);
    }
  }
  return out.Finish();
}

RBBoolean StringIsHTMLready(REALstring s) {
  if (s == nullptr) return 1;
  if (const auto encoding = REALGetStringEncoding(s)) {
    if (*encoding != enc::kMacRoman && *encoding != enc::kWindows1252 && *encoding != enc::kASCII &&
        *encoding != enc::kUTF8) {
      return 0;
    }
  }
  rbData in;
  ztk::ReadString(in, s);
  return ztk::html::is_html_ready(in.view()) ? 1 : 0;
}
