#include "analysis/distances.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "frame/cpu.h"
#include "frame/exceptions.h"
#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/simd.h"
#include "text/rb_text.h"

namespace ztk::distance {

namespace {

constexpr uint32_t kNoUnit = 0xFFFFFFFF;  // units are at most 0xFFFF

// Where each unit occurs in the pattern, `words` 64-bit words a unit: a
// direct table for units below 256, open addressing for the others. A free
// slot names row 0 of `high`, which stays zero, so that a lookup branches only
// on a collision.
struct PatternMasks {
  size_t words = 1;
  uint64_t *low = nullptr;   // 256 rows
  uint32_t *keys = nullptr;  // capacity slots, kNoUnit when free
  uint32_t *rows = nullptr;  // the row of each slot, 0 when free
  uint64_t *high = nullptr;  // the zero row, then a row per unit of 256 and above, in order of use
  size_t capacity = 1, used = 1;

  static size_t slot_of(uint32_t unit, size_t capacity) { return (unit * 0x9E3779B1u >> 7) & (capacity - 1); }

  const uint64_t *row(uint32_t unit) const {
    if (unit < 256) return low + unit * words;
    size_t k = slot_of(unit, capacity);
    while ((keys[k] != unit) & (keys[k] != kNoUnit)) k = (k + 1) & (capacity - 1);
    return high + size_t{rows[k]} * words;
  }
  uint64_t *row_to_fill(uint32_t unit) {
    if (unit < 256) return low + unit * words;
    size_t k = slot_of(unit, capacity);
    while (keys[k] != unit && keys[k] != kNoUnit) k = (k + 1) & (capacity - 1);
    if (keys[k] == kNoUnit) {
      keys[k] = unit;
      rows[k] = static_cast<uint32_t>(used);
      std::fill_n(high + used * words, words, uint64_t{0});
      ++used;
    }
    return high + size_t{rows[k]} * words;
  }
  void fill(U32View pattern) {
    std::fill_n(keys, capacity, kNoUnit);
    std::fill_n(rows, capacity, 0u);
    std::fill_n(high, words, uint64_t{0});
    for (size_t i = 0; i < pattern.size; ++i) row_to_fill(pattern[i])[i / 64] |= uint64_t{1} << (i % 64);
  }
};

size_t units_from_256(U32View p) {
  size_t count = 0;
  for (size_t i = 0; i < p.size; ++i) count += p[i] >= 256;
  return count;
}

// Open addressing at most half full; one free slot for no units at all.
size_t capacity_for(size_t count) {
  if (count == 0) return 1;
  size_t capacity = 8;
  while (capacity < 2 * count) capacity *= 2;
  return capacity;
}

// The masks of a pattern of up to 64 units, on the stack, for looking up
// the units of `text`. Zeroing the 2 KiB table costs a third of a short
// pair's whole distance, so for short texts only the rows that will be read
// are zeroed.
class WordMasks : public PatternMasks {
 public:
  WordMasks(U32View pattern, U32View text) {
    low = low_;
    keys = keys_;
    rows = rows_;
    high = high_;
    capacity = capacity_for(units_from_256(pattern));
    if (pattern.size + text.size >= 96) {
      std::memset(low_, 0, sizeof low_);
    } else {
      for (U32View v : {pattern, text}) {
        for (size_t i = 0; i < v.size; ++i) low_[v[i] & 0xFF] = 0;
      }
    }
    fill(pattern);
  }
  WordMasks(const WordMasks &) = delete;
  WordMasks &operator=(const WordMasks &) = delete;

 private:
  uint64_t low_[256], high_[65];
  uint32_t keys_[128], rows_[128];
};

// The masks of a longer pattern in one heap block, which also holds
// `extraRows` zeroed rows for the caller.
class BlockMasks : public PatternMasks {
 public:
  BlockMasks(U32View pattern, size_t extraRows) {
    words = (pattern.size + 63) / 64;
    const size_t highCount = units_from_256(pattern);
    capacity = capacity_for(highCount);
    block_ = static_cast<uint64_t *>(mem::alloc(8 * ((257 + extraRows + highCount) * uint64_t{words}) + 8 * uint64_t{capacity}));
    if (block_ == nullptr) return;
    low = block_;
    extra_ = low + 256 * words;
    high = extra_ + extraRows * words;
    keys = reinterpret_cast<uint32_t *>(high + (1 + highCount) * words);
    rows = keys + capacity;
    std::fill_n(low, (256 + extraRows) * words, uint64_t{0});
    fill(pattern);
  }
  ~BlockMasks() {
    if (block_ != nullptr) mem::release(block_);
  }
  BlockMasks(const BlockMasks &) = delete;
  BlockMasks &operator=(const BlockMasks &) = delete;

