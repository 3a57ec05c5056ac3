#include "codecs/html/levels.h"
#include "frame/ascii.h"
#include "frame/simd.h"

#include <cstring>

#if ZTK_X86
namespace ztk::html::sse2 {
namespace {

// One bit per unit of a and b: the units whose lanes are all ones.
inline uint32_t bits_of(__m128i a, __m128i b) {
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(a, b)));
}

}  // namespace

namespace {

// Copies the text [s, a) to o: one 16-byte move, which covers the text
// between most references of a page (often a space or a letter), and past
// it 48 bytes more (the text up to a sentence's next reference), then 64
// more, and 64 at a time in a loop only past 128; 32 units past a stay
// readable, and o has room for them. Returns the end of what it wrote.
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
  return reinterpret_cast<uint16_t *>(to + length);
}

// copy_text() for a long text, the text up to the end of a window with no
// "&": 64-byte moves; 32 units past a stay readable.
__attribute__((always_inline)) inline uint16_t *copy_run(const uint16_t *s, const uint16_t *a, uint16_t *o) {
  const auto *from = reinterpret_cast<const char *>(s);
  auto *to = reinterpret_cast<char *>(o);
  const auto length = static_cast<size_t>(reinterpret_cast<const char *>(a) - from);
  for (size_t j = 0; j < length; j += 64) std::memcpy(to + j, from + j, 64);
  return reinterpret_cast<uint16_t *>(to + length);
}

// The value of "&#" and decimal digits, or "&#x" and hexadecimal ones, up
// to a ";" (bytes from the "#" up), with `semi` set to the ";"'s byte; -1
// when the units before the ";" are not digits alone or are more than six.
// A digit at a time: most such references have two to four ("&#39;",
// "&#8217;", "&#x3A;").
__attribute__((always_inline)) inline int32_t digits_value(uint64_t bytes, size_t &semi) {
  int32_t value = 0;
  size_t j = 1;
  uint64_t rest = bytes >> 8;
  if ((rest & 0xFF) == 'x') {
    for (j = 2, rest >>= 8; (rest & 0xFF) != ';'; ++j, rest >>= 8) {
      const unsigned digit = ascii::kHexValue.value[rest & 0xFF];
      if (digit >= ascii::kNotHex || j == kMaxName) return -1;
      value = value * 16 + static_cast<int32_t>(digit);
    }
    if (j == 2) return -1;
  } else {
    for (; (rest & 0xFF) != ';'; ++j, rest >>= 8) {
      const auto digit = static_cast<unsigned>(rest & 0xFF) - '0';
      if (digit > 9 || j == kMaxName) return -1;
      value = value * 10 + static_cast<int32_t>(digit);
    }
    if (j == 1) return -1;
  }
  semi = j;
  return value;
}

// The value of a reference the window loop does not take from its name's
// own slot or as digits alone: a name that lost its slot to another, or a
// numeric reference to a value beyond the BMP or read up to another stop;
// 0 or less for none. `bytes` are the narrowed units after the "&", `k` the
// units before the ";" (1 <= k <= 6). `numeric` tells a numeric reference,
// which alone may hold an "&".
__attribute__((always_inline)) inline int32_t other_value(uint64_t bytes, size_t k, bool &numeric) {
  if ((bytes & 0xFF) != '#') return static_cast<int32_t>(code_of_key(bytes & DecodeWalk::kKeyMasks[k]));
  numeric = true;
  return DecodeWalk::numeric(bytes, k);
}

// Where the windows stopped: the first unit not yet written, where it goes,
// and the first unit no window took.
struct Stop {
  const uint16_t *text;
  uint16_t *out;
  const uint16_t *next;
};

