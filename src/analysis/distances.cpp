#include "analysis/distances.h"

#include <algorithm>
#include <cstdio>

#include "frame/exceptions.h"
#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "text/rb_text.h"

namespace ztk::distance {

namespace {

constexpr uint32_t kNoUnit = 0xFFFFFFFF;  // units are at most 0xFFFF

// Where each unit occurs in the pattern, `words` 64-bit words a unit: a
// direct table for units below 256, open addressing for the others.
struct PatternMasks {
  size_t words = 1;
  uint64_t *low = nullptr;   // 256 rows
  uint64_t *zero = nullptr;  // the row of a unit the pattern lacks
  uint32_t *keys = nullptr;  // capacity slots, kNoUnit when free
  uint32_t *rows = nullptr;  // the row of each used slot
  uint64_t *high = nullptr;  // a row per unit of 256 and above, in order of use
  size_t capacity = 0, used = 0;

  static size_t slot_of(uint32_t unit, size_t capacity) { return (unit * 0x9E3779B1u >> 7) & (capacity - 1); }

  const uint64_t *row(uint32_t unit) const {
    if (unit < 256) return low + unit * words;
    if (capacity == 0) return zero;
    for (size_t k = slot_of(unit, capacity);; k = (k + 1) & (capacity - 1)) {
      if (keys[k] == unit) return high + size_t{rows[k]} * words;
      if (keys[k] == kNoUnit) return zero;
    }
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
    for (size_t i = 0; i < pattern.size; ++i) row_to_fill(pattern[i])[i / 64] |= uint64_t{1} << (i % 64);
  }
};

size_t units_from_256(U32View p) {
  size_t count = 0;
  for (size_t i = 0; i < p.size; ++i) count += p[i] >= 256;
  return count;
}

size_t capacity_for(size_t count) {
  size_t capacity = 0;
  if (count > 0) {
    capacity = 8;
    while (capacity < 2 * count) capacity *= 2;
  }
  return capacity;
}

// The masks of a pattern of up to 64 units, on the stack.
class WordMasks : public PatternMasks {
 public:
  explicit WordMasks(U32View pattern) {
    low = low_;
    zero = &zero_;
    keys = keys_;
    rows = rows_;
    high = high_;
    capacity = capacity_for(units_from_256(pattern));
    std::fill_n(keys_, capacity, kNoUnit);
    fill(pattern);
  }
  WordMasks(const WordMasks &) = delete;
  WordMasks &operator=(const WordMasks &) = delete;

 private:
  uint64_t low_[256] = {}, zero_ = 0, high_[64];
  uint32_t keys_[128], rows_[128];
};

// The masks of a longer pattern in one heap block, which also holds
// `extraRows` zeroed rows and `extraUnits` 32-bit units for the caller.
class BlockMasks : public PatternMasks {
 public:
  BlockMasks(U32View pattern, size_t extraRows, size_t extraUnits) {
    words = (pattern.size + 63) / 64;
    const size_t highCount = units_from_256(pattern);
    capacity = capacity_for(highCount);
    block_ = static_cast<uint64_t *>(
        mem::alloc(8 * ((257 + extraRows + highCount) * uint64_t{words}) + 8 * uint64_t{capacity} + 4 * uint64_t{extraUnits}));
    if (block_ == nullptr) return;
    low = block_;
    zero = low + 256 * words;
    extra_ = zero + words;
    high = extra_ + extraRows * words;
    keys = reinterpret_cast<uint32_t *>(high + highCount * words);
    rows = keys + capacity;
    std::fill_n(low, (257 + extraRows) * words, uint64_t{0});
    std::fill_n(keys, capacity, kNoUnit);
    fill(pattern);
  }
  ~BlockMasks() {
    if (block_ != nullptr) mem::release(block_);
  }
  BlockMasks(const BlockMasks &) = delete;
  BlockMasks &operator=(const BlockMasks &) = delete;