  bool made() const { return block_ != nullptr; }
  uint64_t *extra_rows() const { return extra_; }

 private:
  uint64_t *block_ = nullptr, *extra_ = nullptr;
};

// The optimal string alignment distance bit-parallel (Myers' bit-vector
// algorithm with Hyyrö's transposition term): one column of the matrix is a
// bit vector of vertical deltas; `words` 64-bit words carry it, the additions'
// and shifts' carries passed from each word to the next.
int64_t osa_columns(const PatternMasks &masks, size_t m, U32View text, uint64_t *state) {
  const size_t words = masks.words;
  uint64_t *vp = state, *vn = state + words, *d0 = state + 2 * words, *pmOld = state + 3 * words;
  std::fill_n(vp, words, ~uint64_t{0});
  std::fill_n(vn, 3 * words, uint64_t{0});
  const unsigned lastBit = static_cast<unsigned>((m - 1) % 64);
  auto score = static_cast<int64_t>(m);
  for (size_t j = 0; j < text.size; ++j) {
    const uint64_t *pm = masks.row(text[j]);
    uint64_t hpCarry = 1, hnCarry = 0, addCarry = 0, xCarry = 0, hp = 0, hn = 0;
    for (size_t w = 0; w < words; ++w) {
      const uint64_t x = ~d0[w] & pm[w];
      const uint64_t tr = ((x << 1) | xCarry) & pmOld[w];
      xCarry = x >> 63;
      const uint64_t u = pm[w] & vp[w];
      const uint64_t s1 = u + vp[w];
      const uint64_t s2 = s1 + addCarry;
      addCarry = static_cast<uint64_t>(s1 < u) | static_cast<uint64_t>(s2 < s1);
      const uint64_t d = (s2 ^ vp[w]) | pm[w] | vn[w] | tr;
      hp = vn[w] | ~(d | vp[w]);
      hn = d & vp[w];
      const uint64_t hpShifted = (hp << 1) | hpCarry, hnShifted = (hn << 1) | hnCarry;
      hpCarry = hp >> 63;
      hnCarry = hn >> 63;
      vp[w] = hnShifted | ~(d | hpShifted);
      vn[w] = hpShifted & d;
      d0[w] = d;
      pmOld[w] = pm[w];
    }
    // The last word holds the pattern's last row, the distance's.
    score += static_cast<int64_t>((hp >> lastBit) & 1) - static_cast<int64_t>((hn >> lastBit) & 1);
  }
  return score;
}

// The number of set bits, portably: once per call, so no instruction is
// needed for it.
int bits_set(uint64_t x) {
  x -= (x >> 1) & 0x5555555555555555u;
  x = (x & 0x3333333333333333u) + ((x >> 2) & 0x3333333333333333u);
  x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0Fu;
  return static_cast<int>((x * 0x0101010101010101u) >> 56);
}

// The recurrence of osa_columns for a pattern of up to 64 units: one word,
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

int64_t osa_word(const PatternMasks &masks, size_t m, U32View text) {
  OsaWord column(m);
  for (size_t j = 0; j < text.size; ++j) column.step(*masks.row(text[j]));
  return column.distance(text.size);
}

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

size_t jaro_matches(U32View a, U32View b, size_t window, const PatternMasks &masks, uint64_t &takenB,
                    uint32_t *matchedA) {
  JaroWord matching(b.size, window, matchedA);
  const size_t end = matching.end(a.size);
  for (size_t i = 0; i < end; ++i) matching.take(i, a[i], *masks.row(a[i]));
  takenB = matching.takenB;
  return matching.c;
}

#if ZTK_X86
namespace base {
#define ZTK_DISTANCE_TARGET
struct V {
  using reg = __m128i;
  using Column = OsaWord;
  static constexpr size_t kLanes = 4, kMaxUnits = 16;
  static reg load_first(const uint32_t *p, size_t n) {
    if (n == kLanes) return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    uint32_t part[kLanes] = {};
    for (size_t k = 0; k < n; ++k) part[k] = p[k];
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(part));
  }
  static reg set1(uint32_t unit) { return _mm_set1_epi32(static_cast<int>(unit)); }
  static uint64_t equal_bits(reg a, reg b) {
    return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(a, b))));
  }
};
#include "analysis/distances_level.inc"
#undef ZTK_DISTANCE_TARGET
}  // namespace base