// One loop over the "&"s of windows of 64 units, one mask a window, so
// that the window's cost is paid once for about three references of a
// page. 32 units after a window stay readable: the eight after an "&" and
// the moves of the text before it. Near the end windows of 32 take the
// units while 32 follow them.
__attribute__((always_inline)) inline Stop decode_windows(const uint16_t *const u, size_t n, uint16_t *o) {
  // Text is written when a reference or a window with none needs it, in
  // whole moves that may run past it.
  const uint16_t *s = u;
  const __m128i amp = _mm_set1_epi8('&'), semi = _mm_set1_epi8(';'), zero = _mm_setzero_si128();
  // The "&"s of the 32 units at q. Narrowed with unsigned saturation a unit
  // above 0xFF becomes 0x00 or 0xFF, no "&" and no ";".
  const auto amps_at = [amp](const uint16_t *q) {
    const auto *v = reinterpret_cast<const __m128i *>(q);
    const __m128i lo = _mm_packus_epi16(_mm_loadu_si128(v), _mm_loadu_si128(v + 1));
    const __m128i hi = _mm_packus_epi16(_mm_loadu_si128(v + 2), _mm_loadu_si128(v + 3));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(lo, amp))) |
           static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(hi, amp))) << 16;
  };
  // The last 64-unit window (0: none) and the last 32-unit one.
  const uintptr_t wide = n >= 96 ? reinterpret_cast<uintptr_t>(u + n - 96) : 0;
  const uintptr_t narrow = reinterpret_cast<uintptr_t>(u + n - 64);
  // The table's address held in a register: taken afresh at every
  // reference, it cost an instruction each.
  const PrefixNameIndex *names = &kPrefixNameIndex;
  ZTK_IN_GENERAL_REGISTER(names);
  const uint16_t *p = u;
  size_t width;
  uint64_t amps;
  if (reinterpret_cast<uintptr_t>(p) <= wide) {
    amps = amps_at(p) | uint64_t{amps_at(p + 32)} << 32;
    width = 64;
  } else {
    amps = amps_at(p);
    width = 32;
  }
  for (;;) {
    while (amps == 0) {
      p += width;
      if (reinterpret_cast<uintptr_t>(p) <= wide) {
        amps = amps_at(p) | uint64_t{amps_at(p + 32)} << 32;
        width = 64;
      } else if (reinterpret_cast<uintptr_t>(p) <= narrow) {
        amps = amps_at(p);
        width = 32;
      } else {
        goto windows_done;
      }
      if (amps == 0) {
        // The text up to the end of a window with none is written while it
        // is at hand, not reread from afar at the next reference.
        if (s == p) {
          // Clean text since the window before: the window as it is.
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
#if defined(__x86_64__)
    // The scan in a 64-bit register: no widening of an int count. The
    // scan keeps its target's old value for a zero word, so it waits for
    // that value: a fresh zero (the idiom the processor takes for no
    // input), not the last reference's register, or the references of a
    // window run one after another (dense references 30% slower).
    uint64_t at;
    __asm__("xorl %k0, %k0\n\tbsfq %1, %0" : "=&r"(at) : "rm"(amps) : "cc");
    const uint16_t *const a = p + at;
#else
    const uint16_t *const a = p + static_cast<size_t>(static_cast<unsigned>(__builtin_ctzll(amps)));
#endif
    amps &= amps - 1;
    // The eight units after the "&" as bytes; the upper half is zeros.
    const __m128i x = _mm_packus_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(a + 1)), zero);
#if defined(__x86_64__)
    const auto bytes = static_cast<uint64_t>(_mm_cvtsi128_si64(x));
#else
    uint64_t bytes;  // stored: the 32-bit target has no 64-bit move
    _mm_storel_epi64(reinterpret_cast<__m128i *>(&bytes), x);
#endif
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
    // A numeric reference of digits alone to a unit of the BMP (most of
    // them) goes out here, with no search for its ";" and no bookkeeping
    // for the rarer kinds below.
    if ((bytes & 0xFF) == '#') {
      size_t end;
      const int32_t value = digits_value(bytes, end);
      if (__builtin_expect(static_cast<uint32_t>(value - 1) < 0xFFFF, 1)) {
        o = copy_text(s, a, o);
        *o++ = static_cast<uint16_t>(value);
        s = a + end + 2;
        continue;
      }
    }
    // The first ";" within seven units; 7 when there is none.
    const auto semis = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, semi)));
    const auto k = static_cast<size_t>(static_cast<unsigned>(__builtin_ctz(semis | 0x80)));
    if (k - 1 >= kMaxName) continue;  // "&;", or no ";" within seven: the "&" stays in the text
    bool numeric = false;
    const int32_t value = other_value(bytes, k, numeric);
    if (value <= 0) continue;  // the "&" stays in the text
    o = copy_text(s, a, o);
    if (value <= 0xFFFF) {
      *o++ = static_cast<uint16_t>(value);
    } else {
      *o++ = static_cast<uint16_t>(0xD800 + ((value - 0x10000) >> 10));
      *o++ = static_cast<uint16_t>(0xDC00 + ((value - 0x10000) & 0x3FF));
    }
    s = a + k + 2;
    // Its "&"s are text; it may end past the window.
    if (numeric) amps = s - p < 64 ? amps & ~uint64_t{0} << (s - p) : 0;
  }
windows_done:
  return {s, o, p};
}

}  // namespace

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
  const size_t start = static_cast<size_t>(s - u);
  DecodeWalk w(in, out, outEnd);
  w.out = o;
  w.start = start;
  const __m128i amp16 = _mm_set1_epi16('&');
  for (; i + 32 <= in.size; i += 32) {
    const auto *v = reinterpret_cast<const __m128i *>(in.data + i);
    const __m128i a = _mm_loadu_si128(v), b = _mm_loadu_si128(v + 1);
    const __m128i c = _mm_loadu_si128(v + 2), d = _mm_loadu_si128(v + 3);
    const uint32_t amps = bits_of(_mm_cmpeq_epi16(a, amp16), _mm_cmpeq_epi16(b, amp16)) |
                          bits_of(_mm_cmpeq_epi16(c, amp16), _mm_cmpeq_epi16(d, amp16)) << 16;
    if (amps == 0 && w.start == i) {
      auto *dst = reinterpret_cast<__m128i *>(w.out);
      _mm_storeu_si128(dst, a);
      _mm_storeu_si128(dst + 1, b);
      _mm_storeu_si128(dst + 2, c);
      _mm_storeu_si128(dst + 3, d);
      w.clean(i);
      continue;
    }
    w.step(amps, i, 32);
  }
  return plain::decode_from(w, i);
}

