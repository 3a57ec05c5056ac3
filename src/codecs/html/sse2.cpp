#include "codecs/html/levels.h"
#include "frame/ascii.h"
#include "frame/simd.h"

#include <cstddef>
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

// The low eight bytes of x as a word.
__attribute__((always_inline)) inline uint64_t narrowed_word(__m128i x) {
#if defined(__x86_64__)
  return static_cast<uint64_t>(_mm_cvtsi128_si64(x));
#else
  uint64_t bytes;  // stored: the 32-bit target has no 64-bit move
  _mm_storel_epi64(reinterpret_cast<__m128i *>(&bytes), x);
  return bytes;
#endif
}

// Where the unit at q goes: d bytes from it.
__attribute__((always_inline)) inline char *shifted(const void *q, ptrdiff_t d) {
  return reinterpret_cast<char *>(reinterpret_cast<uintptr_t>(q) + d);
}

// The text from s8 - 8 up to a to where it goes: one 16-byte move, which
// covers the text between most references of a page (often a space or a
// letter), past it 48 bytes more (the text up to a sentence's next
// reference), then 64 at a time.
__attribute__((always_inline)) inline void write_text(const uint16_t *s8, ptrdiff_t d, const uint16_t *a) {
  std::memcpy(shifted(s8 - 8, d), s8 - 8, 16);
  if (a > s8) {
    std::memcpy(shifted(s8, d), s8, 48);
    for (const uint16_t *q = s8 + 24; q < a; q += 32) std::memcpy(shifted(q, d), q, 64);
  }
}

// The "&"s of the 32 units at q. Narrowed with unsigned saturation a unit
// above 0xFF becomes 0x00 or 0xFF, no "&" and no ";".
__attribute__((always_inline)) inline uint32_t amps_at(const uint16_t *q, __m128i amp) {
  const auto *v = reinterpret_cast<const __m128i *>(q);
  const __m128i lo = _mm_packus_epi16(_mm_loadu_si128(v), _mm_loadu_si128(v + 1));
  const __m128i hi = _mm_packus_epi16(_mm_loadu_si128(v + 2), _mm_loadu_si128(v + 3));
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(lo, amp))) |
         static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(hi, amp))) << 16;
}

// A window of `width` units at p with no "&": its text is written while it
// is at hand, not reread from afar at the next reference.
__attribute__((always_inline)) inline void take_clean(const uint16_t *p, size_t width, const uint16_t *&s8,
                                                      ptrdiff_t d) {
  // From the first unit not yet written: the window's own, or text before
  // it that waits, or after a reference before it that ended inside it.
  for (const uint16_t *q = s8 - 8; q < p + width; q += 32) std::memcpy(shifted(q, d), q, 64);
  s8 = p + width + 8;
}

// The state of the windows (see decode_windows): the window at p and its
// "&"s not yet taken, s8 and d.
struct Windows {
  const uint16_t *p;
  uint64_t amps;
  const uint16_t *s8;
  ptrdiff_t d;
};

