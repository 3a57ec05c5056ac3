#include "codecs/code_pages/levels.h"
#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_NEON
namespace ztk::codepage::neon {
namespace {

// Windows-1252's slots as tables for 64-byte lookups: each slot's unit split
// into its low and high byte, and the slot's byte.
struct ByteSlots {
  uint8_t unitLow[64] = {}, unitHigh[64] = {}, byte[64] = {};
  constexpr explicit ByteSlots(const HighSlots &s) {
    for (int k = 0; k < 64; ++k) {
      unitLow[k] = static_cast<uint8_t>(s.units[k]);
      unitHigh[k] = static_cast<uint8_t>(s.units[k] >> 8);
      byte[k] = static_cast<uint8_t>(s.bytes[k]);
    }
  }
};
constexpr ByteSlots kSlots(kCP1252Slots);

// For each set of 8 lanes kept (bit i: lane i): those lanes moved to the
// front, for an 8-byte lookup, and how many they are.
struct Compress {
  uint8_t lanes[256][8] = {};
  uint8_t count[256] = {};
  constexpr Compress() {
    for (int m = 0; m < 256; ++m) {
      int n = 0;
      for (int lane = 0; lane < 8; ++lane) {
        if ((m >> lane & 1) != 0) lanes[m][n++] = static_cast<uint8_t>(lane);
      }
      count[m] = static_cast<uint8_t>(n);
    }
  }
};
constexpr Compress kCompress;

// The pages the blocks serve: those whose entries for 0x80-0x9F are their own
// bytes (ISO 8859-1) and Windows-1252; any other page goes in chunks.
enum class Page { kLatin1, kWindows1252, kOther };

Page page_of(const Table &table) {
  static constexpr uint16_t kOwn[32] = {0x80, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A,
                                        0x8B, 0x8C, 0x8D, 0x8E, 0x8F, 0x90, 0x91, 0x92, 0x93, 0x94, 0x95,
                                        0x96, 0x97, 0x98, 0x99, 0x9A, 0x9B, 0x9C, 0x9D, 0x9E, 0x9F};
  uint16x8_t own = vdupq_n_u16(0xFFFF), windows = own;
  for (int k = 0; k < 32; k += 8) {
    const uint16x8_t entries = vld1q_u16(table.data() + 0x80 + k);
    own = vandq_u16(own, vceqq_u16(entries, vld1q_u16(kOwn + k)));
    windows = vandq_u16(windows, vceqq_u16(entries, vld1q_u16(kCP1252Slots.entries + k)));
  }
  if (vminvq_u16(own) != 0) return Page::kLatin1;
  return kCP1252Slots.made && vminvq_u16(windows) != 0 ? Page::kWindows1252 : Page::kOther;
}

// 16 units a block. The de-interleaving load splits them into low bytes (the
// output when every unit is its own byte, the common block) and high bytes.
// Otherwise Windows-1252's units above 0xFF are looked up in its slots, all
// lanes at once, and the units the page drops (the rest above 0xFF, and for
// Windows-1252 those in 0x80-0x9F) are squeezed out of each half block by an
// 8-byte lookup. A whole 16-byte store at the output's end is safe: the output
// never runs ahead of the input, whose room it has. Returns the units taken;
// `written` gets the bytes.
template <bool kWindows1252>
size_t encode_blocks(U16View units, uint8_t *out, size_t &written) {
  static constexpr uint8_t kBit[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t bit = vld1q_u8(kBit), c1 = vdupq_n_u8(0x80), c1Size = vdupq_n_u8(0x20);
  const uint16x8_t multiplier = vdupq_n_u16(kCP1252Slots.multiplier);
  const uint8x16x4_t unitLow = {{vld1q_u8(kSlots.unitLow), vld1q_u8(kSlots.unitLow + 16),
                                 vld1q_u8(kSlots.unitLow + 32), vld1q_u8(kSlots.unitLow + 48)}};
  const uint8x16x4_t unitHigh = {{vld1q_u8(kSlots.unitHigh), vld1q_u8(kSlots.unitHigh + 16),
                                  vld1q_u8(kSlots.unitHigh + 32), vld1q_u8(kSlots.unitHigh + 48)}};
  const uint8x16x4_t slotByte = {{vld1q_u8(kSlots.byte), vld1q_u8(kSlots.byte + 16), vld1q_u8(kSlots.byte + 32),
                                  vld1q_u8(kSlots.byte + 48)}};
  const auto *in = reinterpret_cast<const uint8_t *>(units.data);
  size_t i = 0, w = 0;
  for (; i + 16 <= units.size; i += 16) {
    const uint8x16x2_t v = vld2q_u8(in + 2 * i);
    const uint8x16_t low = v.val[0], high = v.val[1];
    // Nonzero where the unit is not its own byte.
    const uint8x16_t other = kWindows1252 ? vorrq_u8(high, vcltq_u8(vsubq_u8(low, c1), c1Size)) : high;
    if (vmaxvq_u8(other) == 0) {
      vst1q_u8(out + w, low);
      w += 16;
      continue;
    }
    uint8x16_t bytes = low, keep = vceqzq_u8(other);
    if (kWindows1252 && vmaxvq_u8(high) != 0) {
      // A free slot holds unit 0 and byte 0, so a unit 0 that meets one keeps its own byte.
      const uint16x8_t a = vshrq_n_u16(vmulq_u16(vld1q_u16(units.data + i), multiplier), HighSlots::kShift);
      const uint16x8_t b = vshrq_n_u16(vmulq_u16(vld1q_u16(units.data + i + 8), multiplier), HighSlots::kShift);
      const uint8x16_t slot = vuzp1q_u8(vreinterpretq_u8_u16(a), vreinterpretq_u8_u16(b));
      const uint8x16_t hit =
          vandq_u8(vceqq_u8(vqtbl4q_u8(unitLow, slot), low), vceqq_u8(vqtbl4q_u8(unitHigh, slot), high));
      bytes = vbslq_u8(hit, vqtbl4q_u8(slotByte, slot), low);
      keep = vorrq_u8(keep, hit);
    }
    if (vminvq_u8(keep) != 0) {
      vst1q_u8(out + w, bytes);
      w += 16;
      continue;
    }
    const uint8x16_t kept = vandq_u8(keep, bit);
    const unsigned first = vaddv_u8(vget_low_u8(kept)), second = vaddv_u8(vget_high_u8(kept));
    vst1_u8(out + w, vtbl1_u8(vget_low_u8(bytes), vld1_u8(kCompress.lanes[first])));
    w += kCompress.count[first];
    vst1_u8(out + w, vtbl1_u8(vget_high_u8(bytes), vld1_u8(kCompress.lanes[second])));
    w += kCompress.count[second];
  }
  written = w;
  return i;
}

size_t encode(const Table &table, U16View units, uint8_t *out) {
  size_t written = 0, i = 0;
  switch (page_of(table)) {
    case Page::kLatin1: i = encode_blocks<false>(units, out, written); break;
    case Page::kWindows1252: i = encode_blocks<true>(units, out, written); break;
    case Page::kOther: return plain::encode_chunks(table, true, units, 0, 0, out, units::neon::kKernels);
  }
  for (; i < units.size; ++i) {
    const int b = find_byte(table, units[i]);
    if (b >= 0) out[written++] = static_cast<uint8_t>(b);
  }
  return written;
}

// 16 bytes a block, each a lookup among the page's 32 entries for 0x80-0x9F,
// split into low and high bytes: the extending lookup keeps the byte itself
// where it is outside them, the plain one gives 0 there. The interleaving
// store joins low and high bytes into units.
inline void decode_block(const uint8_t *in, uint8_t *out, const uint8x16x2_t &low, const uint8x16x2_t &high) {
  const uint8x16_t b = vld1q_u8(in);
  const uint8x16_t index = vsubq_u8(b, vdupq_n_u8(0x80));
  uint8x16x2_t unit;
  unit.val[0] = vqtbx2q_u8(b, low, index);
  unit.val[1] = vqtbl2q_u8(high, index);
  vst2q_u8(out, unit);
}

void decode(const Table &table, ByteView bytes, uint16_t *out) {
  if (page_of(table) == Page::kLatin1) return units::neon::kKernels.widen(bytes.data, bytes.size, out);
  const auto *entries = reinterpret_cast<const uint8_t *>(table.data() + 0x80);
  const uint8x16x2_t first = vld2q_u8(entries), second = vld2q_u8(entries + 32);
  const uint8x16x2_t low = {{first.val[0], second.val[0]}}, high = {{first.val[1], second.val[1]}};
  auto *o = reinterpret_cast<uint8_t *>(out);
  size_t i = 0;
  for (; i + 32 <= bytes.size; i += 32) {
    decode_block(bytes.data + i, o + 2 * i, low, high);
    decode_block(bytes.data + i + 16, o + 2 * i + 32, low, high);
  }
  if (i + 16 <= bytes.size) {
    decode_block(bytes.data + i, o + 2 * i, low, high);
    i += 16;
  }
  for (; i < bytes.size; ++i) out[i] = bytes[i] >= 0x80 && bytes[i] <= 0x9F ? table[bytes[i]] : bytes[i];
}

}  // namespace

const Kernels kKernels = {encode, decode};

}  // namespace ztk::codepage::neon
#endif  // ZTK_NEON
