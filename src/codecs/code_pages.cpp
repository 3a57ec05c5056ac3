#include "codecs/code_pages.h"

#include <cstring>

#include "frame/cpu.h"
#include "frame/registry.h"
#include "frame/simd.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/byte_sink.h"
#include "text/byte_scan.h"
#include "text/rb_text.h"
#include "text/unit_scan.h"

namespace ztk::codepage {
namespace {

constexpr Table identity() {
  Table t{};
  for (int b = 0; b < 256; ++b) t[b] = static_cast<uint16_t>(b);
  return t;
}

// Windows-1252 differs from ISO 8859-1 only in 0x80-0x9F (Microsoft's
// published bestfit mapping for code page 1252); 0 marks the five bytes the
// code page leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D).
constexpr uint16_t kCP1252High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 0x80-0x87
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,       // 0x88-0x8F
    0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 0x90-0x97
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178,  // 0x98-0x9F
};

constexpr Table cp1252() {
  Table t = identity();
  for (int i = 0; i < 32; ++i) t[0x80 + i] = kCP1252High[i];
  return t;
}

}  // namespace

const Table escapecharsISO8859 = identity();  // ISO 8859-1 maps every byte to the same code point
const Table escapecharsCP1252 = cp1252();

int find_byte(const Table &table, uint16_t unit) {
  // Both pages hold every byte outside 0x80-0x9F at its own value, so only
  // those 32 entries need searching; the first match in byte order wins.
  if (unit < 0x80) return unit;
  for (int b = 0x80; b <= 0x9F; ++b) {
    if (table[b] == unit) return b;
  }
  return (unit >= 0xA0 && unit < 0x100) ? unit : -1;
}

namespace {
// The units a page holds at their own value, 0x80-0x9F excepted, pass in runs.
bool identity_high(const Table &table) {
  for (int b = 0x80; b <= 0x9F; ++b) {
    if (table[b] != b) return false;
  }
  return true;
}
}  // namespace

namespace {
// Where a page's entries for 0x80-0x9F that lie above 0xFF are found, by
// unit: a hash of the unit picks one of 64 slots, which holds that entry and
// its byte. Made at compile time for Windows-1252 (the one page with such
// entries), with the first multiplier that gives each entry a slot of its
// own; a page serves itself from them when its 32 entries are these.
struct HighSlots {
  static constexpr int kShift = 10;  // the product's top six bits
  static constexpr int slot(uint16_t unit, uint16_t multiplier) {
    return static_cast<uint16_t>(uint32_t{unit} * multiplier) >> kShift;
  }

  alignas(64) uint16_t entries[32] = {};  // the page's entries for 0x80-0x9F
  alignas(64) uint16_t units[64] = {};    // 0: a free slot (no entry above 0xFF is 0)
  alignas(64) uint16_t bytes[64] = {};
  uint16_t multiplier = 1;
  bool made = false;  // false: no multiplier gave every entry a slot of its own

  constexpr explicit HighSlots(const Table &table) {
    for (int b = 0; b < 32; ++b) entries[b] = table[0x80 + b];
    for (uint32_t m = 1; m < 0x10000; m += 2) {
      if (fill(static_cast<uint16_t>(m))) {
        multiplier = static_cast<uint16_t>(m);
        made = true;
        return;
      }
    }
  }

