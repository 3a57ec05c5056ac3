// The HTML codec's passes over UTF-16 units, block after block, whatever
// found the units that matter in them: the levels hand over a bitmask per
// block of 32 units ("&" for the decoder; the units written as references
// for the encoder) and store the blocks that hold none whole. Each marked
// unit costs a few scalar instructions: plain runs between them move in
// 16-byte steps, references are read and written through tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codecs/html.h"
#include "frame/byte_view.h"

namespace ztk::html {

// Names of up to six characters (longer ones can never be matched) as they
// stand in UTF-16: the first four units in one word, the other two in a
// second with the name's length in its top 16 bits, found by open
// addressing in 512 slots. A unit no name holds can never compare equal.
struct NameIndex {
  uint64_t lo[512];
  uint64_t hi[512];
  int16_t row[512];  // -1: an empty slot
  uint16_t code[512];
};
constexpr size_t kMaxName = 6;
constexpr size_t slot_of(uint64_t lo, uint64_t hi) {
  return static_cast<size_t>(((lo + hi * 31) * 0x9E3779B97F4A7C15ull) >> 55);
}
// The words of the name of k units at `name` (k from 1 to 6).
constexpr uint64_t name_lo(const uint16_t *name, size_t k) {
  uint64_t lo = 0;
  for (size_t j = 0; j < k && j < 4; ++j) lo |= uint64_t{name[j]} << (16 * j);
  return lo;
}
constexpr uint64_t name_hi(const uint16_t *name, size_t k) {
  uint64_t hi = uint64_t{k} << 48;
  for (size_t j = 4; j < k; ++j) hi |= uint64_t{name[j]} << (16 * (j - 4));
  return hi;
}

// Every named code is below this; a direct index from code to row (0: none,
// else the row + 1).
constexpr uint32_t kCodeSpan = 9831;
struct CodeIndex {
  uint8_t row[kCodeSpan];
};

// Each row's reference as written ("&", name, ";"), padded to 16 bytes, and
// its name's length.
struct Reference {
  char text[16];
  uint8_t nameLength;
};

extern const NameIndex kNameIndex;
extern const CodeIndex kCodeIndex;
struct References {
  Reference row[kEntityCount];
};
extern const References kReferences;
extern const Reference kApostrophe;  // "&#39;": the apos row is for decoding only

// The encoder's table: per unit below kCodeSpan the row it is written as (0:
// a numeric reference), the apostrophe's row being "&#39;"; a row is the
// reference padded to 15 bytes and its length, one 16-byte load and store.
struct EncodeRow {
  char text[15];
  uint8_t length;
};
struct EncodeTable {
  uint8_t index[kCodeSpan];
  EncodeRow row[kEntityCount + 2];
};
extern const EncodeTable kEncodeTable;
// The same rows for every unit below 0x100, numeric references included,
// found with no index: a unit below 0x80 that is not written as a reference
// has a row of its own byte, so that a level may mark more units than it
// must (DEL, which it cannot tell from a unit narrowed with saturation).
struct LatinRows {
  EncodeRow row[256];
};
extern const LatinRows kLatinRows;

// Internal to each source that includes it, so that a copy compiled for NEON
// (32-bit ARM builds only the NEON sources with NEON enabled) is never the
// one another source calls.
namespace {
// The slot of the name whose words are lo and hi, or -1.
inline int slot_of_name(uint64_t lo, uint64_t hi) {
  for (size_t slot = slot_of(lo, hi); kNameIndex.row[slot] >= 0; slot = (slot + 1) % 512) {
    if (kNameIndex.lo[slot] == lo && kNameIndex.hi[slot] == hi) return static_cast<int>(slot);
  }
  return -1;
}
}  // namespace

// The same names as one word of bytes, a name's characters from the low
// byte up, its ";" and zero bytes after them: for a level that narrows the
// units after an "&" to bytes. The ";" fixes the length, so a unit that
// narrows to a zero byte inside a name never passes for its end. A key of 0
// is an empty slot.
struct ByteNameIndex {
  uint64_t key[512];
  uint16_t code[512];
};
// The multiplier leaves every name of kernels.cpp's common list in its own
// slot (checked there when the table is built).
constexpr size_t byte_slot_of(uint64_t key) { return static_cast<size_t>((key * 0xB6754BA6198C6693ull) >> 55); }
extern const ByteNameIndex kByteNameIndex;

// The names as the 16-byte levels look them up first: by a hash of the
// three narrowed bytes after the "&" (a name of two holds its ";" there),
// before its length is known. The name that holds a slot is checked by one
// compare of the eight bytes under its mask, its characters, its ";" and so
// its length at once. A name that lost its slot to another of the same three
// bytes is found by code_of_key.
struct PrefixNameIndex {
  uint64_t key[1024];   // the name's characters and ";" (~0 in an empty slot)
  uint64_t mask[1024];  // keeps those bytes (0 in an empty slot: no match)
  uint16_t code[1024];
  uint8_t advance[1024];  // units from the "&" to past the ";"
  ptrdiff_t shrink[1024];  // bytes the reference saves: (advance - 1) units
};
// A 32-bit multiply by an immediate: the multiplier leaves every common name
// and most others in a slot of their own (checked in kernels.cpp).
constexpr uint32_t kPrefixMultiplier = 824465427u;
constexpr size_t prefix_slot_of(uint64_t bytes) {
  return static_cast<size_t>((static_cast<uint32_t>(bytes << 8) * kPrefixMultiplier) >> 22);
}
extern const PrefixNameIndex kPrefixNameIndex;

namespace {
// The code of the name whose key is `key`, or 0.
inline uint32_t code_of_key(uint64_t key) {
  size_t slot = byte_slot_of(key);
  if (kByteNameIndex.key[slot] == key) return kByteNameIndex.code[slot];  // most names: their own slot
  for (; kByteNameIndex.key[slot] != 0; slot = (slot + 1) % 512) {
    if (kByteNameIndex.key[slot] == key) return kByteNameIndex.code[slot];
  }
  return 0;
}
}  // namespace

// Keeps the first k units of the words of a name.
struct NameMasks {
  uint64_t lo[8], hi[8];
};
constexpr NameMasks kNameMasks = {
    {0, 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFFFFFF, ~uint64_t{0}, ~uint64_t{0}, ~uint64_t{0}, ~uint64_t{0}},
    {0, 0, 0, 0, 0, 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFFFFFF},
};

namespace {
namespace swar {
constexpr uint64_t kLanes = 0x0001000100010001ull;
// Bit 15 of each 16-bit lane of x that is zero.
inline uint64_t zero_lanes(uint64_t x) {
  constexpr uint64_t kLow15 = 0x7FFF * kLanes;
  return ~(((x & kLow15) + kLow15) | x | kLow15);
}
}  // namespace swar

struct DecodeWalk {
  const uint16_t *u;
  size_t n;
  uint16_t *out;
  uint16_t *outStart;
  uintptr_t inFar;   // the last address 32 units can be read from (0: none)
  uintptr_t outFar;  // the last address 32 units can be stored at (0: none)
  size_t start = 0;  // the first unit not yet written

