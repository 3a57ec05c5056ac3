#include "binary/hex_dump/levels.h"
#include "frame/ascii.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::hexdump::avx2 {
namespace {

// Output lane k of the three 16-byte stores that lay out 16 one-byte groups
// (48 characters: high digit, low digit, spacer) takes digit 2 (c / 3) + c % 3
// of the 32 digits, c = 16 store + k, or the spacer where c % 3 is 2. The
// digits come in two vectors: `first` picks from the first 16, `second` from
// the others, 0x80 (a zero lane) where the other vector or the spacer serves.
struct Triples {
  uint8_t first[3][16], second[3][16], spacer[3][16];
};
alignas(16) constexpr Triples kTriples = [] {
  Triples t{};
  for (int store = 0; store < 3; ++store) {
    for (int k = 0; k < 16; ++k) {
      const int c = 16 * store + k, d = 2 * (c / 3) + c % 3;
      const bool isSpacer = c % 3 == 2;
      t.first[store][k] = !isSpacer && d < 16 ? static_cast<uint8_t>(d) : 0x80;
      t.second[store][k] = !isSpacer && d >= 16 ? static_cast<uint8_t>(d - 16) : 0x80;
      t.spacer[store][k] = isSpacer ? 0xFF : 0;
    }
  }
  return t;
}();

ZTK_AVX2 inline __m128i load16(const void *p) { return _mm_loadu_si128(static_cast<const __m128i *>(p)); }

// A line's frame text in a register when it fits one: stored whole where the
// output goes on for 16 bytes more (what follows overwrites the rest), copied
// exactly near the end.
struct Frame {
  ByteView text;
  __m128i v;
  ZTK_AVX2 explicit Frame(ByteView t) : text(t), v(_mm_setzero_si128()) {
    alignas(16) uint8_t copy[16] = {};
    if (t.size <= 16 && !t.empty()) std::memcpy(copy, t.data, t.size);
    v = _mm_load_si128(reinterpret_cast<const __m128i *>(copy));
  }
  ZTK_AVX2 char *put_before(char *out, const char *end) const {
    if (text.empty()) return out;
    if (text.size <= 16 && end - out >= 16) {
      _mm_storeu_si128(reinterpret_cast<__m128i *>(out), v);
      return out + text.size;
    }
    return put(out, text);
  }
};

}  // namespace

// Groups of one byte with a one-byte spacer, straight from the bytes: each 16
// bytes give 32 digits by two byte lookups, and three byte shuffles of them
// lay out 16 groups with the spacer after each. After a line's last group
// that spacer is one too many where the output goes on beyond it; what
// follows overwrites it.
ZTK_AVX2 size_t byte_lines(ByteView in, const Layout &layout, char *out) {
  if (layout.hexlen != 2 || layout.spacer.size != 1 || in.size < layout.linelen) return 0;
  const uint64_t linelen = layout.linelen;
  const size_t lines = in.size / linelen;
  const uint64_t line = layout.linestart.size + 3 * linelen - 1 + layout.lineend.size;
  const char *const end = out + lines * line;
  const uint8_t spacer = layout.spacer[0];
  const Frame start(layout.linestart), finish(layout.lineend);
  const __m128i table = load16(ascii::kHexDigits), low4 = _mm_set1_epi8(0x0F);
  const __m128i first0 = load16(kTriples.first[0]), first1 = load16(kTriples.first[1]);
  const __m128i second1 = load16(kTriples.second[1]), second2 = load16(kTriples.second[2]);
  const __m128i fill = _mm_set1_epi8(static_cast<char>(spacer));
  const __m128i space0 = _mm_and_si128(fill, load16(kTriples.spacer[0]));
  const __m128i space1 = _mm_and_si128(fill, load16(kTriples.spacer[1]));
  const __m128i space2 = _mm_and_si128(fill, load16(kTriples.spacer[2]));
  // A one-byte line end with no line start (a plain dump's) takes the place
  // of the last spacer: lines of 16 groups are then three whole stores.
  const bool endInLane = layout.linestart.empty() && layout.lineend.size == 1;
  const __m128i space2end =
      _mm_or_si128(_mm_and_si128(space2, _mm_set_epi32(0x00FFFFFF, -1, -1, -1)),
                   _mm_slli_si128(_mm_cvtsi32_si128(layout.lineend.empty() ? 0 : layout.lineend[0]), 15));
  const uint8_t *p = in.data;
  for (size_t l = 0; l < lines; ++l) {
    out = start.put_before(out, end);
    uint64_t left = linelen;
    bool ended = false;
    for (; left >= 16 && end - out >= 48; left -= 16, p += 16, out += 48) {
      const __m128i v = load16(p);
      const __m128i hi = _mm_shuffle_epi8(table, _mm_and_si128(_mm_srli_epi16(v, 4), low4));
      const __m128i lo = _mm_shuffle_epi8(table, _mm_and_si128(v, low4));
      const __m128i d0 = _mm_unpacklo_epi8(hi, lo), d1 = _mm_unpackhi_epi8(hi, lo);
      ended = endInLane && left == 16;
      _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_or_si128(_mm_shuffle_epi8(d0, first0), space0));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 16),
                       _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(d0, first1), _mm_shuffle_epi8(d1, second1)), space1));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 32),
                       _mm_or_si128(_mm_shuffle_epi8(d1, second2), ended ? space2end : space2));
    }
    if (ended) continue;  // the line end is in place
    if (left == 0) {
      --out;  // the spacer stored after the last group
    } else {
      for (;; ++p) {
        out = ascii::put_hex(out, *p);
        if (--left == 0) break;
        *out++ = static_cast<char>(spacer);
      }
      ++p;
    }
    out = finish.put_before(out, end);
  }
  return lines * linelen;
}

const Kernels kKernels = {[](ByteView in, char *out) { plain::digits_from(in, sse2::digit_blocks(in, 0, out), out); },
                          plain::lines, byte_lines};

}  // namespace ztk::hexdump::avx2
#endif  // ZTK_WIDE_VECTORS