#if ZTK_WIDE_VECTORS
namespace avx2 {
#define ZTK_DISTANCE_TARGET ZTK_AVX2
struct V {
  using reg = __m256i;
  using Column = OsaWord;
  static constexpr size_t kLanes = 8, kMaxUnits = 32;
  // A part register is assembled unit by unit, as at the 16-byte level, not
  // by vpmaskmovd: qemu's emulation of that reads the masked-off lanes too,
  // past the pattern's end.
  ZTK_AVX2 static reg load_first(const uint32_t *p, size_t n) {
    if (n == kLanes) return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    uint32_t part[kLanes] = {};
    for (size_t k = 0; k < n; ++k) part[k] = p[k];
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(part));
  }
  ZTK_AVX2 static reg set1(uint32_t unit) { return _mm256_set1_epi32(static_cast<int>(unit)); }
  ZTK_AVX2 static uint64_t equal_bits(reg a, reg b) {
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(a, b))));
  }
};
#include "analysis/distances_level.inc"
#undef ZTK_DISTANCE_TARGET
}  // namespace avx2

namespace avx512 {
#define ZTK_DISTANCE_TARGET ZTK_AVX512
// OsaWord's recurrence in the low lane of a vector register, where ternary
// logic does each three-input step in one instruction: the chain each column
// waits on (vp to vp) is seven operations instead of eleven.
class OsaLane {
 public:
  ZTK_AVX512 explicit OsaLane(size_t m)
      : vp_(_mm_set1_epi64x(-1)), vn_(_mm_setzero_si128()), d0_(_mm_setzero_si128()), pmOld_(_mm_setzero_si128()),
        valid_(~uint64_t{0} >> (64 - m)) {}

  ZTK_AVX512 void step(uint64_t pmBits) {
    const __m128i pm = _mm_set_epi64x(0, static_cast<long long>(pmBits));
    const __m128i tr = _mm_and_si128(_mm_slli_epi64(_mm_andnot_si128(d0_, pm), 1), pmOld_);
    const __m128i rest = _mm_ternarylogic_epi64(pm, vn_, tr, 0xFE);  // a | b | c
    const __m128i sum = _mm_add_epi64(_mm_and_si128(pm, vp_), vp_);
    d0_ = _mm_ternarylogic_epi64(sum, vp_, rest, 0xBE);              // (a ^ b) | c
    const __m128i hp = _mm_ternarylogic_epi64(vn_, d0_, vp_, 0xF1);  // a | ~(b | c)
    const __m128i hpShifted = _mm_or_si128(_mm_slli_epi64(hp, 1), _mm_cvtsi32_si128(1));
    const __m128i hnShifted = _mm_slli_epi64(_mm_and_si128(d0_, vp_), 1);
    vp_ = _mm_ternarylogic_epi64(hnShifted, d0_, hpShifted, 0xF1);
    vn_ = _mm_and_si128(hpShifted, d0_);
    pmOld_ = pm;
  }
  ZTK_AVX512 int64_t distance(size_t n) const {
    uint64_t vp, vn;  // stored rather than moved: the 32-bit target has no 64-bit move
    _mm_storel_epi64(reinterpret_cast<__m128i *>(&vp), vp_);
    _mm_storel_epi64(reinterpret_cast<__m128i *>(&vn), vn_);
    return static_cast<int64_t>(n) + bits_set(vp & valid_) - bits_set(vn & valid_);
  }

 private:
  __m128i vp_, vn_, d0_, pmOld_;
  uint64_t valid_;
};

struct V {
  using reg = __m512i;
  using Column = OsaLane;
  static constexpr size_t kLanes = 16, kMaxUnits = 64;
  ZTK_AVX512 static reg load_first(const uint32_t *p, size_t n) {
    return _mm512_maskz_loadu_epi32(static_cast<__mmask16>((uint32_t{1} << n) - 1), p);
  }
  ZTK_AVX512 static reg set1(uint32_t unit) { return _mm512_set1_epi32(static_cast<int>(unit)); }
  ZTK_AVX512 static uint64_t equal_bits(reg a, reg b) { return _mm512_cmpeq_epi32_mask(a, b); }
};
#include "analysis/distances_level.inc"
#undef ZTK_DISTANCE_TARGET
}  // namespace avx512
#endif  // ZTK_WIDE_VECTORS
#endif  // ZTK_X86