  DecodeWalk(U16View units, uint16_t *o, uint16_t *outEnd)
      : u(units.data),
        n(units.size),
        out(o),
        outStart(o),
        inFar(units.size >= 32 ? reinterpret_cast<uintptr_t>(units.data + units.size - 32) : 0),
        outFar(outEnd - o >= 32 ? reinterpret_cast<uintptr_t>(outEnd - 32) : 0) {}

  // Copies u[a, b).
  void text(size_t a, size_t b) {
    const uint16_t *p = u + a;
    size_t k = b - a;
    if (k <= 32 && reinterpret_cast<uintptr_t>(p) <= inFar && reinterpret_cast<uintptr_t>(out) <= outFar) {
      std::memcpy(out, p, 16);
      if (k > 8) {
        std::memcpy(out + 8, p + 8, 16);
        std::memcpy(out + 16, p + 16, 16);
        std::memcpy(out + 24, p + 24, 16);
      }
      out += k;
      return;
    }
    std::memcpy(out, p, k * 2);
    out += k;
  }

  void put(int32_t value) {
    if (value <= 0xFFFF) {
      *out++ = static_cast<uint16_t>(value);
    } else {
      const int32_t v = value - 0x10000;
      *out++ = static_cast<uint16_t>(0xD800 + (v >> 10));
      *out++ = static_cast<uint16_t>(0xDC00 + (v & 0x3FF));
    }
  }