// Takes the "&"s of the window at p while each begins the name that holds
// its slot, and then the windows of 64 units after it while p is at most
// `last` (compared as addresses; one before any text ends the run with the
// window): writes the text before each name and its unit, and the text of
// each window with none. Stops with amps 0 when the windows are done, or at
// an "&" that needs more, its bit still set, with `a` at it and `x` the
// eight units after it narrowed.
__attribute__((always_inline)) inline void run(Windows &w, uintptr_t last, const PrefixNameIndex *names,
                                               const Memo &memo, __m128i amp, __m128i semi, __m128i zero,
                                               const uint16_t *&a, __m128i &x) {
#if defined(__x86_64__)
  // In assembly: compiled, the loop kept the text's start and its target in
  // registers of their own beside s8 and d, spilled four registers around
  // every window, and took six instructions a reference more than the 22
  // here (a page has a reference every 19 bytes). It does what the C++
  // below does, and also takes the references the memo holds (unless their
  // text is longer than the first move) and passes over the "&"s with no
  // ";" among the six units after them, which begin no reference. rep bsf
  // is tzcnt where the CPU has it, which unlike bsf does not wait for the
  // earlier value of its target, and bsf elsewhere.
  //
  // The operands it changes are all early clobbers: an input known to hold
  // the same value as one of them (amps and the memo's `used` are both 0 at
  // the first entry) may otherwise share its register, which clang did.
  //
  // The tables' rows by their places, written into the code (an asm
  // statement takes at most 30 operands).
  static_assert(offsetof(PrefixNameIndex, key) == 0 && offsetof(PrefixNameIndex, mask) == 8192 &&
                    offsetof(PrefixNameIndex, code) == 16384 && offsetof(PrefixNameIndex, advance) == 18432 &&
                    offsetof(PrefixNameIndex, shrink) == 19456,
                "the name table's rows moved");
  static_assert(offsetof(Memo, key) == 0 && offsetof(Memo, mask) == 128 && offsetof(Memo, shrink) == 256 &&
                    offsetof(Memo, code) == 384 && offsetof(Memo, advance) == 416,
                "the memo's rows moved");
  size_t slot, t;
  __m128i v0, v1;
  __asm__(
      "testq %[amps], %[amps]\n\t"
      "jne 1f\n"
      // The next window, or out.
      "0:\n\t"
      "cmpq %[last], %[p]\n\t"
      "ja 9f\n\t"
      "addq $128, %[p]\n\t"
      "movdqu (%[p]), %[v0]\n\t"
      "movdqu 16(%[p]), %[v1]\n\t"
      "packuswb %[v1], %[v0]\n\t"
      "pcmpeqb %[amp], %[v0]\n\t"
      "pmovmskb %[v0], %k[amps]\n\t"
      "movdqu 32(%[p]), %[v0]\n\t"
      "movdqu 48(%[p]), %[v1]\n\t"
      "packuswb %[v1], %[v0]\n\t"
      "pcmpeqb %[amp], %[v0]\n\t"
      "pmovmskb %[v0], %k[t]\n\t"
      "shll $16, %k[t]\n\t"
      "orl %k[t], %k[amps]\n\t"
      "movdqu 64(%[p]), %[v0]\n\t"
      "movdqu 80(%[p]), %[v1]\n\t"
      "packuswb %[v1], %[v0]\n\t"
      "pcmpeqb %[amp], %[v0]\n\t"
      "pmovmskb %[v0], %k[t]\n\t"
      "movdqu 96(%[p]), %[v0]\n\t"
      "movdqu 112(%[p]), %[v1]\n\t"
      "packuswb %[v1], %[v0]\n\t"
      "pcmpeqb %[amp], %[v0]\n\t"
      "pmovmskb %[v0], %k[slot]\n\t"
      "shll $16, %k[slot]\n\t"
      "orl %k[slot], %k[t]\n\t"
      "shlq $32, %[t]\n\t"
      "orq %[t], %[amps]\n\t"
      "je 7f\n"
      // An "&": the name in the slot of its first three bytes, checked with
      // its ";" by one masked compare.
      "1:\n\t"
      "rep bsfq %[amps], %[t]\n\t"
      "leaq (%[p],%[t],2), %[a]\n\t"
      "movdqu 2(%[a]), %[x]\n\t"
      "packuswb %[zero], %[x]\n\t"
      "movq %[x], %[t]\n\t"
      "imull %[mul], %k[t], %k[slot]\n\t"
      "shrl $22, %k[slot]\n\t"
      "andq 8192(%[names],%[slot],8), %[t]\n\t"
      "cmpq 0(%[names],%[slot],8), %[t]\n\t"
      "jne 3f\n\t"
      "movdqu -16(%[s8]), %[v0]\n\t"
      "movdqu %[v0], -16(%[s8],%[d])\n\t"
      "cmpq %[a], %[s8]\n\t"
      "jb 5f\n"
      "2:\n\t"
      "movzwl 16384(%[names],%[slot],2), %k[t]\n\t"
      "movw %w[t], (%[a],%[d])\n\t"
      "movzbl 18432(%[names],%[slot]), %k[t]\n\t"
      "leaq 16(%[a],%[t],2), %[s8]\n\t"
      "subq 19456(%[names],%[slot],8), %[d]\n\t"
      "leaq -1(%[amps]), %[t]\n\t"
      "andq %[t], %[amps]\n\t"
      "jne 1b\n\t"
      "jmp 0b\n"
      // Not the name in the slot: one remembered, with its text within
      // the first move (else the caller takes it).
      "3:\n\t"
      "andl $15, %k[slot]\n\t"
      "btl %k[slot], %k[used]\n\t"
      "jnc 4f\n\t"
      "movq %[x], %[t]\n\t"
      "andq 128(%[memo],%[slot],8), %[t]\n\t"
      "cmpq 0(%[memo],%[slot],8), %[t]\n\t"
      "jne 4f\n\t"
      "cmpq %[a], %[s8]\n\t"
      "jb 9f\n\t"
      "movdqu -16(%[s8]), %[v0]\n\t"
      "movdqu %[v0], -16(%[s8],%[d])\n\t"
      "movzwl 384(%[memo],%[slot],2), %k[t]\n\t"
      "movw %w[t], (%[a],%[d])\n\t"
      "movzbl 416(%[memo],%[slot]), %k[t]\n\t"
      "leaq 16(%[a],%[t],2), %[s8]\n\t"
      "subq 256(%[memo],%[slot],8), %[d]\n\t"
      "leaq -1(%[amps]), %[t]\n\t"
      "andq %[t], %[amps]\n\t"
      "jne 1b\n\t"
      "jmp 0b\n"
      // Neither: with no ";" among the six units after the "&" it begins no
      // reference and stays in the text ("A & B"); else the caller reads it.
      "4:\n\t"
      "movdqa %[x], %[v0]\n\t"
      "pcmpeqb %[semi], %[v0]\n\t"
      "pmovmskb %[v0], %k[t]\n\t"
      "testl $0x7E, %k[t]\n\t"
      "jne 9f\n\t"
      "leaq -1(%[amps]), %[t]\n\t"
      "andq %[t], %[amps]\n\t"
      "jne 1b\n\t"
      "jmp 0b\n"
      // A longer text: 48 bytes more, then 64 at a time.
      "5:\n\t"
      "movdqu (%[s8]), %[v0]\n\t"
      "movdqu %[v0], (%[s8],%[d])\n\t"
      "movdqu 16(%[s8]), %[v0]\n\t"
      "movdqu %[v0], 16(%[s8],%[d])\n\t"
      "movdqu 32(%[s8]), %[v0]\n\t"
      "movdqu %[v0], 32(%[s8],%[d])\n\t"
      "leaq 48(%[s8]), %[t]\n"
      "6:\n\t"
      "cmpq %[a], %[t]\n\t"
      "jae 2b\n\t"
      "movdqu (%[t]), %[v0]\n\t"
      "movdqu %[v0], (%[t],%[d])\n\t"
      "movdqu 16(%[t]), %[v0]\n\t"
      "movdqu %[v0], 16(%[t],%[d])\n\t"
      "movdqu 32(%[t]), %[v0]\n\t"
      "movdqu %[v0], 32(%[t],%[d])\n\t"
      "movdqu 48(%[t]), %[v0]\n\t"
      "movdqu %[v0], 48(%[t],%[d])\n\t"
      "addq $64, %[t]\n\t"
      "jmp 6b\n"
      // A window with no "&".
      "7:\n\t"
      "leaq -16(%[s8]), %[t]\n\t"
      "leaq 128(%[p]), %[slot]\n"
      "71:\n\t"
      "movdqu (%[t]), %[v0]\n\t"
      "movdqu %[v0], (%[t],%[d])\n\t"
      "movdqu 16(%[t]), %[v0]\n\t"
      "movdqu %[v0], 16(%[t],%[d])\n\t"
      "movdqu 32(%[t]), %[v0]\n\t"
      "movdqu %[v0], 32(%[t],%[d])\n\t"
      "movdqu 48(%[t]), %[v0]\n\t"
      "movdqu %[v0], 48(%[t],%[d])\n\t"
      "addq $64, %[t]\n\t"
      "cmpq %[slot], %[t]\n\t"
      "jb 71b\n\t"
      "leaq 144(%[p]), %[s8]\n\t"
      "jmp 0b\n"
      "9:"
      : [amps] "+&r"(w.amps), [p] "+&r"(w.p), [s8] "+&r"(w.s8), [d] "+&r"(w.d), [a] "=&r"(a), [slot] "=&r"(slot),
        [t] "=&r"(t), [x] "=&x"(x), [v0] "=&x"(v0), [v1] "=&x"(v1)
      : [last] "r"(last), [names] "r"(names), [amp] "x"(amp), [zero] "x"(zero),
        [mul] "n"(static_cast<int32_t>(kPrefixMultiplier << 8)), [memo] "r"(&memo), [used] "r"(memo.used), [semi] "x"(semi)
      : "cc", "memory");
#else
  // The caller takes the references the memo holds, and the "&"s with no
  // ";" after them.
  static_cast<void>(memo);
  static_cast<void>(semi);
  for (;;) {
    while (w.amps != 0) {
      a = w.p + static_cast<size_t>(static_cast<unsigned>(__builtin_ctzll(w.amps)));
      x = _mm_packus_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(a + 1)), zero);
      uint64_t bytes;  // stored: the 32-bit target has no 64-bit move
      _mm_storel_epi64(reinterpret_cast<__m128i *>(&bytes), x);
      const size_t slot = prefix_slot_of(bytes);
      if ((bytes & names->mask[slot]) != names->key[slot]) return;
      write_text(w.s8, w.d, a);
      std::memcpy(shifted(a, w.d), &names->code[slot], 2);
      w.s8 = a + names->advance[slot] + 8;
      w.d -= names->shrink[slot];
      w.amps &= w.amps - 1;
    }
    if (reinterpret_cast<uintptr_t>(w.p) > last) return;
    w.p += 64;
    w.amps = amps_at(w.p, amp) | uint64_t{amps_at(w.p + 32, amp)} << 32;
    if (w.amps == 0) take_clean(w.p, 64, w.s8, w.d);
  }