#if ZTK_NEON
namespace base {
#define ZTK_DISTANCE_TARGET
struct V {
  using reg = uint32x4_t;
  using Column = OsaWord;
  static constexpr size_t kLanes = 4, kMaxUnits = 16;
  static reg load_first(const uint32_t *p, size_t n) {
    if (n == kLanes) return vld1q_u32(p);
    uint32_t part[kLanes] = {};
    for (size_t k = 0; k < n; ++k) part[k] = p[k];
    return vld1q_u32(part);
  }
  static reg set1(uint32_t unit) { return vdupq_n_u32(unit); }
  // NEON has no mask move: each lane's all-ones compare keeps its own bit.
  static uint64_t equal_bits(reg a, reg b) {
    const uint32x4_t weights = {1, 2, 4, 8};
    return vaddvq_u32(vandq_u32(vceqq_u32(a, b), weights));
  }
};
#include "analysis/distances_level.inc"
#undef ZTK_DISTANCE_TARGET
}  // namespace base
#endif  // ZTK_NEON

// The distance and the matches for a pattern (or b) of 1 to 64 units at the
// widest level that takes it; every level equals the table. Below AVX-512 a
// unit's compares cost more than its table lookup, so they win only on texts
// short enough that sparing the table's setup outweighs that.
constexpr size_t kComparedTextUnits = 64;

int64_t osa_short(U32View pattern, U32View text) {
  [[maybe_unused]] const cpu::Level level = cpu::active();
  [[maybe_unused]] const bool shortText = text.size <= kComparedTextUnits;
#if ZTK_X86 && ZTK_WIDE_VECTORS
  if (level >= cpu::kAVX512) return avx512::osa_word(pattern, text);
  if (level == cpu::kAVX2 && shortText && pattern.size <= avx2::V::kMaxUnits) return avx2::osa_word(pattern, text);
#endif
#if ZTK_X86 || ZTK_NEON
  if (level >= cpu::kSSE2 && shortText && pattern.size <= base::V::kMaxUnits) return base::osa_word(pattern, text);
#endif
  return osa_word(WordMasks(pattern, text), pattern.size, text);
}

size_t jaro_short(U32View a, U32View b, size_t window, uint64_t &takenB, uint32_t *matchedA) {
  [[maybe_unused]] const cpu::Level level = cpu::active();
  [[maybe_unused]] const bool shortText = a.size <= kComparedTextUnits;
#if ZTK_X86 && ZTK_WIDE_VECTORS
  if (level >= cpu::kAVX512) return avx512::jaro_matches(a, b, window, takenB, matchedA);
  if (level == cpu::kAVX2 && shortText && b.size <= avx2::V::kMaxUnits) {
    return avx2::jaro_matches(a, b, window, takenB, matchedA);
  }
#endif
#if ZTK_X86 || ZTK_NEON
  if (level >= cpu::kSSE2 && shortText && b.size <= base::V::kMaxUnits) {
    return base::jaro_matches(a, b, window, takenB, matchedA);
  }
#endif
  return jaro_matches(a, b, window, WordMasks(b, a), takenB, matchedA);
}

// The distance with the shorter text as the pattern; nullopt when the
// scratch memory for a pattern beyond 64 units cannot be had.
std::optional<int64_t> osa_distance(U32View a, U32View b) {
  const U32View pattern = a.size <= b.size ? a : b, text = a.size <= b.size ? b : a;
  if (pattern.size <= 64) return osa_short(pattern, text);
  const BlockMasks masks(pattern, 4);
  if (!masks.made()) return std::nullopt;
  return osa_columns(masks, pattern.size, text, masks.extra_rows());
}

