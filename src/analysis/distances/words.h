// What every level of the edit distances shares: the one-word recurrences of
// a pattern of up to 64 units, and the distances themselves around a level's
// kernels for such patterns. A vector level compares each unit with the whole
// pattern held in registers (compared_pattern.inc); the plain level, and
// every level for longer patterns, looks the unit up in a table of masks.
#pragma once

#include <algorithm>
#include <optional>

#include "analysis/distances.h"
#include "analysis/distances/levels.h"
#include "frame/simd.h"

namespace ztk::distance {

// The number of set bits, portably: once per call, so no instruction is
// needed for it.
inline int bits_set(uint64_t x) {
  x -= (x >> 1) & 0x5555555555555555u;
  x = (x & 0x3333333333333333u) + ((x >> 2) & 0x3333333333333333u);
  x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0Fu;
  return static_cast<int>((x * 0x0101010101010101u) >> 56);
}


// no carries. Bits above the pattern's last may be set in `pm`: every step
// carries or shifts upwards only, so they never reach the bits below. No
// score is kept per column: the last column's vertical deltas add up to its
// last cell less its first, which is the text's length.
struct OsaWord {
  uint64_t vp = ~uint64_t{0}, vn = 0, d0 = 0, pmOld = 0;
  uint64_t valid;  // the pattern's bits

  explicit OsaWord(size_t m) : valid(~uint64_t{0} >> (64 - m)) {}

  [[gnu::always_inline]] void step(uint64_t pm) {
    uint64_t notD0 = ~d0;
    ZTK_IN_GENERAL_REGISTER(notD0);
    const uint64_t tr = ((notD0 & pm) << 1) & pmOld;
    d0 = (((pm & vp) + vp) ^ vp) | pm | vn | tr;
    const uint64_t hp = vn | ~(d0 | vp), hn = d0 & vp;
    const uint64_t hpShifted = (hp << 1) | 1, hnShifted = hn << 1;
    vp = hnShifted | ~(d0 | hpShifted);
    vn = hpShifted & d0;
    pmOld = pm;
  }
  int64_t distance(size_t n) const { return static_cast<int64_t>(n) + bits_set(vp & valid) - bits_set(vn & valid); }
};

// The matches of Jaro's rule for a `b` of up to 64 units, each unit of `a` in
// turn taking the first unit of `b` within the window that equals it and is
// not yet taken: the lowest bit of b's positions of that unit (its row), less
// those taken, within the window. `c` counts the matches, `matchedA` gets
// a's matched units in order (and one past the last), `takenB` b's matched
// positions. A row's bits at b's length and above lie outside every window.
struct JaroWord {
  size_t m, window;
  uint32_t *matchedA;
  uint64_t takenB = 0;
  size_t c = 0;

  JaroWord(size_t bSize, size_t windowSize, uint32_t *matched) : m(bSize), window(windowSize), matchedA(matched) {}

  // How many units of an `n`-unit a have a window that reaches into b; past
  // them it only moves on.
  size_t end(size_t n) const { return std::min(n, m + window); }

  [[gnu::always_inline]] void take(size_t i, uint32_t unit, uint64_t row) {
    const size_t lo = i > window ? i - window : 0, hi = std::min(m, i + window + 1);
    uint64_t free = ~takenB;
    ZTK_IN_GENERAL_REGISTER(free);
    const uint64_t candidates = row & free & (~uint64_t{0} << lo) & (~uint64_t{0} >> (64 - hi));
    takenB |= candidates & (~candidates + 1);
    matchedA[c] = unit;
    c += candidates != 0;
  }
};

// Below AVX-512 a unit's compares cost more than its table lookup, so they
// win only on texts short enough that sparing the table's setup outweighs
// that.
constexpr size_t kComparedTextUnits = 64;

// The optimal string alignment distance divided by the shorter length, with
// `OsaShort` for patterns of 1 to 64 units (the shorter text is the pattern).
template <int64_t (*OsaShort)(U32View pattern, U32View text)>
std::optional<double> levenshtein_with(U32View a, U32View b, int64_t *failedBytes) {
  const auto n = static_cast<int64_t>(a.size), m = static_cast<int64_t>(b.size);
  if (n == 0 || m == 0) return 1.0;
  // The full matrix this distance was once computed in decides, as it always
  // did, which pairs are too large, and is the size a failure reports.
  const int64_t bytes = 4 * (n + 1) * (m + 1);
  std::optional<int64_t> distance;
  if (bytes <= 0x7FFFFFFF) {
    const U32View pattern = a.size <= b.size ? a : b, text = a.size <= b.size ? b : a;
    distance = pattern.size <= 64 ? std::optional<int64_t>(OsaShort(pattern, text)) : plain::osa_long(pattern, text);
  }
  if (!distance) {
    *failedBytes = bytes;
    return std::nullopt;
  }
  return 1.0 / (static_cast<double>(std::min(n, m)) / static_cast<double>(*distance));
}

// 1 - the Jaro-Winkler similarity, with `JaroShort` for a `b` of 1 to 64
// units.
template <size_t (*JaroShort)(U32View a, U32View b, size_t window, uint64_t &takenB, uint32_t *matchedA)>
std::optional<double> jaro_winkler_with(U32View a, U32View b, int64_t *failedBytes) {
  const size_t n = a.size, m = b.size;
  if (n == 0) return m == 0 ? 0.0 : 1.0;
  if (m == 0) return 1.0;
  const size_t window = static_cast<size_t>(std::max<int64_t>(static_cast<int64_t>(std::max(n, m) / 2) - 1, 0));
  if (m > 64) return plain::jaro_winkler_long(a, b, window, failedBytes);
  uint64_t takenB = 0;
  uint32_t matchedA[65];  // one past the last match is written too
  const auto c = static_cast<int64_t>(JaroShort(a, b, window, takenB, matchedA));
  return plain::jaro_winkler_of(a, b, c, &takenB, matchedA);
}

}  // namespace ztk::distance