 private:
  constexpr bool fill(uint16_t m) {
    for (int k = 0; k < 64; ++k) units[k] = bytes[k] = 0;
    for (int b = 0; b < 32; ++b) {
      const uint16_t unit = entries[b];
      if (unit <= 0xFF) continue;
      const int k = slot(unit, m);
      if (units[k] == unit) continue;  // a repeated entry: its first byte stays
      if (units[k] != 0) return false;
      units[k] = unit;
      bytes[k] = static_cast<uint16_t>(0x80 + b);
    }
    return true;
  }
};

constexpr HighSlots kCP1252Slots(cp1252());
static_assert(kCP1252Slots.made, "every entry above 0xFF has a slot of its own");

#if ZTK_WIDE_VECTORS
// 32 units a block: narrowed at once, the units the page drops (above 0xFF,
// and for a page of its own in 0x80-0x9F, those too) compressed away. Units
// above 0xFF are looked up in Windows-1252's slots, all lanes at once, when
// the page is that one; otherwise one at a time among its 32 entries for
// 0x80-0x9F. A whole
// 32-byte store at the output's end is safe: the output never runs ahead of
// the input, whose room it has. `ownC1`: the page maps 0x80-0x9F to
// characters of its own. Returns the units taken (a multiple of 32);
// `written` gets the bytes.
ZTK_AVX512VBMI2 size_t encode_vbmi2(const Table &table, bool ownC1, U16View units, uint8_t *out, size_t &written) {
  written = 0;
  if (units.size < 32) return 0;
  const __m512i latin1 = _mm512_set1_epi16(0xFF), c1 = _mm512_set1_epi16(0x80), c1Last = _mm512_set1_epi16(0x1F);
  const __m512i entries = _mm512_loadu_si512(table.data() + 0x80);
  const HighSlots &slots = kCP1252Slots;
  const bool slotted = slots.made && _mm512_cmpneq_epi16_mask(entries, _mm512_load_si512(slots.entries)) == 0;
  const __m512i multiplier = _mm512_set1_epi16(static_cast<short>(slots.multiplier));
  const __m512i slotUnits[2] = {_mm512_load_si512(slots.units), _mm512_load_si512(slots.units + 32)};
  const __m512i slotBytes[2] = {_mm512_load_si512(slots.bytes), _mm512_load_si512(slots.bytes + 32)};
  size_t i = 0, w = 0;
  for (; i + 32 <= units.size; i += 32) {
    __m512i v = _mm512_loadu_si512(units.data + i);
    const __mmask32 above = _mm512_cmpgt_epu16_mask(v, latin1);
    const __mmask32 dropped = ownC1 ? above | _mm512_cmple_epu16_mask(_mm512_sub_epi16(v, c1), c1Last) : above;
    if (dropped == 0) {  // the common block: every unit is its own byte
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + w), _mm512_maskz_cvtepi16_epi8(~__mmask32{0}, v));
      w += 32;
      continue;
    }
    __mmask32 keep = ~dropped;
    // A page without characters of its own in 0x80-0x9F holds no unit above 0xFF.
    if (ownC1 && above != 0) {
      if (slotted) {
        const __m512i slot = _mm512_srli_epi16(_mm512_mullo_epi16(v, multiplier), HighSlots::kShift);
        const __mmask32 hit = _mm512_mask_cmpeq_epi16_mask(
            above, _mm512_permutex2var_epi16(slotUnits[0], slot, slotUnits[1]), v);
        v = _mm512_mask_mov_epi16(v, hit, _mm512_permutex2var_epi16(slotBytes[0], slot, slotBytes[1]));
        keep |= hit;
      } else {
        for (__mmask32 m = above; m != 0; m &= m - 1) {
          // The first of the page's entries for 0x80-0x9F that holds the unit.
          const unsigned lane = static_cast<unsigned>(__builtin_ctz(m));
          const __mmask32 hit =
              _mm512_cmpeq_epi16_mask(_mm512_set1_epi16(static_cast<short>(units[i + lane])), entries);
          if (hit != 0) {
            v = _mm512_mask_set1_epi16(v, __mmask32{1} << lane, static_cast<short>(0x80 + __builtin_ctz(hit)));
            keep |= __mmask32{1} << lane;
          }
        }
      }
    }
    // (the unmasked narrowing trips gcc 12 on -Wmaybe-uninitialized)
    const __m256i bytes = _mm512_maskz_cvtepi16_epi8(~__mmask32{0}, v);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + w), _mm256_maskz_compress_epi8(keep, bytes));
    w += static_cast<size_t>(__builtin_popcount(keep));
  }
  written = w;
  return i;
}
#endif
}  // namespace

namespace {
// The byte of a unit a run stopped at, or -1. When the page's entries for
// 0x80-0x9F are Windows-1252's (`slotted`), those above 0xFF are found by
// their slot, and a unit in 0x80-0x9F is none of them (the page's other
// entries there are 0); the rest by the search.
int stop_byte(const Table &table, bool slotted, uint16_t unit) {
  if (slotted && unit > 0xFF) {
    const int k = HighSlots::slot(unit, kCP1252Slots.multiplier);
    return kCP1252Slots.units[k] == unit ? kCP1252Slots.bytes[k] : -1;
  }
  if (slotted && unit >= 0x80 && unit <= 0x9F) return -1;
  return find_byte(table, unit);
}

// Moves n bytes down by `by` places; in text that drops many units the
// stretches are short, and a call to memmove would cost more than they do.
inline void move_down(uint8_t *from, size_t by, size_t n) {
  uint8_t *to = from - by;
  if (n >= 32) {
    std::memmove(to, from, n);
  } else {
    for (size_t k = 0; k < n; ++k) to[k] = from[k];
  }
}

bool slots_serve(const Table &table) {
  if (!kCP1252Slots.made) return false;
  for (int b = 0; b < 32; ++b) {
    if (table[0x80 + b] != kCP1252Slots.entries[b]) return false;
  }
  return true;
}
}  // namespace

