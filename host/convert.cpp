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

// The decoders hand each character to `put` as they find it, so that a
// conversion goes from bytes to bytes without a string of code points between.

// The character at p[i] (U+FFFD for a maximal invalid subpart); moves i past it.
char32_t utf8_at(const uint8_t *p, size_t n, size_t &i) {
  const uint8_t b = p[i++];
  if (b < 0x80) return b;
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
    return kReplacement;
  }
  for (int k = 0; k < need; ++k, ++i) {
    const uint8_t lower = k == 0 ? lo : 0x80, upper = k == 0 ? hi : 0xBF;
    if (i >= n || p[i] < lower || p[i] > upper) return kReplacement;
    cp = (cp << 6) | (p[i] & 0x3F);
  }
  return cp;
}

template <class Put>
void each_utf8(std::string_view s, Put put) {
  const auto *p = reinterpret_cast<const uint8_t *>(s.data());
  for (size_t i = 0; i < s.size();) put(utf8_at(p, s.size(), i));
}

// The unit at k of `units` little-endian UTF-16 units at p: pairs joined, a
// lone surrogate U+FFFD; moves k past it.
char32_t utf16_at(const uint8_t *p, size_t units, size_t &k) {
  auto unit = [&](size_t j) { return static_cast<char16_t>(p[2 * j] | (p[2 * j + 1] << 8)); };
  const char16_t u = unit(k++);
  if (u < 0xD800 || u > 0xDFFF) return u;
  if (u <= 0xDBFF && k < units && unit(k) >= 0xDC00 && unit(k) <= 0xDFFF) {
    return 0x10000 + ((char32_t(u) - 0xD800) << 10) + (unit(k++) - 0xDC00);
  }
  return kReplacement;
}

template <class Put>
void each_utf16(std::string_view s, Put put) {
  const auto *p = reinterpret_cast<const uint8_t *>(s.data());
  for (size_t k = 0; k < s.size() / 2;) put(utf16_at(p, s.size() / 2, k));
  if (s.size() % 2 != 0) put(kReplacement);
}

template <class Put>
void each_utf32(std::string_view s, Put put) {
  for (size_t k = 0; k + 4 <= s.size(); k += 4) {
    char32_t cp;
    std::memcpy(&cp, s.data() + k, 4);
    put((cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) ? kReplacement : cp);
  }
  if (s.size() % 4 != 0) put(kReplacement);
}

template <class Put>
void each_code_point(std::string_view bytes, uint32_t encoding, Put put) {
  if (encoding == enc::kUTF8) return each_utf8(bytes, put);
  if (encoding == enc::kUTF16) return each_utf16(bytes, put);
  if (encoding == enc::kUTF32) return each_utf32(bytes, put);
  const CodePage *page = code_page(encoding);
  for (unsigned char b : bytes) put(page != nullptr ? page->toUnicode[b] : char32_t(b));
}

// Output written through a pointer into a string grown by doubling: the
// conversions run over whole texts of megabytes, where appending a byte at a
// time through the string made the host's services the slow part of a call.
class Writer {
 public:
  explicit Writer(size_t expected) { out_.resize(expected > 16 ? expected : 16); }
  void room(size_t n) {
    if (used_ + n > out_.size()) out_.resize(2 * out_.size() + n);
  }
  void put(uint8_t b) { out_[used_++] = static_cast<char>(b); }
  // Room for n bytes written through the pointer, then kept by commit.
  uint8_t *claim(size_t n) {
    room(n);
    return reinterpret_cast<uint8_t *>(out_.data()) + used_;
  }
  void commit(size_t n) { used_ += n; }
  std::string take() {
    out_.resize(used_);
    return std::move(out_);
  }

 private:
  std::string out_;
  size_t used_ = 0;
};

// Writes the UTF-8 form of cp at o; answers its length.
size_t utf8_of(char32_t cp, uint8_t *o) {
  if (cp < 0x80) {
    o[0] = static_cast<uint8_t>(cp);
    return 1;
  }
  if (cp < 0x800) {
    o[0] = static_cast<uint8_t>(0xC0 | (cp >> 6));
    o[1] = static_cast<uint8_t>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    o[0] = static_cast<uint8_t>(0xE0 | (cp >> 12));
    o[1] = static_cast<uint8_t>(0x80 | ((cp >> 6) & 0x3F));
    o[2] = static_cast<uint8_t>(0x80 | (cp & 0x3F));
    return 3;
  }
  o[0] = static_cast<uint8_t>(0xF0 | (cp >> 18));
  o[1] = static_cast<uint8_t>(0x80 | ((cp >> 12) & 0x3F));
  o[2] = static_cast<uint8_t>(0x80 | ((cp >> 6) & 0x3F));
  o[3] = static_cast<uint8_t>(0x80 | (cp & 0x3F));
  return 4;
}