// Where each unit occurs in a text: its positions grouped by unit, a unit
// below 256 its own group and the others numbered from 256 on, in one heap
// block that also holds `extraWords` zeroed 64-bit words and `extraUnits`
// 32-bit units for the caller.
class Occurrences {
 public:
  Occurrences(U32View text, size_t extraWords, size_t extraUnits) {
    const size_t highCount = units_from_256(text), groups = 256 + highCount;
    capacity_ = capacity_for(highCount);
    block_ = static_cast<uint64_t *>(
        mem::alloc(8 * uint64_t{extraWords} + 4 * (2 * uint64_t{capacity_} + 2 * groups + 1 + text.size + extraUnits)));
    if (block_ == nullptr) return;
    extraWords_ = block_;
    keys_ = reinterpret_cast<uint32_t *>(block_ + extraWords);
    groups_ = keys_ + capacity_;
    first_ = groups_ + capacity_;
    next_ = first_ + groups + 1;
    positions_ = next_ + groups;
    extraUnits_ = positions_ + text.size;
    std::fill_n(extraWords_, extraWords, uint64_t{0});
    std::fill_n(keys_, capacity_, kNoUnit);
    // A counting sort: the groups' sizes, where each starts, then the positions.
    std::fill_n(next_, groups, 0u);
    uint32_t used = 256;
    for (size_t j = 0; j < text.size; ++j) {
      const uint32_t unit = text[j];
      uint32_t g = unit;
      if (unit >= 256) {
        size_t k = slot(unit);
        while (keys_[k] != unit && keys_[k] != kNoUnit) k = (k + 1) & (capacity_ - 1);
        if (keys_[k] == kNoUnit) {
          keys_[k] = unit;
          groups_[k] = used++;
        }
        g = groups_[k];
      }
      ++next_[g];
    }
    first_[0] = 0;
    for (uint32_t g = 0; g < used; ++g) {
      first_[g + 1] = first_[g] + next_[g];
      next_[g] = first_[g];
    }
    for (size_t j = 0; j < text.size; ++j) positions_[next_[group(text[j])]++] = static_cast<uint32_t>(j);
    std::copy_n(first_, used, next_);
  }
  ~Occurrences() {
    if (block_ != nullptr) mem::release(block_);
  }
  Occurrences(const Occurrences &) = delete;
  Occurrences &operator=(const Occurrences &) = delete;

  bool made() const { return block_ != nullptr; }
  uint64_t *extra_words() const { return extraWords_; }
  uint32_t *extra_units() const { return extraUnits_; }

  // The group of a unit; kNoUnit for a unit of 256 or above the text lacks.
  uint32_t group(uint32_t unit) const {
    if (unit < 256) return unit;
    for (size_t k = slot(unit);; k = (k + 1) & (capacity_ - 1)) {
      if (keys_[k] == unit) return groups_[k];
      if (keys_[k] == kNoUnit) return kNoUnit;
    }
  }

  // The first position of the group at `lo` or above that no earlier call
  // took, below `hi`, taken; -1 when there is none. Positions are taken
  // lowest first and `lo` never decreases, so the positions a group's cursor
  // has passed are each taken or below every later `lo`.
  int64_t take(uint32_t g, size_t lo, size_t hi) {
    uint32_t k = next_[g];
    const uint32_t end = first_[g + 1];
    while (k < end && positions_[k] < lo) ++k;
    next_[g] = k;
    if (k == end || positions_[k] >= hi) return -1;
    next_[g] = k + 1;
    return positions_[k];
  }

 private:
  size_t slot(uint32_t unit) const { return PatternMasks::slot_of(unit, capacity_); }

  uint64_t *block_ = nullptr, *extraWords_ = nullptr;
  uint32_t *keys_ = nullptr, *groups_ = nullptr, *first_ = nullptr, *next_ = nullptr, *positions_ = nullptr,
           *extraUnits_ = nullptr;
  size_t capacity_ = 0;
};

// jaro_matches for a long `b`: each unit of `a` takes the first untaken
// position of its group at the window's low edge or above, which is the
// window search's first free match because a group's positions are taken
// in order.
size_t jaro_matches(U32View a, size_t m, size_t window, Occurrences &occurrences, uint64_t *takenB,
                    uint32_t *matchedA) {
  size_t c = 0;
  for (size_t i = 0; i < a.size; ++i) {
    const size_t lo = i > window ? i - window : 0, hi = std::min(m, i + window + 1);
    if (lo >= hi) break;
    const uint32_t g = occurrences.group(a[i]);
    if (g == kNoUnit) continue;
    const int64_t at = occurrences.take(g, lo, hi);
    if (at < 0) continue;
    takenB[at / 64] |= uint64_t{1} << (at % 64);
    matchedA[c++] = a[i];
  }
  return c;
}

