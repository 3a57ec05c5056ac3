// Finding, copying past and counting bytes at the active vector level. The
// codecs spend their time in runs of bytes they pass through unchanged; these
// kernels find where such a run ends and move it in blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "frame/byte_view.h"
#include "frame/dispatch.h"

namespace ztk::scan {

struct Range {
  uint8_t first, last;  // inclusive
};

// A set of byte values given as up to eight ranges, or as the bytes outside
// them. Ranges keep the vector test short (a subtraction and one unsigned
// compare each) for every set the codecs use.
class ByteSet {
 public:
  static constexpr int kMaxRanges = 8;

  constexpr ByteSet(std::initializer_list<Range> ranges, bool outside = false) : outside_(outside) {
    for (const Range &r : ranges) {
      if (count_ == kMaxRanges) break;
      first_[count_] = r.first;
      span_[count_] = static_cast<uint8_t>(r.last - r.first);
      ++count_;
      for (int b = r.first; b <= r.last; ++b) bits_[b >> 6] |= uint64_t{1} << (b & 63);
    }
    if (outside) {
      for (uint64_t &w : bits_) w = ~w;
    }
  }
  constexpr bool contains(uint8_t b) const { return (bits_[b >> 6] >> (b & 63) & 1) != 0; }

  int count() const { return count_; }
  uint8_t first(int k) const { return first_[k]; }
  uint8_t span(int k) const { return span_[k]; }
  bool outside() const { return outside_; }

 private:
  uint64_t bits_[4] = {};
  uint8_t first_[kMaxRanges] = {};
  uint8_t span_[kMaxRanges] = {};
  int count_ = 0;
  bool outside_;
};

// The byte scans of one level: each entry is the whole scan, its own blocks
// first, then the narrower levels' (frame/dispatch.h; byte_scan/ holds one
// source per level).
struct Kernels {
  // As find and copy_until below, without their one-at-a-time lead.
  size_t (*find)(ByteView bytes, size_t from, const ByteSet &set);
  size_t (*copy_until)(ByteView bytes, size_t from, const ByteSet &stop, uint8_t add, uint8_t *out);
  size_t (*count)(ByteView bytes, uint8_t b);
  // As count_needle below, for a needle of two bytes or more that is no longer than `bytes`.
  size_t (*count_needle)(ByteView bytes, ByteView needle);
  size_t (*unescape)(ByteView bytes, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

// The codecs call these after every escape, and the runs between escapes are
// often short, where setting up the vector test would cost more than the run:
// so the first bytes are looked at one at a time, inline.
constexpr size_t kLead = 16;

// Index of the first byte at or after `from` that is in `set`; bytes.size when none is.
inline size_t find(ByteView bytes, size_t from, const ByteSet &set) {
  const size_t lead = bytes.size - from > kLead ? from + kLead : bytes.size;
  for (size_t i = from; i < lead; ++i) {
    if (set.contains(bytes[i])) return i;
  }
  return lead == bytes.size ? lead : kernels().find(bytes, lead, set);
}

// Writes bytes[from], bytes[from + 1], ... plus `add` (mod 256) to out[0], out[1], ...
// up to the first byte in `stop`, and returns that byte's index (bytes.size when
// none is). `out` must have room for bytes.size - from bytes: whole blocks may be
// stored past the run, never past that room.
inline size_t copy_until(ByteView bytes, size_t from, const ByteSet &stop, uint8_t add, uint8_t *out) {
  const size_t lead = bytes.size - from > kLead ? from + kLead : bytes.size;
  for (size_t i = from; i < lead; ++i) {
    if (stop.contains(bytes[i])) return i;
    out[i - from] = static_cast<uint8_t>(bytes[i] + add);
  }
  return lead == bytes.size ? lead : kernels().copy_until(bytes, lead, stop, add, out + (lead - from));
}

// How often `b` occurs.
inline size_t count(ByteView bytes, uint8_t b) { return kernels().count(bytes, b); }

// How many times `needle` occurs without overlap, each match taken at the
// leftmost place after the previous one (an empty needle: none).
inline size_t count_needle(ByteView bytes, ByteView needle) {
  if (needle.size == 0 || bytes.size < needle.size) return 0;
  if (needle.size == 1) return count(bytes, needle[0]);
  return kernels().count_needle(bytes, needle);
}

// Writes every byte plus `add` (mod 256) to `out`, except that an `escape`
// byte is dropped and the byte after it gets `escaped_add` more (an escape
// after an escape is such a byte; a final escape stands for nothing). Returns
// the bytes written; `out` must have room for bytes.size.
inline size_t unescape(ByteView bytes, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *out) {
  return kernels().unescape(bytes, escape, add, escaped_add, out);
}

// The one-byte-at-a-time versions every level must equal.
size_t find_reference(ByteView bytes, size_t from, const ByteSet &set);
size_t copy_until_reference(ByteView bytes, size_t from, const ByteSet &stop, uint8_t add, uint8_t *out);
size_t count_reference(ByteView bytes, uint8_t b);
size_t unescape_reference(ByteView bytes, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *out);
size_t count_needle_reference(ByteView bytes, ByteView needle);

}  // namespace ztk::scan
