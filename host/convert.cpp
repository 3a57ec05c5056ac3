#include "convert.h"

#if !defined(_WIN32)
#include <iconv.h>
#endif

#include <array>
#include <cstring>
#include <stdexcept>
#include <unordered_map>

#include "carried_code_pages.h"
#include "frame/rb_types.h"

namespace subhost {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct CodePage {
  std::array<char32_t, 256> toUnicode{};
  std::unordered_map<char32_t, uint8_t> fromUnicode;
};

void index_reverse(CodePage &page) {
  for (int b = 255; b >= 0; --b) {
    if (page.toUnicode[b] != kReplacement) page.fromUnicode[page.toUnicode[b]] = static_cast<uint8_t>(b);
  }
}

CodePage carried_code_page(uint32_t encoding) {
  CodePage page;
  for (int b = 0; b < 256; ++b) {
    char32_t cp = static_cast<char32_t>(b);
    if (b >= 0x80 && encoding == enc::kASCII) cp = kReplacement;
    if (b >= 0x80 && encoding == enc::kMacRoman) cp = kMacRomanHigh[b - 0x80];
    if (b >= 0x80 && b <= 0x9F && encoding == enc::kWindows1252) {
      cp = kWindows1252High[b - 0x80] != 0 ? kWindows1252High[b - 0x80] : kReplacement;
    }
    page.toUnicode[b] = cp;
  }
  index_reverse(page);
  return page;
}

#if defined(_WIN32)
CodePage load_code_page(uint32_t encoding, const char *) { return carried_code_page(encoding); }
#else
// Each byte of a single-byte code page, decoded by the system's converter
// (the carried table where the system has no converter for the page, as a
// cross-target C library without its conversion modules).
CodePage load_code_page(uint32_t encoding, const char *iconvName) {
  CodePage page;
  iconv_t cd = iconv_open("UTF-32LE", iconvName);
  if (cd == reinterpret_cast<iconv_t>(-1)) return carried_code_page(encoding);
  for (int b = 0; b < 256; ++b) {
    char in = static_cast<char>(b);
    char out[8] = {};
    char *inp = &in;
    char *outp = out;
    size_t inLeft = 1, outLeft = sizeof out;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    const size_t r = iconv(cd, &inp, &inLeft, &outp, &outLeft);
    char32_t cp = kReplacement;
    if (r != static_cast<size_t>(-1) && inLeft == 0 && outLeft == 4) std::memcpy(&cp, out, 4);
    page.toUnicode[b] = cp;
  }
  iconv_close(cd);
  index_reverse(page);
  return page;
}
#endif

const CodePage *code_page(uint32_t encoding) {
  static const CodePage macRoman = load_code_page(enc::kMacRoman, "MACINTOSH");
  static const CodePage latin1 = load_code_page(enc::kISOLatin1, "ISO-8859-1");
  static const CodePage cp1252 = load_code_page(enc::kWindows1252, "CP1252");
  static const CodePage ascii = load_code_page(enc::kASCII, "ASCII");
  switch (encoding) {
    case enc::kMacRoman: return &macRoman;
    case enc::kISOLatin1: return &latin1;
    case enc::kWindows1252: return &cp1252;
    case enc::kASCII: return &ascii;
    default: return nullptr;
  }
}

std::u32string decode_utf8(std::string_view s) {
  std::u32string out;
  const auto *p = reinterpret_cast<const uint8_t *>(s.data());
  const size_t n = s.size();
  size_t i = 0;
  while (i < n) {
    const uint8_t b = p[i];
    if (b < 0x80) {
      out += b;
      ++i;
      continue;
    }
    int need = 0;
    char32_t cp = 0;
    uint8_t lo = 0x80, hi = 0xBF;
    if (b >= 0xC2 && b <= 0xDF) { need = 1; cp = b & 0x1F; }
    else if (b >= 0xE0 && b <= 0xEF) {
      need = 2; cp = b & 0x0F;
      if (b == 0xE0) lo = 0xA0;
      if (b == 0xED) hi = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
      need = 3; cp = b & 0x07;
      if (b == 0xF0) lo = 0x90;
      if (b == 0xF4) hi = 0x8F;
    } else {
      out += kReplacement;
      ++i;
      continue;
    }
    size_t j = i + 1;
    bool ok = true;
    for (int k = 0; k < need; ++k, ++j) {
      const uint8_t lower = k == 0 ? lo : 0x80, upper = k == 0 ? hi : 0xBF;
      if (j >= n || p[j] < lower || p[j] > upper) {
        ok = false;
        break;
      }
      cp = (cp << 6) | (p[j] & 0x3F);
    }
    out += ok ? cp : kReplacement;  // a maximal invalid subpart is one U+FFFD
    i = j;
  }
  return out;
}

std::u32string decode_utf16(std::string_view s) {
  std::u32string out;
  const size_t units = s.size() / 2;
  auto unit = [&](size_t k) {
    return static_cast<char16_t>(static_cast<uint8_t>(s[2 * k]) | (static_cast<uint8_t>(s[2 * k + 1]) << 8));
  };
  for (size_t k = 0; k < units; ++k) {
    const char16_t u = unit(k);
    if (u >= 0xD800 && u <= 0xDBFF && k + 1 < units && unit(k + 1) >= 0xDC00 && unit(k + 1) <= 0xDFFF) {
      out += 0x10000 + ((char32_t(u) - 0xD800) << 10) + (unit(k + 1) - 0xDC00);
      ++k;
    } else if (u >= 0xD800 && u <= 0xDFFF) {
      out += kReplacement;
    } else {
      out += u;
    }
  }
  if (s.size() % 2 != 0) out += kReplacement;
  return out;
}

std::u32string decode_utf32(std::string_view s) {
  std::u32string out;
  for (size_t k = 0; k + 4 <= s.size(); k += 4) {
    char32_t cp;
    std::memcpy(&cp, s.data() + k, 4);
    out += (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) ? kReplacement : cp;
  }
  if (s.size() % 4 != 0) out += kReplacement;
  return out;
}

void put_utf8(std::string &out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

void put_u16(std::string &out, char16_t u) {
  out += static_cast<char>(u & 0xFF);
  out += static_cast<char>(u >> 8);
}

}  // namespace

bool known_encoding(uint32_t code) {
  return code == enc::kUTF8 || code == enc::kUTF16 || code == enc::kUTF32 || code == enc::kNone ||
         code_page(code) != nullptr;
}

std::u32string decode(std::string_view bytes, uint32_t encoding) {
  if (encoding == enc::kUTF8) return decode_utf8(bytes);
  if (encoding == enc::kUTF16) return decode_utf16(bytes);
  if (encoding == enc::kUTF32) return decode_utf32(bytes);
  std::u32string out;
  const CodePage *page = code_page(encoding);
  for (unsigned char b : bytes) out += page != nullptr ? page->toUnicode[b] : char32_t(b);
  return out;
}

std::string encode(std::u32string_view text, uint32_t encoding) {
  std::string out;
  for (char32_t cp : text) {
    if (encoding == enc::kUTF8) {
      put_utf8(out, cp);
    } else if (encoding == enc::kUTF16) {
      if (cp >= 0x10000) {
        put_u16(out, static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
        put_u16(out, static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
      } else {
        put_u16(out, static_cast<char16_t>(cp));
      }
    } else if (encoding == enc::kUTF32) {
      char bytes[4];
      std::memcpy(bytes, &cp, 4);
      out.append(bytes, 4);
    } else if (const CodePage *page = code_page(encoding)) {
      auto it = page->fromUnicode.find(cp);
      out += it != page->fromUnicode.end() ? static_cast<char>(it->second) : '?';
    } else {
      out += static_cast<char>(cp);
    }
  }
  return out;
}

std::string convert(std::string_view bytes, uint32_t from, uint32_t to) {
  if (from == to || from == enc::kNone || to == enc::kNone) return std::string(bytes);
  return encode(decode(bytes, from), to);
}

}  // namespace subhost
