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

// Bytes of all ones for the five markup characters among 16 narrowed units.
inline uint8x16_t markup_bytes(uint8x16_t b) {
  return vorrq_u8(vorrq_u8(vceqq_u8(b, vdupq_n_u8('"')), vceqq_u8(b, vdupq_n_u8('&'))),
                  vorrq_u8(vorrq_u8(vceqq_u8(b, vdupq_n_u8('\'')), vceqq_u8(b, vdupq_n_u8('<'))),
                           vceqq_u8(b, vdupq_n_u8('>'))));
}

template <bool kKeepASCII>
size_t encode(U16View in, size_t from, uint8_t *out) {
  EncodeWalk w(in.data, out);
  alignas(16) uint8_t bytes[48] = {};
  const uint16x8_t ascii = vdupq_n_u16(0x80);
  size_t i = from;
  for (; i + 32 <= in.size; i += 32) {
    const uint16_t *p = in.data + i;
    const uint16x8_t a = vld1q_u16(p), b = vld1q_u16(p + 8), c = vld1q_u16(p + 16), d = vld1q_u16(p + 24);
    // The low bytes stand for the units below 0x80; any other unit is
    // special, and its byte here is written over by its reference.
    const uint8x16_t low = narrow(a, b), high = narrow(c, d);
    uint8x16_t plainLow = narrow(vcltq_u16(a, ascii), vcltq_u16(b, ascii));
    uint8x16_t plainHigh = narrow(vcltq_u16(c, ascii), vcltq_u16(d, ascii));
    if (!kKeepASCII) {
      plainLow = vbicq_u8(plainLow, markup_bytes(low));
      plainHigh = vbicq_u8(plainHigh, markup_bytes(high));
    }
    const uint32_t special = ~bits_of(plainLow, plainHigh);
    if (special == 0) {
      vst1q_u8(w.out, low);
      vst1q_u8(w.out + 16, high);
      w.out += 32;
      continue;
    }
    vst1q_u8(bytes, low);
    vst1q_u8(bytes + 16, high);
    w.step(special, bytes, i, 32);
  }
  return plain::encode_from(w, in, i, kKeepASCII);
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
