#include "codecs/url.h"

#include <array>
#include <cstring>
#include <string_view>

#include "frame/byte_transform.h"
#include "frame/cpu.h"
#include "frame/simd.h"
#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/ascii.h"
#include "text/byte_scan.h"

namespace ztk::url {
namespace {

// Bytes 0x00-0x7F that stand for themselves: digits, letters and ! * - . _ @.
constexpr std::array<bool, 128> kKept = [] {
  std::array<bool, 128> kept{};
  for (int b = '0'; b <= '9'; ++b) kept[b] = true;
  for (int b = 'A'; b <= 'Z'; ++b) kept[b] = true;
  for (int b = 'a'; b <= 'z'; ++b) kept[b] = true;
  for (char c : std::string_view("!*-._@")) kept[static_cast<uint8_t>(c)] = true;
  return kept;
}();

// The bytes that end a run copied as it is: everything but the kept bytes,
// with "+" kept too when the options leave it alone.
constexpr scan::ByteSet kEscapedOrSpecial{
    {{'!', '!'}, {'*', '*'}, {'-', '.'}, {'0', '9'}, {'@', 'Z'}, {'_', '_'}, {'a', 'z'}}, true};
constexpr scan::ByteSet kEscapedOrSpecialPlusKept{
    {{'!', '!'}, {'*', '+'}, {'-', '.'}, {'0', '9'}, {'@', 'Z'}, {'_', '_'}, {'a', 'z'}}, true};
constexpr scan::ByteSet kPercent{{'%', '%'}};
constexpr scan::ByteSet kPercentOrPlus{{'%', '%'}, {'+', '+'}};

// What a byte becomes under one of the space and plus choices, in the first
// `size` of four bytes, so that every byte is one table load and one store.
struct Code {
  char bytes[4];
  uint8_t size;
  uint8_t run;  // 1: the byte stands for itself and so does not end a run
};
using CodeTable = std::array<Code, 256>;

constexpr CodeTable make_codes(bool spaceAsPlus, bool plusEscaped) {
  CodeTable codes{};
  for (int b = 0; b < 256; ++b) {
    Code &c = codes[b];
    if ((b == ' ' && spaceAsPlus) || (b == '+' && !plusEscaped)) {
      c = {{'+', 0, 0, 0}, 1, b == '+'};
    } else if (b < 0x80 && kKept[b]) {
      c = {{static_cast<char>(b), 0, 0, 0}, 1, 1};
    } else {
      c = {{'%', ascii::kHexDigits[b >> 4], ascii::kHexDigits[b & 15], 0}, 3, 0};
    }
  }
  return codes;
}
// By options & 3: 0 and 3 escape spaces and keep "+", 1 writes spaces as "+"
// and escapes "+", 2 escapes both.
constexpr CodeTable kCodes[4] = {make_codes(false, false), make_codes(true, true), make_codes(false, true),
                                 make_codes(false, false)};

// After this many bytes in a row that stand for themselves, the rest of the
// run is likely long: it is copied in blocks from there.
constexpr int kRunStreak = 8;

#if ZTK_WIDE_VECTORS
// The VBMI level: 64 bytes are classified at once; each quarter of them is
// spread to three slots a byte (the byte, "+" or "%", then the two hex
// digits), and the slots a byte does not use are packed away. Works while 64
// bytes of input remain and the output has room for what four quarters store.
constexpr size_t kPackedRoom = 256;

ZTK_AVX512VBMI2 size_t encode_packed(ByteView in, const scan::ByteSet &special, bool spaceAsPlus, char *&out,
                                     const char *end) {
  // gcc 12 warns falsely about the unmasked forms of some of these
  // intrinsics, so masked forms with every lane set stand in for them.
  constexpr __mmask64 kAll = ~uint64_t{0};
  alignas(64) uint8_t spread[64], hex[64];
  uint64_t slot[3] = {};  // the slots of 16 bytes by their place in a byte's three
  for (int p = 0; p < 64; ++p) {
    spread[p] = static_cast<uint8_t>(p < 48 ? p / 3 : 0);
    hex[p] = static_cast<uint8_t>(ascii::kHexDigits[p % 16]);
    if (p < 48) slot[p % 3] |= uint64_t{1} << p;
  }
  const __m512i spreadIndex = _mm512_load_si512(spread);
  const __m512i digits = _mm512_load_si512(hex);
  const __m512i low = _mm512_set1_epi8(15);
  __m512i rangeFirst[scan::ByteSet::kMaxRanges], rangeSpan[scan::ByteSet::kMaxRanges];
  for (int k = 0; k < special.count(); ++k) {
    rangeFirst[k] = _mm512_set1_epi8(static_cast<char>(special.first(k)));
    rangeSpan[k] = _mm512_set1_epi8(static_cast<char>(special.span(k)));
  }
  size_t i = 0;
  char *o = out;
  while (i + 64 <= in.size && static_cast<size_t>(end - o) >= kPackedRoom) {
    const __m512i x = _mm512_loadu_si512(in.data + i);
    uint64_t ranges = 0;
    for (int k = 0; k < special.count(); ++k) {
      ranges |= _mm512_cmple_epu8_mask(_mm512_sub_epi8(x, rangeFirst[k]), rangeSpan[k]);
    }
    const uint64_t stops = special.outside() ? ~ranges : ranges;
    const uint64_t plus = spaceAsPlus ? _mm512_cmpeq_epi8_mask(x, _mm512_set1_epi8(' ')) : 0;
    const uint64_t escaped = stops & ~plus;
    if ((escaped | plus) == 0) {  // 64 bytes that stand for themselves
      _mm512_storeu_si512(o, x);
      o += 64;
      i += 64;
      continue;
    }
    __m512i head = _mm512_mask_mov_epi8(x, escaped, _mm512_set1_epi8('%'));
    head = _mm512_mask_mov_epi8(head, plus, _mm512_set1_epi8('+'));
    const __m512i hi = _mm512_shuffle_epi8(digits, _mm512_and_si512(_mm512_srli_epi16(x, 4), low));
    const __m512i lo = _mm512_shuffle_epi8(digits, _mm512_and_si512(x, low));
    const __m512i flags = _mm512_movm_epi8(escaped);
    for (int quarter = 0; quarter < 4; ++quarter) {
      const __m512i index = _mm512_add_epi8(spreadIndex, _mm512_set1_epi8(static_cast<char>(16 * quarter)));
      __m512i slots = _mm512_maskz_permutexvar_epi8(kAll, index, head);
      slots = _mm512_mask_permutexvar_epi8(slots, slot[1], index, hi);
      slots = _mm512_mask_permutexvar_epi8(slots, slot[2], index, lo);
      const uint64_t used = slot[0] | (_mm512_movepi8_mask(_mm512_maskz_permutexvar_epi8(kAll, index, flags)) & (slot[1] | slot[2]));
      _mm512_storeu_si512(o, _mm512_maskz_compress_epi8(used, slots));
      o += __builtin_popcountll(used);
    }
    i += 64;
  }
  out = o;
  return i;
}
#endif

}  // namespace

size_t encode(ByteView in, int64_t options, char *out) {
  // The space and plus choices belong to this call alone.
  const int mode = static_cast<int>(options & 3);
  const CodeTable &codes = kCodes[mode];
  const scan::ByteSet &special = mode == 1 || mode == 2 ? kEscapedOrSpecial : kEscapedOrSpecialPlusKept;
  char *const begin = out;
  int streak = 0;
  size_t i = 0;
#if ZTK_WIDE_VECTORS
  if (in.size >= 64 && cpu::active() >= cpu::kAVX512VBMI2) {
    i = encode_packed(in, special, mode == 1, out, out + max_encoded_size(in.size));
  }
#endif
  // Every byte but the last is written as four bytes, of which the code's
  // size count: the output holds three bytes for each input byte.
  for (; i + 1 < in.size; ++i) {
    const uint8_t b = in[i];
    const Code &c = codes[b];
    std::memcpy(out, c.bytes, 4);
    out += c.size;
    streak = (streak + 1) & -int{c.run};  // no branch on what the byte is
    if (streak == kRunStreak) {
      // The output holds three bytes for every input byte, so the room the
      // kernel needs is there.
      const size_t stop = scan::copy_until(in, i + 1, special, 0, reinterpret_cast<uint8_t *>(out));
      out += stop - (i + 1);
      i = stop - 1;
      streak = 0;
    }
  }
  if (i < in.size) {
    const Code &c = codes[in[i]];
    std::memcpy(out, c.bytes, c.size);
    out += c.size;
  }
  return static_cast<size_t>(out - begin);
}

size_t decode(ByteView in, int64_t options, uint8_t *out) {
  const bool plusIsSpace = (options & 1) != 0;
  const scan::ByteSet &special = plusIsSpace ? kPercentOrPlus : kPercent;
  uint8_t *const begin = out;
  size_t i = 0;
  // Escapes often follow each other: they are decoded here until a byte that
  // starts a run, which the kernel copies.
  while (i < in.size) {
    const uint8_t b = in[i];
    if (b == '%') {
      if (i + 2 < in.size) {
        *out++ = static_cast<uint8_t>(ascii::hex_low(in[i + 1]) << 4 | ascii::hex_low(in[i + 2]));
      } else {
        *out++ = static_cast<uint8_t>(i + 1 < in.size ? ascii::hex_low(in[i + 1]) << 4 : 0);
      }
      i += 3;
    } else if (b == '+' && plusIsSpace) {
      *out++ = ' ';
      ++i;
    } else {
      // Never more output than input so far: the room the kernel needs is there.
      const size_t stop = scan::copy_until(in, i, special, 0, out);
      out += stop - i;
      i = stop;
    }
  }
  return static_cast<size_t>(out - begin);
}

}  // namespace ztk::url

REALstring EncodingToURL2(REALstring s, RBInteger options) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const uint64_t capacity = ztk::url::max_encoded_size(in.view().size) + 10;
  if (!ztk::mem::size_ok(capacity)) return nullptr;
  char *out = static_cast<char *>(ztk::mem::alloc(capacity));
  if (out == nullptr) return nullptr;
  const size_t n = ztk::url::encode(in.view(), static_cast<int64_t>(options), out);
  REALstring result = n > 0 ? ztk::BuildString(out, static_cast<int64_t>(n), enc::kASCII) : nullptr;
  ztk::mem::release(out);
  return result;
}

REALstring EncodingToURL1(REALstring s) { return EncodingToURL2(s, 0); }

// Serves DecodingFromURLZTK (the handler keeps its historical name).
REALstring DecodingToURL2(REALstring s, RBInteger options) {
  return ztk::ShrinkBytes(s, [options](ztk::ByteView in, uint8_t *out) {
    return ztk::url::decode(in, static_cast<int64_t>(options), out);
  });
}

REALstring DecodingToURL1(REALstring s) { return DecodingToURL2(s, 0); }