#endif
}

// Loops over the "&"s of windows of 64 units, one mask a window, so that
// the window's cost is paid once for about three references of a page. The
// output is the text moved down: the unit at q, from the first not yet
// written on, goes d bytes from q, and each reference lowers d by what it
// saves; s8 is that first unit, eight units on, so that whether a text needs
// more than its first 16-byte move is one compare. Text is written when a
// reference or a window with none needs it, in whole 16-byte moves that
// may run up to 32 units past it; that many units after a window stay
// readable (the eight after an "&" too), and the output has room for them.
// Near the end windows of 32 take the units while 32 follow them.
__attribute__((always_inline)) inline Stop decode_windows(const uint16_t *const u, size_t n, uint16_t *const out) {
  Windows w{u, 0, u + 8,
            static_cast<ptrdiff_t>(reinterpret_cast<uintptr_t>(out) - reinterpret_cast<uintptr_t>(u))};
  Memo memo;
  const __m128i amp = _mm_set1_epi8('&'), semi = _mm_set1_epi8(';'), zero = _mm_setzero_si128();
  // The table's address held in a register: taken afresh, it cost an
  // instruction at each return to the windows.
  const PrefixNameIndex *names = &kPrefixNameIndex;
  ZTK_IN_GENERAL_REGISTER(names);

  // Runs the windows up to `last` (see run), taking each "&" that is not a
  // name in its slot here; `width` is the windows' width.
  const auto run_to = [&](uintptr_t last, size_t width) __attribute__((always_inline)) {
    for (;;) {
      const uint16_t *a;
      __m128i x;
      run(w, last, names, memo, amp, semi, zero, a, x);
      if (w.amps == 0) return;
      const auto bytes = narrowed_word(x);
      const size_t at = static_cast<size_t>(a - w.p);
      // Met before, and still in its line: the same few moves as a name.
      const size_t line = Memo::line_of(bytes);
      size_t advance;
      if (const uint16_t unit = memo.find(bytes, line, advance)) {
        write_text(w.s8, w.d, a);
        std::memcpy(shifted(a, w.d), &unit, 2);
        w.s8 = a + advance + 8;
        w.d -= memo.shrink[line];
      } else {
        size_t k;
        int32_t value;
        bool numeric = false;
        if ((bytes & 0xFF) == '#' && (value = digits_value(bytes, k), static_cast<uint32_t>(value - 1) < 0xFFFF)) {
          // Digits alone to a unit of the BMP (most numeric references).
        } else {
          // The first ";" within seven units; 7 when there is none.
          const auto semis = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, semi)));
          k = static_cast<size_t>(static_cast<unsigned>(__builtin_ctz(semis | 0x80)));
          // "&;", or no ";" within seven: the "&" stays in the text.
          if (k - 1 >= kMaxName) goto next;
          value = other_value(bytes, k, numeric);
          if (value <= 0) goto next;  // the "&" stays in the text
        }
        write_text(w.s8, w.d, a);
        if (!numeric) {
          const auto found = static_cast<uint16_t>(value);
          memo.keep(bytes, line, k, found);
          std::memcpy(shifted(a, w.d), &found, 2);
          w.s8 = a + k + 2 + 8;
          w.d -= memo.shrink[line];
        } else {
          uint16_t units[2];
          size_t written = 1;
          if (value <= 0xFFFF) {
            units[0] = static_cast<uint16_t>(value);
          } else {
            units[0] = static_cast<uint16_t>(0xD800 + ((value - 0x10000) >> 10));
            units[1] = static_cast<uint16_t>(0xDC00 + ((value - 0x10000) & 0x3FF));
            written = 2;
          }
          std::memcpy(shifted(a, w.d), units, 2 * written);
          w.s8 = a + k + 2 + 8;
          w.d -= static_cast<ptrdiff_t>(2 * (k + 2 - written));
          // Its "&"s are text. One past the window leaves it: the next
          // window starts at the text after it.
          const auto past = static_cast<size_t>(w.s8 - 8 - w.p);
          if (past >= width) {
            w.p = w.s8 - 8 - width;
            w.amps = uint64_t{1} << at;
          } else {
            w.amps = (w.amps & ~uint64_t{0} << past) | uint64_t{1} << at;
          }
        }
      }
    next:
      w.amps &= w.amps - 1;
    }
  };

  if (n >= 96) {
    // From one window before the text, so that the run starts with a step.
    w.p = reinterpret_cast<const uint16_t *>(reinterpret_cast<uintptr_t>(u) - 128);
    run_to(reinterpret_cast<uintptr_t>(u + n - 96) - 128, 64);
    w.p += 64;
  }
  for (const uint16_t *const last = u + n - 64; w.p <= last; w.p += 32) {
    w.amps = amps_at(w.p, amp);
    if (w.amps == 0) {
      take_clean(w.p, 32, w.s8, w.d);
    } else {
      run_to(0, 32);
    }
  }
  return {w.s8 - 8, reinterpret_cast<uint16_t *>(shifted(w.s8 - 8, w.d)), w.p};
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
