// The plain level's tables of where each unit occurs in a pattern, and its
// kernels for a pattern (or b) of 1 to 64 units, which every level runs where
// its registers do not take the pattern or the text is long. Inline, so that
// each level's own kernels take them whole, its scratch arrays on its stack.
#pragma once

#include <algorithm>
#include <cstring>

#include "analysis/distances/words.h"

namespace ztk::distance::plain {
// Each level's source gets its own copy: on 32-bit ARM the NEON source is
// compiled for NEON, and a shared copy the linker kept from it could run NEON
// instructions on a CPU without them.
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

inline size_t units_from_256(U32View p) {
  size_t count = 0;
  for (size_t i = 0; i < p.size; ++i) count += p[i] >= 256;
  return count;
}

// Open addressing at most half full; one free slot for no units at all.
inline size_t capacity_for(size_t count) {
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

inline int64_t osa_word(const PatternMasks &masks, size_t m, U32View text) {
  OsaWord column(m);
  for (size_t j = 0; j < text.size; ++j) column.step(*masks.row(text[j]));
  return column.distance(text.size);
}

inline size_t jaro_matches(U32View a, U32View b, size_t window, const PatternMasks &masks, uint64_t &takenB,
                           uint32_t *matchedA) {
  JaroWord matching(b.size, window, matchedA);
  const size_t end = matching.end(a.size);
  for (size_t i = 0; i < end; ++i) matching.take(i, a[i], *masks.row(a[i]));
  takenB = matching.takenB;
  return matching.c;
}


// The distance of a pattern of 1 to 64 units, and the matches of a `b` of 1
// to 64 units (see JaroWord). Taken into the caller whole: a match array on
// its stack then needs no register of its own in the loop.
[[gnu::always_inline]] inline int64_t osa_short(U32View pattern, U32View text) {
  return osa_word(WordMasks(pattern, text), pattern.size, text);
}

[[gnu::always_inline]] inline size_t jaro_short(U32View a, U32View b, size_t window, uint64_t &takenB,
                                                uint32_t *matchedA) {
  return jaro_matches(a, b, window, WordMasks(b, a), takenB, matchedA);
}

}  // namespace
}  // namespace ztk::distance::plain