size_t encode(const Table &table, U16View units, uint8_t *out) {
  static constexpr units::UnitSet kAboveLatin1(0xFF00, {});
  static constexpr units::UnitSet kAboveOrC1 = kAboveLatin1.with_range(0x80, 0x9F);
  const bool ownC1 = !identity_high(table);
  const units::UnitSet &stop = ownC1 ? kAboveOrC1 : kAboveLatin1;
  size_t written = 0, i = 0;
#if ZTK_WIDE_VECTORS
  if (cpu::active() >= cpu::kAVX512VBMI2) i = encode_vbmi2(table, ownC1, units, out, written);
#endif
  // A chunk at a time: every unit narrowed at once and the units the runs stop
  // at marked in a bit set, then each of those gets its byte in place, and
  // one the page drops moves the bytes after it down. Run by run (a search,
  // then a narrowing) cost more than plain code on text with a euro sign
  // every few words. The output never runs ahead of the input, whose room it has.
  constexpr size_t kChunk = 1024;
  uint64_t stops[kChunk / 64];
  int slotted = -1;  // found at the first stop
  for (; i < units.size;) {
    const size_t n = units.size - i > kChunk ? kChunk : units.size - i;
    uint8_t *o = out + written;  // o[k]: the byte of unit i + k, less the units dropped before it
    units::narrow(units.data + i, n, o);
    units::mark({units.data + i, n}, stop, stops);
    size_t dropped = 0, next = 0;  // next: the first unit whose byte is not yet in place
    for (size_t w = 0; w < (n + 63) / 64; ++w) {
      for (uint64_t m = stops[w]; m != 0; m &= m - 1) {
        const size_t at = 64 * w + static_cast<size_t>(__builtin_ctzll(m));
        if (dropped > 0) move_down(o + next, dropped, at - next);
        const uint16_t unit = units[i + at];
        if (slotted < 0) slotted = ownC1 && slots_serve(table);
        const int b = stop_byte(table, slotted > 0, unit);
        if (b >= 0) {
          o[at - dropped] = static_cast<uint8_t>(b);
        } else {
          ++dropped;
        }
        next = at + 1;
      }
    }
    if (dropped > 0) move_down(o + next, dropped, n - next);
    written += n - dropped;
    i += n;
  }
  return written;
}

namespace {
#if ZTK_WIDE_VECTORS
// 32 widened bytes, those in 0x80-0x9F replaced by the page's entries `c1`
// with one word permute.
ZTK_AVX512 inline __m512i map_c1(__m512i w, __m512i c1) {
  const __m512i index = _mm512_sub_epi16(w, _mm512_set1_epi16(0x80));
  return _mm512_mask_permutexvar_epi16(w, _mm512_cmple_epu16_mask(index, _mm512_set1_epi16(31)), index, c1);
}

// 32 bytes a step. The units before the output's first 64-byte boundary go
// in one masked step, so that every later store fills one cache line: a long
// output lands in memory the cache no longer holds, where a store across two
// lines costs two line fills.
ZTK_AVX512 size_t decode_avx512(const Table &table, ByteView bytes, uint16_t *out) {
  const __m512i c1 = _mm512_loadu_si512(table.data() + 0x80);
  size_t i = (64 - (reinterpret_cast<uintptr_t>(out) & 63)) / 2 % 32;
  if (i + 32 > bytes.size) return 0;
  if (i > 0) {
    const __mmask32 head = (__mmask32{1} << i) - 1;
    _mm512_mask_storeu_epi16(out, head, map_c1(_mm512_cvtepu8_epi16(_mm256_maskz_loadu_epi8(head, bytes.data)), c1));
  }
  for (; i + 32 <= bytes.size; i += 32) {
    const __m512i w = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i)));
    _mm512_store_si512(out + i, map_c1(w, c1));
  }
  return i;
}