// 1 - the Jaro-Winkler similarity from the c matches jaro_matches found.
double jaro_winkler_of(U32View a, U32View b, int64_t c, const uint64_t *takenB, const uint32_t *matchedA) {
  const auto n = static_cast<int64_t>(a.size), m = static_cast<int64_t>(b.size);
  if (c == 0) return 1.0;
  int64_t t = 0;
  size_t k = 0;
  for (size_t w = 0; k < static_cast<size_t>(c); ++w) {
    for (uint64_t bits = takenB[w]; bits != 0; bits &= bits - 1) {
      t += matchedA[k++] != b[w * 64 + static_cast<size_t>(__builtin_ctzll(bits))];
    }
  }
  // The evaluation order is part of the result: keep it as written.
  const auto cd = static_cast<double>(c);
  double s = (static_cast<double>(c - t / 2) / cd + (cd / static_cast<double>(m) + cd / static_cast<double>(n))) / 3.0;
  if (s > 0.7) {
    const int64_t limit = std::min<int64_t>({4, n, m});
    int64_t l = 0;
    while (l < limit && a[static_cast<size_t>(l)] == b[static_cast<size_t>(l)]) ++l;
    if (l != 0) s = s + (1.0 - s) * (static_cast<double>(l) * 0.1);
  }
  return 1.0 - s;
}

}  // namespace

std::optional<double> levenshtein(U32View a, U32View b, int64_t *failedBytes) {
  const auto n = static_cast<int64_t>(a.size), m = static_cast<int64_t>(b.size);
  if (n == 0 || m == 0) return 1.0;
  // The full matrix this distance was once computed in decides, as it always
  // did, which pairs are too large, and is the size a failure reports.
  const int64_t bytes = 4 * (n + 1) * (m + 1);
  const std::optional<int64_t> distance = bytes <= 0x7FFFFFFF ? osa_distance(a, b) : std::nullopt;
  if (!distance) {
    *failedBytes = bytes;
    return std::nullopt;
  }
  return 1.0 / (static_cast<double>(std::min(n, m)) / static_cast<double>(*distance));
}

std::optional<double> jaro_winkler(U32View a, U32View b, int64_t *failedBytes) {
  const size_t n = a.size, m = b.size;
  if (n == 0) return m == 0 ? 0.0 : 1.0;
  if (m == 0) return 1.0;
  const size_t window = static_cast<size_t>(std::max<int64_t>(static_cast<int64_t>(std::max(n, m) / 2) - 1, 0));
  if (m <= 64) {
    uint64_t takenB = 0;
    uint32_t matchedA[65];  // one past the last match is written too
    const auto c = static_cast<int64_t>(jaro_short(a, b, window, takenB, matchedA));
    return jaro_winkler_of(a, b, c, &takenB, matchedA);
  }
  Occurrences occurrences(b, (m + 63) / 64, std::min(n, m));
  if (!occurrences.made()) {
    *failedBytes = static_cast<int64_t>(n);  // the size of the first flags the matching once asked for
    return std::nullopt;
  }
  uint64_t *takenB = occurrences.extra_words();
  uint32_t *matchedA = occurrences.extra_units();
  const auto c = static_cast<int64_t>(jaro_matches(a, m, window, occurrences, takenB, matchedA));
  return jaro_winkler_of(a, b, c, takenB, matchedA);
}

}  // namespace ztk::distance

namespace {

// Runs a distance on the two texts; raises "OutOfMemoryException" and answers
// `onFailure` when its scratch memory cannot be had.
template <class Distance>
double measure(REALstring a, REALstring b, Distance distance, double onFailure) {
  rbText ta(a), tb(b);
  int64_t failedBytes = 0;
  if (const auto result = distance(ta.wide(), tb.wide(), &failedBytes)) return *result;
  char message[100];
  std::snprintf(message, sizeof message, "Failed to allocate %lld bytes of memory.", static_cast<long long>(failedBytes));
  RaiseException("OutOfMemoryException", message, 0);
  return onFailure;
}

}  // namespace

double jaroWinklerDistanceZTK(REALstring a, REALstring b) {
  return measure(a, b, ztk::distance::jaro_winkler, 0.0);
}

double levenshteinDistanceZTK(REALstring a, REALstring b) {
  return measure(a, b, ztk::distance::levenshtein, 1.0);
}