namespace {

// Bytes of all ones for the five markup characters among 16 narrowed units,
// and for "#": '"', "#", "&" and "'" differ only in bits 0 and 2, "<" and
// ">" only in bit 1, so two compares mark them all. A "#" has a row of its
// own byte, and costs only its reading from the table.
inline __m128i markup_bytes(__m128i b) {
  const __m128i quoteToApos = _mm_cmpeq_epi8(_mm_or_si128(b, _mm_set1_epi8(5)), _mm_set1_epi8('\''));
  const __m128i angle = _mm_cmpeq_epi8(_mm_or_si128(b, _mm_set1_epi8(2)), _mm_set1_epi8('>'));
  return _mm_or_si128(quoteToApos, angle);
}

// Top bits for the units from 0x7F up among 16 units narrowed with signed
// saturation: those from 0x80 up became 0x7F or a byte from 0x80 up, and
// the rounded average with 0x80 reaches 0x80 from 0x7F up. DEL is marked
// too, and has a row of its own byte.
inline __m128i high_bytes(__m128i b) { return _mm_avg_epu8(b, _mm_set1_epi8(static_cast<char>(0x80))); }

// The reference of units[at], from 0x100 up, written at o; returns its
// length. Out of line and reading the unit itself, and a length rather than
// an end: the block loop then keeps no copy of each unit, and no address of
// its own, for the few that come here.
__attribute__((noinline)) size_t wide_reference(const uint16_t *units, size_t at, uint8_t *o) {
  return static_cast<size_t>(EncodeWalk::reference(units[at], o) - o);
}

template <bool kKeepASCII>
size_t encode(U16View in, size_t from, uint8_t *out) {
  EncodeWalk w(in.data, out);
  // The block's bytes and 32 more, so that a 32-byte move from any of them
  // stays inside.
  alignas(16) uint8_t bytes[64] = {};
  const uint16_t *p = in.data + from;
  uint8_t *o = out;
  for (const uint16_t *const end = p + (in.size - from) / 32 * 32; p != end; p += 32) {
    const auto *v = reinterpret_cast<const __m128i *>(p);
    const __m128i a = _mm_loadu_si128(v), b = _mm_loadu_si128(v + 1);
    const __m128i c = _mm_loadu_si128(v + 2), d = _mm_loadu_si128(v + 3);
    // Under signed saturation a unit below 0x80 is its byte, one from 0x8000
    // up has the top bit set, and any other is 0x7F: the bytes are the text,
    // and mark every unit from 0x80 up.
    const __m128i low = _mm_packs_epi16(a, b), high = _mm_packs_epi16(c, d);
    // Stored before they are marked, wherever the block has references: the
    // marking may then take the registers over, with no copies.
    _mm_storeu_si128(reinterpret_cast<__m128i *>(o), low);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(o + 16), high);
    _mm_store_si128(reinterpret_cast<__m128i *>(bytes), low);
    _mm_store_si128(reinterpret_cast<__m128i *>(bytes + 16), high);
    __m128i markLow = high_bytes(low);
    __m128i markHigh = high_bytes(high);
    if (!kKeepASCII) {
      markLow = _mm_or_si128(markLow, markup_bytes(low));
      markHigh = _mm_or_si128(markHigh, markup_bytes(high));
    }
    const uint32_t marked = static_cast<uint32_t>(_mm_movemask_epi8(markLow)) |
                            static_cast<uint32_t>(_mm_movemask_epi8(markHigh)) << 16;
    if (marked == 0) {
      o += 32;
      continue;
    }
    // The block's text is already out; each reference goes where its unit
    // would have been, and the text after it moves over what follows. The
    // text after unit j goes to next + j, next moved on by what each
    // reference adds: every load and store is at an offset from a pointer,
    // with no length between references to work out.
    uint64_t special = marked;
    const uint8_t *const textAfter = bytes + 1;
    uint8_t *next = o + 1;
    do {
      const size_t at = EncodeWalk::lowest_bit(special);
      const size_t unit = p[at];
      if (__builtin_expect(unit < 256, 1)) {
        const EncodeRow *row = kLatinRows.row + unit;
        std::memcpy(next - 1 + at, row, 16);
        next += row->length - 1;
      } else {
        next += wide_reference(p, at, next - 1 + at) - 1;
      }
      // The rest of the block: 32 bytes whatever is left.
      const __m128i t0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(textAfter + at));
      const __m128i t1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(textAfter + 16 + at));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(next + at), t0);
      _mm_storeu_si128(reinterpret_cast<__m128i *>(next + 16 + at), t1);
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

}  // namespace ztk::html::sse2
#endif  // ZTK_X86