class Encoder {
 public:
  explicit Encoder(uint32_t encoding) : encoding_(encoding), page_(code_page(encoding)) {}
  void put(Writer &w, char32_t cp) const {
    w.room(4);  // the most any character takes
    if (encoding_ == enc::kUTF8) {
      w.commit(utf8_of(cp, w.claim(4)));
    } else if (encoding_ == enc::kUTF16) {
      if (cp >= 0x10000) {
        put_u16(w, static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
        put_u16(w, static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
      } else {
        put_u16(w, static_cast<char16_t>(cp));
      }
    } else if (encoding_ == enc::kUTF32) {
      uint8_t bytes[4];
      std::memcpy(bytes, &cp, 4);
      for (uint8_t b : bytes) w.put(b);
    } else if (page_ != nullptr) {
      auto it = page_->fromUnicode.find(cp);
      w.put(it != page_->fromUnicode.end() ? it->second : uint8_t{'?'});
    } else {
      w.put(static_cast<uint8_t>(cp));
    }
  }
  // Bytes a character takes at the least.
  size_t unit() const { return encoding_ == enc::kUTF16 ? 2 : encoding_ == enc::kUTF32 ? 4 : 1; }

 private:
  static void put_u16(Writer &w, char16_t u) {
    w.put(static_cast<uint8_t>(u & 0xFF));
    w.put(static_cast<uint8_t>(u >> 8));
  }
  uint32_t encoding_;
  const CodePage *page_;
};

// The most characters `n` bytes of `encoding` can hold.
size_t most_characters(size_t n, uint32_t encoding) {
  return encoding == enc::kUTF16 ? n / 2 + 1 : encoding == enc::kUTF32 ? n / 4 + 1 : n;
}

// UTF-16 to UTF-8 is the conversion behind every UTF-16 result a plugin
// builds, so it runs at the speed of a native host's: ASCII eight units at a
// time, and other characters outside the surrogates without a branch on their
// value (text mixing ASCII and Latin letters at random mispredicted the
// character-by-character encoder at every other character).
std::string utf16_to_utf8(std::string_view s) {
  Writer out(s.size() / 2);
  const size_t units = s.size() / 2;
  const auto *p = reinterpret_cast<const uint8_t *>(s.data());
  auto unit = [&](size_t k) { return static_cast<char16_t>(p[2 * k] | (p[2 * k + 1] << 8)); };
  auto ascii8 = [&](size_t k) {
    uint8_t any = 0;
    for (size_t j = 0; j < 16; j += 2) any |= (p[2 * k + j] & 0x80) | p[2 * k + j + 1];
    return any == 0;
  };
  for (size_t k = 0; k < units;) {
    // Eight units take at most 25 bytes (seven of three, then a pair of four).
    uint8_t *o = out.claim(32);
    if (k + 8 <= units && ascii8(k)) {
      for (size_t j = 0; j < 8; ++j) o[j] = p[2 * (k + j)];
      out.commit(8);
      k += 8;
      continue;
    }
    // The next eight units (or the rest) one by one; a pair may end past them.
    size_t w = 0;
    for (const size_t end = k + 8 < units ? k + 8 : units; k < end;) {
      const uint32_t u = unit(k);
      if (u >= 0xD800 && u <= 0xDFFF) {
        w += utf8_of(utf16_at(p, units, k), o + w);
        continue;
      }
      const uint32_t two = u >= 0x80, three = u >= 0x800;
      o[w] = static_cast<uint8_t>(three ? 0xE0 | (u >> 12) : two ? 0xC0 | (u >> 6) : u);
      o[w + 1] = static_cast<uint8_t>(three ? 0x80 | ((u >> 6) & 0x3F) : 0x80 | (u & 0x3F));
      o[w + 2] = static_cast<uint8_t>(0x80 | (u & 0x3F));
      w += 1 + two + three;
      ++k;
    }
    out.commit(w);
  }
  if (s.size() % 2 != 0) out.commit(utf8_of(kReplacement, out.claim(4)));
  return out.take();
}

// UTF-8 to UTF-16 is how a plugin reads text as UTF-16; ASCII goes eight
// bytes at a time.
std::string utf8_to_utf16(std::string_view s) {
  const Encoder encoder(enc::kUTF16);
  Writer out(2 * s.size());
  const auto *p = reinterpret_cast<const uint8_t *>(s.data());
  const size_t n = s.size();
  for (size_t i = 0; i < n;) {
    if (i + 8 <= n) {
      uint8_t any = 0;
      for (size_t j = 0; j < 8; ++j) any |= p[i + j];
      if (any < 0x80) {
        uint8_t *o = out.claim(16);
        for (size_t j = 0; j < 8; ++j) {
          o[2 * j] = p[i + j];
          o[2 * j + 1] = 0;
        }
        out.commit(16);
        i += 8;
        continue;
      }
    }
    encoder.put(out, utf8_at(p, n, i));
  }
  return out.take();
}

}  // namespace

bool known_encoding(uint32_t code) {
  return code == enc::kUTF8 || code == enc::kUTF16 || code == enc::kUTF32 || code == enc::kNone ||
         code_page(code) != nullptr;
}

std::u32string decode(std::string_view bytes, uint32_t encoding) {
  std::u32string out;
  out.reserve(most_characters(bytes.size(), encoding));
  each_code_point(bytes, encoding, [&](char32_t cp) { out += cp; });
  return out;
}

std::string encode(std::u32string_view text, uint32_t encoding) {
  const Encoder encoder(encoding);
  Writer out(text.size() * encoder.unit());
  for (char32_t cp : text) encoder.put(out, cp);
  return out.take();
}

std::string convert(std::string_view bytes, uint32_t from, uint32_t to) {
  if (from == to || from == enc::kNone || to == enc::kNone) return std::string(bytes);
  if (from == enc::kUTF16 && to == enc::kUTF8) return utf16_to_utf8(bytes);
  if (from == enc::kUTF8 && to == enc::kUTF16) return utf8_to_utf16(bytes);
  const Encoder encoder(to);
  // Sized for text of one unit a character, which then never grows.
  Writer out((from == enc::kUTF16 ? bytes.size() / 2 : from == enc::kUTF32 ? bytes.size() / 4 : bytes.size()) *
             encoder.unit());
  each_code_point(bytes, from, [&](char32_t cp) { encoder.put(out, cp); });
  return out.take();
}

}  // namespace subhost