// 32 bytes a step: the table's entries for 0x80-0x9F split into low and high
// bytes, 16 entries to a byte shuffle, blended in where a byte is in that range.
ZTK_AVX2 size_t decode_avx2(const Table &table, ByteView bytes, uint16_t *out) {
  alignas(16) uint8_t parts[4][16];  // low bytes 0x80-0x8F, 0x90-0x9F, then high bytes
  for (int k = 0; k < 16; ++k) {
    parts[0][k] = static_cast<uint8_t>(table[0x80 + k]);
    parts[1][k] = static_cast<uint8_t>(table[0x90 + k]);
    parts[2][k] = static_cast<uint8_t>(table[0x80 + k] >> 8);
    parts[3][k] = static_cast<uint8_t>(table[0x90 + k] >> 8);
  }
  const auto *p = reinterpret_cast<const __m128i *>(parts);
  const __m256i low0 = _mm256_broadcastsi128_si256(_mm_load_si128(p)),
                low1 = _mm256_broadcastsi128_si256(_mm_load_si128(p + 1)),
                high0 = _mm256_broadcastsi128_si256(_mm_load_si128(p + 2)),
                high1 = _mm256_broadcastsi128_si256(_mm_load_si128(p + 3));
  const __m256i base = _mm256_set1_epi8(static_cast<char>(0x80)), zero = _mm256_setzero_si256();
  size_t i = 0;
  for (; i + 32 <= bytes.size; i += 32) {
    // Quarters in the order 0, 2, 1, 3, so that unpacking within lanes keeps the bytes' order.
    const __m256i b =
        _mm256_permute4x64_epi64(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i)), 0xD8);
    const __m256i index = _mm256_sub_epi8(b, base);
    const __m256i inC1 = _mm256_cmpeq_epi8(_mm256_and_si256(index, _mm256_set1_epi8(static_cast<char>(0xE0))), zero);
    const __m256i nibble = _mm256_and_si256(index, _mm256_set1_epi8(0x0F));
    const __m256i upper = _mm256_cmpeq_epi8(_mm256_and_si256(index, _mm256_set1_epi8(0x10)), zero);
    const __m256i low = _mm256_blendv_epi8(_mm256_shuffle_epi8(low1, nibble), _mm256_shuffle_epi8(low0, nibble), upper);
    const __m256i high =
        _mm256_blendv_epi8(_mm256_shuffle_epi8(high1, nibble), _mm256_shuffle_epi8(high0, nibble), upper);
    const __m256i lowOut = _mm256_blendv_epi8(b, low, inC1), highOut = _mm256_and_si256(high, inC1);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i), _mm256_unpacklo_epi8(lowOut, highOut));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i + 16), _mm256_unpackhi_epi8(lowOut, highOut));
  }
  return i;
}
#endif
}  // namespace

void decode(const Table &table, ByteView bytes, uint16_t *out) {
  size_t done = 0;
#if ZTK_WIDE_VECTORS
  if (cpu::active() >= cpu::kAVX512) {
    done = decode_avx512(table, bytes, out);
  } else if (cpu::active() == cpu::kAVX2) {
    done = decode_avx2(table, bytes, out);
  }
#endif
  bytes = {bytes.data + done, bytes.size - done};
  out += done;
  units::widen(bytes.data, bytes.size, out);
  if (identity_high(table)) return;
  static constexpr scan::ByteSet kC1{{0x80, 0x9F}};
  for (size_t i = scan::find(bytes, 0, kC1); i < bytes.size; i = scan::find(bytes, i + 1, kC1)) {
    out[i] = table[bytes[i]];
  }
}

}  // namespace ztk::codepage

namespace {

REALstring EncodingTo(REALstring s, const ztk::codepage::Table &table) {
  rbText text(s);
  const ztk::U16View units = text.utf16();
  ztk::ByteSink out(2 * int64_t(units.size));
  if (!out.alive()) return nullptr;
  out.append(units.size, [&](uint8_t *o) { return ztk::codepage::encode(table, units, o); });
  if (!out.alive() || out.size() == 0) return nullptr;
  return out.build(ztk::RawBytesTag({out.data(), static_cast<size_t>(out.size())}));
}

REALstring DecodingTo(REALstring s, const ztk::codepage::Table &table) {
  rbData in;
  ztk::ReadString(in, s);
  const ztk::ByteView bytes = in.view();
  ztk::ByteSink out(int64_t(bytes.size) + 1024);
  // One unit a byte: room for all of them at once grows (or fails) exactly
  // where unit-by-unit appends would have.
  if (bytes.size > 0 && bytes.size <= INT32_MAX / 2) {
    out.append(2 * bytes.size, [&](uint8_t *o) {
      // The units start the block, so they are aligned.
      ztk::codepage::decode(table, bytes, static_cast<uint16_t *>(static_cast<void *>(o)));
      return 2 * bytes.size;
    });
  }
  return out.build_unicode(enc::kUTF16);
}

}  // namespace

REALstring EncodingToISO8859(REALstring s) { return EncodingTo(s, ztk::codepage::escapecharsISO8859); }
REALstring EncodingToCP1252(REALstring s) { return EncodingTo(s, ztk::codepage::escapecharsCP1252); }
// The decoders serve the DecodingFrom... methods (the handlers keep their historical names).
REALstring DecodingToISO8859(REALstring s) { return DecodingTo(s, ztk::codepage::escapecharsISO8859); }
REALstring DecodingToCP1252(REALstring s) { return DecodingTo(s, ztk::codepage::escapecharsCP1252); }