  static bool is_decimal(uint16_t c) { return c >= '0' && c <= '9'; }
  static bool is_hex(uint16_t c) { return is_decimal(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }

  // The value of the numeric reference "&#" at `at`, or 0 or less when it is none.
  __attribute__((noinline)) int32_t numeric(size_t at) const {
    int32_t value = 0;
    bool minus = false;
    size_t p = at + 2;
    if (p < n && u[p] == 'x') {
      for (size_t end = p + 5 < n ? p + 5 : n, q = p + 1; q < end && (u[q] == '-' || is_hex(u[q])); ++q) {
        if (u[q] == '-') {
          minus = true;
        } else {
          value = value * 16 + (is_decimal(u[q]) ? u[q] - '0' : (u[q] | 0x20) - 'a' + 10);
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
    return value > 0x10FFFF ? 0 : value;
  }

  // Reads the reference whose "&" is at `at`: its value and the unit after
  // it, or false when the "&" is a character of its own.
  __attribute__((always_inline)) bool reference(size_t at, int32_t &value, size_t &end) const {
    size_t k;
    if (at + 9 <= n) {
      // The eight units after the "&" in two words: the ";" within seven.
      uint64_t lo, hi;
      std::memcpy(&lo, u + at + 1, 8);
      std::memcpy(&hi, u + at + 5, 8);
      const uint64_t semiLo = swar::zero_lanes(lo ^ (';' * swar::kLanes));
      const uint64_t semiHi = swar::zero_lanes(hi ^ (';' * swar::kLanes)) & 0x0000800080008000ull;
      if (semiLo != 0) {
        k = static_cast<size_t>(__builtin_ctzll(semiLo)) / 16;
      } else if (semiHi != 0) {
        k = 4 + static_cast<size_t>(__builtin_ctzll(semiHi)) / 16;
      } else {
        return false;
      }
      if (k == 0) return false;
      if ((lo & 0xFFFF) != '#') {
        const int slot = slot_of_name(lo & kNameMasks.lo[k], (hi & kNameMasks.hi[k]) | uint64_t{k} << 48);
        value = slot < 0 ? 0 : kNameIndex.code[slot];
        end = at + k + 2;
        return slot >= 0;
      }
    } else {
      // Near the end: the name may run to the end of the text.
      bool bounded = false;
      k = 0;
      for (size_t j = 1; j <= 7; ++j) {
        if (at + j == n || u[at + j] == ';') {
          k = j - 1;
          bounded = true;
          break;
        }
      }
      if (!bounded || k == 0) return false;
      if (const EscapeCode *e = find_name(u + at + 1, k)) {
        value = static_cast<int32_t>(e->code);
        end = at + k + 2 < n ? at + k + 2 : n;
        return true;
      }
      if (u[at + 1] != '#') return false;
    }
    value = numeric(at);
    end = at + k + 2 < n ? at + k + 2 : n;
    return value > 0;
  }

  // Takes the "&"s of the block of `width` <= 32 units at `base` (bit j for
  // u[base + j]) and writes the block's text up to its end, so that a block
  // that follows with none is stored whole.
  __attribute__((always_inline)) void step(uint64_t amps, size_t base, size_t width) {
    // A reference runs at most nine units past its "&": shifts stay below 64.
    if (start > base) amps &= ~uint64_t{0} << (start - base);
    while (amps != 0) {
      const size_t at = base + static_cast<size_t>(__builtin_ctzll(amps));
      amps &= amps - 1;
      int32_t value;
      size_t end;
      if (!reference(at, value, end)) continue;  // the "&" stays in the run
      text(start, at);
      put(value);
      start = end;
      amps &= ~uint64_t{0} << (end - base);
    }
    if (start < base + width) {
      text(start, base + width);
      start = base + width;
    }
  }

  // The units after an "&" as a level narrows them: the first eight as
  // bytes (a unit above 0xFF becomes a byte no name holds, 0x00 or 0xFF),
  // and bit j set where unit j is ";" (j < 7).
  struct Narrowed {
    uint64_t bytes;
    uint32_t semis;
  };

  // Keeps the first k + 1 bytes of a word: a name of k characters and its
  // ";". With no ";" within seven (k = 7) it keeps eight, a key no name has.
  static constexpr uint64_t kKeyMasks[8] = {0xFF,           0xFFFF,           0xFFFFFF,           0xFFFFFFFF,
                                            0xFFFFFFFFFF,   0xFFFFFFFFFFFF,   0xFFFFFFFFFFFFFF,   ~uint64_t{0}};

  // numeric() for a reference of k < 7 units before its ";", from its
  // bytes: the ";" ends every scan there, as a unit no digit would.
  static int32_t numeric(uint64_t bytes, size_t k) {
    int32_t value = 0;
    bool minus = false;
    if ((bytes >> 8 & 0xFF) == 'x') {
      for (size_t j = 2; j < k && j < 6; ++j) {
        const auto c = static_cast<uint8_t>(bytes >> (8 * j));
        if (c == '-') {
          minus = true;
        } else if (is_decimal(c)) {
          value = value * 16 + (c - '0');
        } else if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f') {
          value = value * 16 + ((c | 0x20) - 'a' + 10);
        } else {
          break;
        }
      }
    } else {
      for (size_t j = 1; j < k; ++j) {  // at most five digits: no overflow
        const auto c = static_cast<uint8_t>(bytes >> (8 * j));
        if (c == '-') {
          minus = true;
        } else if (is_decimal(c)) {
          value = value * 10 + (c - '0');
        } else {
          break;
        }
      }
    }
    return minus ? -value : value;
  }

  // step() for a block of 32 units at `base` with 32 more units after it,
  // `narrow(at)` giving the Narrowed units after the "&" at `at`. Text
  // moves in whole 64-byte copies: what follows the block, and room for the
  // units written (never more than those read), are there.
  template <class Narrow>
  __attribute__((always_inline)) void step_inside(uint64_t amps, size_t base, Narrow narrow) {
    while (amps != 0) {
      const size_t at = base + static_cast<size_t>(__builtin_ctzll(amps));
      amps &= amps - 1;
      if (at < start) continue;  // inside the reference before
      // reference(), unfolded: an "&" that begins none stays in the run.
      const Narrowed name = narrow(at);
      if (name.semis == 0 || (name.semis & 1) != 0) continue;  // no ";" within seven, or "&;"
      const size_t k = static_cast<size_t>(__builtin_ctz(name.semis));
      if ((name.bytes & 0xFF) != '#') {
        const uint32_t code = code_of_key(name.bytes & kKeyMasks[k]);
        if (code == 0) continue;
        copy(start, at);
        *out++ = static_cast<uint16_t>(code);  // every name is in the BMP
      } else {
        const int32_t value = numeric(name.bytes, k);
        if (value <= 0) continue;
        copy(start, at);
        put(value);
      }
      start = at + k + 2;
    }
    if (start < base + 32) {
      copy(start, base + 32);
      start = base + 32;
    }
  }

  // Copies u[a, b) for b - a <= 32, storing 32 units whatever the length.
  __attribute__((always_inline)) void copy(size_t a, size_t b) {
    const uint16_t *p = u + a;
    std::memcpy(out, p, 16);
    std::memcpy(out + 8, p + 8, 16);
    std::memcpy(out + 16, p + 16, 16);
    std::memcpy(out + 24, p + 24, 16);
    out += b - a;
  }

  // A block of 32 units with no "&" that the level has stored.
  void clean(size_t base) {
    start = base + 32;
    out += 32;
  }

  size_t finish() {
    if (start < n) text(start, n);
    return static_cast<size_t>(out - outStart);
  }
};

// The references a level's window loop met off their name's own slot
// (numeric ones, names that lost the slot), kept in 16 lines by the last
// four bits of that slot, known by the time the name in it has failed: a
// page uses a few of them again and again ("&#39;", "&#8217;"), and one
// found here costs a few instructions more than a name in its slot. Only
// references of digits or letters alone are kept, whose bytes up to the
// ";" give the same unit wherever they stand. A line holds the last one met; `used` has a
// bit for each line that holds one, so the lines need no clearing (cleared
// as two memsets, the compiler wrote them with rep stos, whose start made a
// page of 1 KiB a tenth slower).
struct Memo {
  static constexpr size_t kLines = 16;
  uint64_t key[kLines];
  uint64_t mask[kLines];
  ptrdiff_t shrink[kLines];  // bytes it saves: (advance - 1) units
  uint16_t code[kLines];
  uint8_t advance[kLines];
  uint32_t used = 0;
  static size_t line_of(uint64_t bytes) { return prefix_slot_of(bytes) % kLines; }
  // The unit of the reference whose bytes are `bytes` if a line holds it
  // (its advance in `advance`), else 0.
  uint16_t find(uint64_t bytes, size_t line, size_t &units) const {
    if ((used >> line & 1) == 0 || (bytes & mask[line]) != key[line]) return 0;
    units = advance[line];
    return code[line];
  }
  // Keeps the reference of k units before its ";" whose bytes are `bytes`.
  void keep(uint64_t bytes, size_t line, size_t k, uint16_t unit) {
    used |= uint32_t{1} << line;
    key[line] = bytes & DecodeWalk::kKeyMasks[k];
    mask[line] = DecodeWalk::kKeyMasks[k];
    code[line] = unit;
    advance[line] = static_cast<uint8_t>(k + 2);
    shrink[line] = static_cast<ptrdiff_t>(2 * (k + 1));
  }
};

struct EncodeWalk {
  const uint16_t *u;
  uint8_t *out;
  uint8_t *outStart;

  EncodeWalk(const uint16_t *units, uint8_t *o) : u(units), out(o), outStart(o) {}

  // Writes the reference of unit c at o; 16 bytes may be stored. Returns
  // the end of what it wrote.
  __attribute__((always_inline)) static uint8_t *reference(uint16_t c, uint8_t *o) {
    const size_t row = c < kCodeSpan ? kEncodeTable.index[c] : 0;
    if (row == 0) return numeric(c, o);
    const EncodeRow &r = kEncodeTable.row[row];
    std::memcpy(o, &r, 16);
    return o + r.length;
  }

  // Byte stores straight into the output: a number built on the stack and
  // copied in one 16-byte move stalled on its byte stores (and, called from
  // the 64-byte level, ran as legacy SSE code beside live wide registers).
  __attribute__((noinline)) static uint8_t *numeric(uint16_t c, uint8_t *o) {
    const size_t digits = c >= 10000 ? 5 : c >= 1000 ? 4 : c >= 100 ? 3 : c >= 10 ? 2 : 1;
    o[0] = '&';
    o[1] = '#';
    for (size_t d = digits + 1; d > 1; --d, c = static_cast<uint16_t>(c / 10)) {
      o[d] = static_cast<uint8_t>('0' + c % 10);
    }
    o[digits + 2] = ';';
    return o + digits + 3;
  }

  // Takes a block of `width` <= 32 units at `base` whose low bytes are at
  // `bytes` (48 readable), `special` marking the units written as references.
  // Up to 32 bytes may be stored past what is written.
  __attribute__((always_inline)) void step(uint32_t special, const uint8_t *bytes, size_t base, size_t width) {
    // A local pointer: the byte stores could otherwise reach the walk itself.
    uint8_t *o = out;
    const uint16_t *units = u + base;
    unsigned from = 0;
    while (special != 0) {
      const auto at = static_cast<unsigned>(__builtin_ctz(special));
      special &= special - 1;
      std::memcpy(o, bytes + from, 16);
      if (at - from > 16) std::memcpy(o + 16, bytes + from + 16, 16);
      o += at - from;
      o = reference(units[at], o);
      from = at + 1;
    }
    std::memcpy(o, bytes + from, 16);
    if (width - from > 16) std::memcpy(o + 16, bytes + from + 16, 16);
    out = o + (width - from);
  }

  size_t written() const { return static_cast<size_t>(out - outStart); }

  // The index of the lowest set bit of m, which is not 0. On x86-64 the
  // builtin's int result is widened again before every use as an index; rep
  // bsf is tzcnt where the CPU has it and bsf elsewhere, the same for a word
  // that is not 0.
  __attribute__((always_inline)) static size_t lowest_bit(uint64_t m) {
#if defined(__x86_64__)
    size_t k;
    __asm__("rep bsfq %1, %0" : "=r"(k) : "rm"(m) : "cc");
    return k;
#else
    return static_cast<size_t>(__builtin_ctzll(m));
#endif
  }
};

}  // namespace
}  // namespace ztk::html
