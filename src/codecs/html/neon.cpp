#include "codecs/html/levels.h"
#include "frame/simd.h"

#include <cstring>

#if ZTK_NEON
namespace ztk::html::neon {
namespace {

// One bit per unit of 32 units' compares, narrowed to bytes as x (units 0-15)
// and y (16-31): NEON has no byte mask move, so each lane keeps its own bit
// weight and pairwise additions gather the bits.
inline uint32_t bits_of(uint8x16_t x, uint8x16_t y) {
  static const uint8_t kWeights[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t w = vld1q_u8(kWeights);
  uint8x16_t s = vpaddq_u8(vandq_u8(x, w), vandq_u8(y, w));
  s = vpaddq_u8(s, s);
  s = vpaddq_u8(s, s);
  return vgetq_lane_u32(vreinterpretq_u32_u8(s), 0);
}

// Copies the text [s, a) to o: one 16-byte move, which covers the text
// between most references of a page, past it 48 bytes more, then 64, and 64
// at a time in a loop only past 128; 32 units past a stay readable, and o
// has room for them. Returns the end of what it wrote.
__attribute__((always_inline)) inline uint16_t *copy_text(const uint16_t *s, const uint16_t *a, uint16_t *o) {
  const auto *from = reinterpret_cast<const char *>(s);
  auto *to = reinterpret_cast<char *>(o);
  const auto length = static_cast<size_t>(reinterpret_cast<const char *>(a) - from);
  std::memcpy(to, from, 16);
  if (length > 16) {
    std::memcpy(to + 16, from + 16, 48);
    if (length > 64) {
      std::memcpy(to + 64, from + 64, 64);
      for (size_t j = 128; j < length; j += 64) std::memcpy(to + j, from + j, 64);
    }
  }
  return o + (a - s);  // in units: a char pointer cast back would lose its alignment
}

// copy_text() for the text up to the end of a window with no "&": 64-byte
// moves; 32 units past a stay readable.
__attribute__((always_inline)) inline uint16_t *copy_run(const uint16_t *s, const uint16_t *a, uint16_t *o) {
  const auto *from = reinterpret_cast<const char *>(s);
  auto *to = reinterpret_cast<char *>(o);
  const auto length = static_cast<size_t>(reinterpret_cast<const char *>(a) - from);
  for (size_t j = 0; j < length; j += 64) std::memcpy(to + j, from + j, 64);
  return o + (a - s);  // in units: a char pointer cast back would lose its alignment
}

// The value of "&#" and k - 1 decimal digits before the ";" (bytes from the
// "#" up, 2 <= k <= 6), or -1 when those are not all digits. The digits,
// moved to the top of the word so that the places before them count as
// zeros, are summed in pairs, fours and eights by three multiplies.
inline int32_t decimal_value(uint64_t bytes, size_t k) {
  constexpr uint64_t kLow = 0x0F0F0F0F0F0F0F0Full, kZeros = 0x3030303030303030ull;
  const unsigned shift = static_cast<unsigned>(72 - 8 * k);
  const uint64_t digits = (bytes >> 8) << shift;
  const uint64_t zeros = kZeros << shift;
  // A byte below "0" borrows into its top bit when "0" is taken away, one
  // above "9" carries into it when 0x46 is added; the places below the
  // first that fails neither borrow nor carry, so that one shows.
  constexpr uint64_t kTop = 0x8080808080808080ull;
  if ((((digits - zeros) | (digits + (0x4646464646464646ull << shift))) & kTop) != 0) return -1;
  uint64_t v = ((digits & kLow) * 2561) >> 8;
  v = ((v & 0x00FF00FF00FF00FFull) * 6553601) >> 16;
  v = ((v & 0x0000FFFF0000FFFFull) * 42949672960001ull) >> 32;
  return static_cast<int32_t>(v);
}

// Each byte's value as a hexadecimal digit; 16 for any other.
struct HexDigits {
  uint8_t value[256];
};
constexpr HexDigits kHexDigits = [] {
  HexDigits t{};
  for (auto &v : t.value) v = 16;
  for (int c = 0; c < 10; ++c) t.value['0' + c] = static_cast<uint8_t>(c);
  for (int c = 0; c < 6; ++c) t.value['a' + c] = t.value['A' + c] = static_cast<uint8_t>(10 + c);
  return t;
}();

// The value of "&#x" and k - 2 hexadecimal digits before the ";" (k <= 6,
// so four digits at most), or -1 when those are not all digits.
inline int32_t hex_value(uint64_t bytes, size_t k) {
  int32_t value = 0;
  for (size_t j = 2; j < k; ++j) {
    const unsigned digit = kHexDigits.value[bytes >> (8 * j) & 0xFF];
    if (digit > 15) return -1;
    value = value * 16 + static_cast<int32_t>(digit);
  }
  return value;
}

// The value of a reference the window loop does not take from its name's
// own slot: a name that lost its slot to another, or a numeric reference;
// 0 or less for none. `bytes` are the narrowed units after the "&", `k` the
// units before the ";" (1 <= k <= 6). `general` tells a numeric reference
// read up to a "-" or another stop, which alone may hold an "&".
__attribute__((always_inline)) inline int32_t other_value(uint64_t bytes, size_t k, bool &general) {
  if ((bytes & 0xFF) != '#') return static_cast<int32_t>(code_of_key(bytes & DecodeWalk::kKeyMasks[k]));
  const int32_t value = (bytes >> 8 & 0xFF) == 'x' ? hex_value(bytes, k) : k >= 2 ? decimal_value(bytes, k) : -1;
  if (value >= 0) return value;
  general = true;
  return DecodeWalk::numeric(bytes, k);
}

// The "&"s of the 32 units at q as bytes of all ones, units 0-15 in x and
// 16-31 in y. Narrowed with unsigned saturation a unit above 0xFF becomes
// 0xFF, no "&".
inline void amp_bytes(const uint16_t *q, uint8x16_t &x, uint8x16_t &y) {
  const uint8x16_t amp = vdupq_n_u8('&');
  x = vceqq_u8(vcombine_u8(vqmovn_u16(vld1q_u16(q)), vqmovn_u16(vld1q_u16(q + 8))), amp);
  y = vceqq_u8(vcombine_u8(vqmovn_u16(vld1q_u16(q + 16)), vqmovn_u16(vld1q_u16(q + 24))), amp);
}

// The "&"s of the 64 units at q, a bit each: the four vectors' weighted
// bytes summed pairwise three times, the 64-bit mask in lane 0.
inline uint64_t amps64_at(const uint16_t *q) {
  static const uint8_t kWeights[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t w = vld1q_u8(kWeights);
  uint8x16_t a, b, c, d;
  amp_bytes(q, a, b);
  amp_bytes(q + 32, c, d);
  const uint8x16_t ab = vpaddq_u8(vandq_u8(a, w), vandq_u8(b, w));
  const uint8x16_t cd = vpaddq_u8(vandq_u8(c, w), vandq_u8(d, w));
  uint8x16_t s = vpaddq_u8(ab, cd);
  s = vpaddq_u8(s, s);
  return vgetq_lane_u64(vreinterpretq_u64_u8(s), 0);
}

// The "&"s of the 32 units at q, a bit each.
inline uint64_t amps32_at(const uint16_t *q) {
  uint8x16_t a, b;
  amp_bytes(q, a, b);
  return bits_of(a, b);
}

// Where the windows stopped: the first unit not yet written, where it goes,
// and the first unit no window took.
struct Stop {
  const uint16_t *text;
  uint16_t *out;
  const uint16_t *next;
};

// One loop over the "&"s of windows of 64 units, one mask a window, so
// that the window's cost is paid once for several references of a page.
// 32 units after a window stay readable: the eight after an "&" and the
// moves of the text before it. Near the end windows of 32 take the units
// while 32 follow them.
__attribute__((always_inline)) inline Stop decode_windows(const uint16_t *const u, size_t n, uint16_t *o) {
  // Text is written when a reference or a window with none needs it, in
  // whole moves that may run past it.
  const uint16_t *s = u;
  // The last 64-unit window (0: none) and the last 32-unit one.
  const uintptr_t wide = n >= 96 ? reinterpret_cast<uintptr_t>(u + n - 96) : 0;
  const uintptr_t narrowest = reinterpret_cast<uintptr_t>(u + n - 64);
  const PrefixNameIndex *names = &kPrefixNameIndex;
  Memo memo;
  const uint16_t *p = u;
  size_t width;
  uint64_t amps;
  if (reinterpret_cast<uintptr_t>(p) <= wide) {
    amps = amps64_at(p);
    width = 64;
  } else {
    amps = amps32_at(p);
    width = 32;
  }
  for (;;) {
    while (amps == 0) {
      p += width;
      if (reinterpret_cast<uintptr_t>(p) <= wide) {
        amps = amps64_at(p);
        width = 64;
      } else if (reinterpret_cast<uintptr_t>(p) <= narrowest) {
        amps = amps32_at(p);
        width = 32;
      } else {
        goto windows_done;
      }
      if (amps == 0) {
        // The text up to the end of a window with none is written while it
        // is at hand, not reread from afar at the next reference.
        if (s == p) {
          std::memcpy(o, p, 64);
          if (width == 64) std::memcpy(o + 32, p + 32, 64);
          o += width;
        } else {
          o = copy_run(s, p + width, o);
        }
        s = p + width;
        continue;
      }
      // A numeric reference may hold "&"s, up to nine units past its own.
      if (s > p) amps &= ~uint64_t{0} << (s - p);
    }
    const uint16_t *const a = p + static_cast<size_t>(static_cast<unsigned>(__builtin_ctzll(amps)));
    amps &= amps - 1;
    // The eight units after the "&" as bytes, saturated: a unit above 0xFF
    // becomes 0xFF, which no name holds and which is no ";".
    const uint8x8_t x = vqmovn_u16(vld1q_u16(a + 1));
    const uint64_t bytes = vget_lane_u64(vreinterpret_u64_u8(x), 0);
    // The name that holds the slot of the first three bytes, checked with
    // its ";" by one masked compare: no search for the ";" first.
    const size_t slot = prefix_slot_of(bytes);
    if (__builtin_expect((bytes & names->mask[slot]) == names->key[slot], 1)) {
      // A name, all letters and digits: no "&" inside it.
      o = copy_text(s, a, o);
      *o++ = names->code[slot];  // every name is in the BMP
      s = a + names->advance[slot];
      continue;
    }
    // Met before, and still in its line.
    const size_t line = slot % Memo::kLines;
    size_t advance;
    if (const uint16_t unit = memo.find(bytes, line, advance)) {
      o = copy_text(s, a, o);
      *o++ = unit;
      s = a + advance;
      continue;
    }
    // The first ";" within seven units; 7 when there is none.
    const uint64_t semis = vget_lane_u64(vreinterpret_u64_u8(vceq_u8(x, vdup_n_u8(';'))), 0);
    const auto k = static_cast<size_t>(static_cast<unsigned>(__builtin_ctzll(semis | 0x80ull << 56))) / 8;
    if (k - 1 >= kMaxName) continue;  // "&;", or no ";" within seven: the "&" stays in the text
    bool general = false;
    const int32_t value = other_value(bytes, k, general);
    if (value <= 0) continue;  // the "&" stays in the text
    if (!general && value <= 0xFFFF) memo.keep(bytes, line, k, static_cast<uint16_t>(value));
    o = copy_text(s, a, o);
    if (value <= 0xFFFF) {
      *o++ = static_cast<uint16_t>(value);
    } else {
      *o++ = static_cast<uint16_t>(0xD800 + ((value - 0x10000) >> 10));
      *o++ = static_cast<uint16_t>(0xDC00 + ((value - 0x10000) & 0x3FF));
    }
    s = a + k + 2;
    // Its "&"s are text; it may end past the window.
    if (general) amps = s - p < 64 ? amps & ~uint64_t{0} << (s - p) : 0;
  }
windows_done:
  return {s, o, p};
}

size_t decode(U16View in, uint16_t *out, uint16_t *outEnd) {
  const uint16_t *const u = in.data;
  uint16_t *o = out;
  const uint16_t *s = u;
  size_t i = 0;
  if (in.size >= 64) {
    const Stop stop = decode_windows(u, in.size, out);
    s = stop.text;
    o = stop.out;
    i = static_cast<size_t>(stop.next - u);
  }
  DecodeWalk w(in, out, outEnd);
  w.out = o;
  w.start = static_cast<size_t>(s - u);
  // The last windows' worth, while 32 units remain, then the plain walk.
  for (; i + 32 <= in.size; i += 32) {
    const uint16_t *p = in.data + i;
    uint8x16_t x, y;
    amp_bytes(p, x, y);
    const uint32_t amps = bits_of(x, y);
    if (amps == 0 && w.start == i) {
      std::memcpy(w.out, p, 64);
      w.clean(i);
      continue;
    }
    w.step(amps, i, 32);
  }
  return plain::decode_from(w, i);
}

// Bytes of all ones, by byte, for the five markup characters: all of them
// are below 0x40, so one look-up in 64 bytes marks them.
struct MarkupTable {
  uint8_t byte[64];
};
constexpr MarkupTable kMarkup = [] {
  MarkupTable t{};
  for (const char c : {'"', '&', '\'', '<', '>'}) t.byte[static_cast<unsigned char>(c)] = 0xFF;
  return t;
}();

// The reference of units[at], from 0x100 up, written at o; returns its
// length. Out of line: the block loop keeps nothing of its own for the few
// units that come here.
__attribute__((noinline)) size_t wide_reference(const uint16_t *units, size_t at, uint8_t *o) {
  return static_cast<size_t>(EncodeWalk::reference(units[at], o) - o);
}

template <bool kKeepASCII>
size_t encode(U16View in, size_t from, uint8_t *out) {
  EncodeWalk w(in.data, out);
  // The block's bytes and 32 more, so that a 32-byte move from any of them
  // stays inside.
  alignas(16) uint8_t bytes[64] = {};
  const uint8x16x4_t markup = {{vld1q_u8(kMarkup.byte), vld1q_u8(kMarkup.byte + 16), vld1q_u8(kMarkup.byte + 32),
                                vld1q_u8(kMarkup.byte + 48)}};
  const uint16_t *p = in.data + from;
  uint8_t *o = out;
  for (const uint16_t *const end = p + (in.size - from) / 32 * 32; p != end; p += 32) {
    // Under unsigned saturation a unit below 0x80 is its byte and any other
    // a byte from 0x80 up: the bytes are the text, and their top bits mark
    // every unit from 0x80 up.
    const uint8x16_t low = vcombine_u8(vqmovn_u16(vld1q_u16(p)), vqmovn_u16(vld1q_u16(p + 8)));
    const uint8x16_t high = vcombine_u8(vqmovn_u16(vld1q_u16(p + 16)), vqmovn_u16(vld1q_u16(p + 24)));
    // Stored before they are marked, wherever the block has references.
    vst1q_u8(o, low);
    vst1q_u8(o + 16, high);
    uint8x16_t markLow = vreinterpretq_u8_s8(vshrq_n_s8(vreinterpretq_s8_u8(low), 7));
    uint8x16_t markHigh = vreinterpretq_u8_s8(vshrq_n_s8(vreinterpretq_s8_u8(high), 7));
    if (!kKeepASCII) {
      // A byte past the table keeps its top-bit mark.
      markLow = vqtbx4q_u8(markLow, markup, low);
      markHigh = vqtbx4q_u8(markHigh, markup, high);
    }
    uint32_t special = bits_of(markLow, markHigh);
    if (special == 0) {
      o += 32;
      continue;
    }
    vst1q_u8(bytes, low);
    vst1q_u8(bytes + 16, high);
    // The block's text is already out; each reference goes where its unit
    // would have been, and the text after it moves over what follows. The
    // text after unit j goes to next + j, next moved on by what each
    // reference adds: every load and store is at an offset from a pointer.
    const uint8_t *const textAfter = bytes + 1;
    uint8_t *next = o + 1;
    do {
      const auto at = static_cast<size_t>(__builtin_ctz(special));
      const size_t unit = p[at];
      if (__builtin_expect(unit < 256, 1)) {
        const EncodeRow *row = kLatinRows.row + unit;
        vst1q_u8(next - 1 + at, vld1q_u8(reinterpret_cast<const uint8_t *>(row)));
        next += row->length - 1;
      } else {
        next += wide_reference(p, at, next - 1 + at) - 1;
      }
      // The rest of the block: 32 bytes whatever is left.
      const uint8x16_t t0 = vld1q_u8(textAfter + at), t1 = vld1q_u8(textAfter + 16 + at);
      vst1q_u8(next + at, t0);
      vst1q_u8(next + 16 + at, t1);
      special &= special - 1;
    } while (special != 0);
    o = next + 31;
  }
  w.out = o;
  return plain::encode_from(w, in, static_cast<size_t>(p - in.data), kKeepASCII);
}

}  // namespace

const Kernels kKernels = {
    decode,
    [](U16View units, size_t from, bool keepASCII, uint8_t *out) {
      return keepASCII ? encode<true>(units, from, out) : encode<false>(units, from, out);
    },
};

}  // namespace ztk::html::neon
#endif  // ZTK_NEON
