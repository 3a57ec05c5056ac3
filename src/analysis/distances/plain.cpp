#include <algorithm>

#include "analysis/distances/levels.h"
#include "analysis/distances/masks.h"
#include "analysis/distances/words.h"
#include "frame/plugin_alloc.h"

namespace ztk::distance::plain {
namespace {

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
// in order. From a's unit m + window on, the window lies past b's end.
size_t jaro_matches(U32View a, size_t m, size_t window, Occurrences &occurrences, uint64_t *takenB,
                    uint32_t *matchedA) {
  size_t c = 0;
  const size_t end = std::min(a.size, m + window);
  for (size_t i = 0; i < end; ++i) {
    const size_t lo = i > window ? i - window : 0, hi = std::min(m, i + window + 1);
    const uint32_t g = occurrences.group(a[i]);
    if (g == kNoUnit) continue;
    const int64_t at = occurrences.take(g, lo, hi);
    if (at < 0) continue;
    takenB[at / 64] |= uint64_t{1} << (at % 64);
    matchedA[c++] = a[i];
  }
  return c;
}

}  // namespace

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

std::optional<int64_t> osa_long(U32View pattern, U32View text) {
  const BlockMasks masks(pattern, 4);
  if (!masks.made()) return std::nullopt;
  return osa_columns(masks, pattern.size, text, masks.extra_rows());
}

std::optional<double> jaro_winkler_long(U32View a, U32View b, size_t window, int64_t *failedBytes) {
  const size_t n = a.size, m = b.size;
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

const Kernels kKernels = {jaro_winkler_with<jaro_short>, levenshtein_with<osa_short>};

}  // namespace ztk::distance::plain
