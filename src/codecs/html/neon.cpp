#include "codecs/html/levels.h"
#include "frame/simd.h"

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
// The compares of two vectors of units, narrowed to one byte a unit.
inline uint8x16_t narrow(uint16x8_t a, uint16x8_t b) { return vcombine_u8(vmovn_u16(a), vmovn_u16(b)); }

// The eight units after an "&" as bytes, saturated (a unit above 0xFF
// becomes 0xFF, which no name holds and which is no ";"), and the ";" among
// the first seven, a bit each, by an exact zero test per byte.
inline DecodeWalk::Narrowed name_after(const uint16_t *amp) {
  constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full;
  DecodeWalk::Narrowed name;
  name.bytes = vget_lane_u64(vreinterpret_u64_u8(vqmovn_u16(vld1q_u16(amp + 1))), 0);
  const uint64_t t = name.bytes ^ 0x3B3B3B3B3B3B3B3Bull;  // ";" in every byte
  const uint64_t zero = ~(((t & kLow7) + kLow7) | t | kLow7);
  name.semis = static_cast<uint32_t>(((zero >> 7) * 0x0102040810204080ull) >> 56) & 0x7F;
  return name;
}

// The units of 32-unit blocks at `i`: the "&" of each, gathered to bits.
inline uint32_t amps_of(const uint16_t *p, uint16x8_t &a, uint16x8_t &b, uint16x8_t &c, uint16x8_t &d) {
  const uint16x8_t amp = vdupq_n_u16('&');
  a = vld1q_u16(p);
  b = vld1q_u16(p + 8);
  c = vld1q_u16(p + 16);
  d = vld1q_u16(p + 24);
  return bits_of(narrow(vceqq_u16(a, amp), vceqq_u16(b, amp)), narrow(vceqq_u16(c, amp), vceqq_u16(d, amp)));
}

size_t decode(U16View in, uint16_t *out, uint16_t *outEnd) {
  DecodeWalk w(in, out, outEnd);
  const uint16x8_t amp = vdupq_n_u16('&');
  size_t i = 0;
  // While 32 more units follow the block, a reference is read from its
  // narrowed bytes, as the 16-byte x86 level does.
  for (; i + 64 <= in.size; i += 32) {
    uint16x8_t a, b, c, d;
    const uint32_t amps = amps_of(in.data + i, a, b, c, d);
    if (amps == 0 && w.start == i) {
      vst1q_u16(w.out, a);
      vst1q_u16(w.out + 8, b);
      vst1q_u16(w.out + 16, c);
      vst1q_u16(w.out + 24, d);
      w.clean(i);
      continue;
    }
    w.step_inside(amps, i, [&in](size_t at) { return name_after(in.data + at); });
  }
  for (; i + 32 <= in.size; i += 32) {
    const uint16_t *p = in.data + i;
    const uint16x8_t a = vld1q_u16(p), b = vld1q_u16(p + 8), c = vld1q_u16(p + 16), d = vld1q_u16(p + 24);
    const uint32_t amps = bits_of(narrow(vceqq_u16(a, amp), vceqq_u16(b, amp)),
                                  narrow(vceqq_u16(c, amp), vceqq_u16(d, amp)));
    if (amps == 0 && w.start == i) {
      vst1q_u16(w.out, a);
      vst1q_u16(w.out + 8, b);
      vst1q_u16(w.out + 16, c);
      vst1q_u16(w.out + 24, d);
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