  bool made() const { return block_ != nullptr; }
  uint64_t *extra_rows() const { return extra_; }
  uint32_t *extra_units() const { return rows + capacity; }

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
  const size_t lastWord = (m - 1) / 64;
  const unsigned lastBit = static_cast<unsigned>((m - 1) % 64);
  auto score = static_cast<int64_t>(m);
  for (size_t j = 0; j < text.size; ++j) {
    const uint64_t *pm = masks.row(text[j]);
    uint64_t hpCarry = 1, hnCarry = 0, addCarry = 0, xCarry = 0;
    for (size_t w = 0; w < words; ++w) {
      const uint64_t x = ~d0[w] & pm[w];
      const uint64_t tr = ((x << 1) | xCarry) & pmOld[w];
      xCarry = x >> 63;
      const uint64_t u = pm[w] & vp[w];
      const uint64_t s1 = u + vp[w];
      const uint64_t s2 = s1 + addCarry;
      addCarry = static_cast<uint64_t>(s1 < u) | static_cast<uint64_t>(s2 < s1);
      const uint64_t d = (s2 ^ vp[w]) | pm[w] | vn[w] | tr;
      const uint64_t hp = vn[w] | ~(d | vp[w]);
      const uint64_t hn = d & vp[w];
      if (w == lastWord) score += static_cast<int64_t>((hp >> lastBit) & 1) - static_cast<int64_t>((hn >> lastBit) & 1);
      const uint64_t hpShifted = (hp << 1) | hpCarry, hnShifted = (hn << 1) | hnCarry;
      hpCarry = hp >> 63;
      hnCarry = hn >> 63;
      vp[w] = hnShifted | ~(d | hpShifted);
      vn[w] = hpShifted & d;
      d0[w] = d;
      pmOld[w] = pm[w];
    }
  }
  return score;
}

// osa_columns for a pattern of up to 64 units: one word, no carries.
int64_t osa_word(const PatternMasks &masks, size_t m, U32View text) {
  uint64_t vp = ~uint64_t{0}, vn = 0, d0 = 0, pmOld = 0;
  const unsigned lastBit = static_cast<unsigned>(m - 1);
  auto score = static_cast<int64_t>(m);
  for (size_t j = 0; j < text.size; ++j) {
    const uint64_t pm = *masks.row(text[j]);
    const uint64_t tr = ((~d0 & pm) << 1) & pmOld;
    d0 = (((pm & vp) + vp) ^ vp) | pm | vn | tr;
    const uint64_t hp = vn | ~(d0 | vp), hn = d0 & vp;
    score += static_cast<int64_t>((hp >> lastBit) & 1) - static_cast<int64_t>((hn >> lastBit) & 1);
    const uint64_t hpShifted = (hp << 1) | 1, hnShifted = hn << 1;
    vp = hnShifted | ~(d0 | hpShifted);
    vn = hpShifted & d0;
    pmOld = pm;
  }
  return score;
}

// The distance with the shorter text as the pattern; nullopt when the
// scratch memory for a pattern beyond 64 units cannot be had.
std::optional<int64_t> osa_distance(U32View a, U32View b) {
  const U32View pattern = a.size <= b.size ? a : b, text = a.size <= b.size ? b : a;
  if (pattern.size <= 64) return osa_word(WordMasks(pattern), pattern.size, text);
  const BlockMasks masks(pattern, 4, 0);
  if (!masks.made()) return std::nullopt;
  return osa_columns(masks, pattern.size, text, masks.extra_rows());
}

// The matches of Jaro's rule, each unit of `a` in turn taking the first unit
// of `b` within the window that equals it and is not yet taken: the window's
// words of b's positions where that unit occurs, less those taken, lowest
// bit first. Returns the number of matches; `matchedA` gets a's matched
// units in order, `takenB` b's matched positions.
size_t jaro_matches(U32View a, size_t m, size_t window, const PatternMasks &masks, uint64_t *takenB,
                    uint32_t *matchedA) {
  size_t c = 0;
  for (size_t i = 0; i < a.size; ++i) {
    const size_t lo = i > window ? i - window : 0, hi = std::min(m, i + window + 1);
    if (lo >= hi) continue;
    const uint64_t *row = masks.row(a[i]);
    for (size_t w = lo / 64, last = (hi - 1) / 64; w <= last; ++w) {
      uint64_t candidates = row[w] & ~takenB[w];
      if (w == lo / 64) candidates &= ~uint64_t{0} << (lo % 64);
      if (w == last && hi % 64 != 0) candidates &= ~(~uint64_t{0} << (hi % 64));
      if (candidates != 0) {
        takenB[w] |= candidates & (~candidates + 1);
        matchedA[c++] = a[i];
        break;
      }
    }
  }
  return c;
}

double jaro_winkler_of(U32View a, U32View b, const PatternMasks &masks, uint64_t *takenB, uint32_t *matchedA) {
  const auto n = static_cast<int64_t>(a.size), m = static_cast<int64_t>(b.size);
  const auto window = static_cast<size_t>(std::max<int64_t>(std::max(n, m) / 2 - 1, 0));
  const auto c = static_cast<int64_t>(jaro_matches(a, b.size, window, masks, takenB, matchedA));
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
  if (m <= 64) {
    uint64_t takenB = 0;
    uint32_t matchedA[64];
    return jaro_winkler_of(a, b, WordMasks(b), &takenB, matchedA);
  }
  const BlockMasks masks(b, 1, std::min(n, m));
  if (!masks.made()) {
    *failedBytes = static_cast<int64_t>(n);  // the size of the first flags the matching once asked for
    return std::nullopt;
  }
  return jaro_winkler_of(a, b, masks, masks.extra_rows(), masks.extra_units());
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
