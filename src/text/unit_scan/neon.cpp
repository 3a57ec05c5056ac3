#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_NEON
namespace ztk::units::neon {
namespace {

// A set's tests on 8 units, lanes of 0xFFFF where the unit is in it. Which
// tests a set needs are template arguments, so that a block makes just those,
// with no loop over the single units.
template <bool kHigh, bool kRange, int kSingles>
struct NeonSet {
  uint16x8_t high, first, span, singles[kSingles > 0 ? kSingles : 1];
  explicit NeonSet(const UnitSet &s)
      : high(vdupq_n_u16(s.highBits)), first(vdupq_n_u16(s.first)), span(vdupq_n_u16(s.span)) {
    for (int k = 0; k < kSingles; ++k) singles[k] = vdupq_n_u16(s.singles[k]);
  }
  uint16x8_t hits(uint16x8_t v) const {
    uint16x8_t m = kHigh ? vtstq_u16(v, high) : vdupq_n_u16(0);
    if (kRange) m = vorrq_u16(m, vcleq_u16(vsubq_u16(v, first), span));
    for (int k = 0; k < kSingles; ++k) m = vorrq_u16(m, vceqq_u16(v, singles[k]));
    return m;
  }
  // One byte of 0xFF or 0 per unit, for 16 units.
  uint8x16_t hits16(const uint16_t *p) const {
    return vuzp1q_u8(vreinterpretq_u8_u16(hits(vld1q_u16(p))), vreinterpretq_u8_u16(hits(vld1q_u16(p + 8))));
  }
};

// body(set's NeonSet): the tests this set needs, chosen once per call.
template <bool kHigh, bool kRange, class Body>
auto with_singles(const UnitSet &set, Body body) {
  switch (set.count) {
    case 0: return body(NeonSet<kHigh, kRange, 0>(set));
    case 1: return body(NeonSet<kHigh, kRange, 1>(set));
    case 2: return body(NeonSet<kHigh, kRange, 2>(set));
    case 3: return body(NeonSet<kHigh, kRange, 3>(set));
    case 4: return body(NeonSet<kHigh, kRange, 4>(set));
    default: return body(NeonSet<kHigh, kRange, 5>(set));
  }
}
template <class Body>
auto with_tests(const UnitSet &set, Body body) {
  if (set.highBits != 0) {
    return set.hasRange ? with_singles<true, true>(set, body) : with_singles<true, false>(set, body);
  }
  return set.hasRange ? with_singles<false, true>(set, body) : with_singles<false, false>(set, body);
}

// 16 units a step, then 8; the narrowing shift leaves 4 bits (or 8) per unit
// in one general register, whose trailing zeros count to the first hit.
template <class Set>
size_t find_blocks(U16View units, size_t i, const Set &s) {
  for (; i + 16 <= units.size; i += 16) {
    const uint8x16_t m = s.hits16(units.data + i);
    const uint64_t bits = vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(m), 4)), 0);
    if (bits != 0) return i + static_cast<size_t>(__builtin_ctzll(bits)) / 4;
  }
  if (i + 8 <= units.size) {
    const uint16x8_t m = s.hits(vld1q_u16(units.data + i));
    const uint64_t bits = vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(m, 4)), 0);
    if (bits != 0) return i + static_cast<size_t>(__builtin_ctzll(bits)) / 8;
    i += 8;
  }
  return i;
}

// One bit a unit: each byte keeps its lane's bit, and three rounds of
// pairwise adds sum every 8 bytes into one.
template <class Set>
size_t mark_blocks(U16View units, const Set &s, uint64_t *bits) {
  static constexpr uint8_t kBit[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t bit = vld1q_u8(kBit);
  size_t i = 0;
  for (; i + 64 <= units.size; i += 64) {
    const uint16_t *p = units.data + i;
    const uint8x16_t a = vandq_u8(s.hits16(p), bit), b = vandq_u8(s.hits16(p + 16), bit);
    const uint8x16_t c = vandq_u8(s.hits16(p + 32), bit), d = vandq_u8(s.hits16(p + 48), bit);
    const uint8x16_t sum = vpaddq_u8(vpaddq_u8(a, b), vpaddq_u8(c, d));
    bits[i / 64] = vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(sum, sum)), 0);
  }
  return i;
}

size_t find(U16View units, size_t from, const UnitSet &set) {
  size_t at;
  if (plain::find_lead(units, from, set, at)) return at;
  at = with_tests(set, [&](const auto &s) { return find_blocks(units, at, s); });
  return plain::find_from(units, at, set);
}

void mark(U16View units, const UnitSet &set, uint64_t *bits) {
  plain::mark_from(units, with_tests(set, [&](const auto &s) { return mark_blocks(units, s, bits); }), set, bits);
}

// The de-interleaving load splits the units into low and high bytes; the low
// ones are the result.
void narrow(const uint16_t *in, size_t n, uint8_t *out) {
  const auto *bytes = reinterpret_cast<const uint8_t *>(in);
  size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    vst1q_u8(out + i, vld2q_u8(bytes + 2 * i).val[0]);
    vst1q_u8(out + i + 16, vld2q_u8(bytes + 2 * i + 32).val[0]);
  }
  if (i + 16 <= n) {
    vst1q_u8(out + i, vld2q_u8(bytes + 2 * i).val[0]);
    i += 16;
  }
  plain::narrow_from(in, n, i, out);
}

// The interleaving store puts a zero byte above each one.
void widen(const uint8_t *in, size_t n, uint16_t *out) {
  auto *bytes = reinterpret_cast<uint8_t *>(out);
  uint8x16x2_t pair;
  pair.val[1] = vdupq_n_u8(0);
  size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    pair.val[0] = vld1q_u8(in + i);
    vst2q_u8(bytes + 2 * i, pair);
    pair.val[0] = vld1q_u8(in + i + 16);
    vst2q_u8(bytes + 2 * i + 32, pair);
  }
  if (i + 16 <= n) {
    pair.val[0] = vld1q_u8(in + i);
    vst2q_u8(bytes + 2 * i, pair);
    i += 16;
  }
  plain::widen_from(in, n, i, out);
}

}  // namespace

const Kernels kKernels = {find, mark, narrow, widen};

}  // namespace ztk::units::neon
#endif  // ZTK_NEON
