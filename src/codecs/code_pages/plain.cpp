#include <cstring>

#include "codecs/code_pages/levels.h"
#include "text/byte_scan.h"
#include "text/unit_scan/levels.h"

namespace ztk::codepage::plain {
namespace {

// Moves n bytes down by `by` places; in text that drops many units the
// stretches are short, and a call to memmove would cost more than they do.
inline void move_down(uint8_t *from, size_t by, size_t n) {
  uint8_t *to = from - by;
  if (n >= 32) {
    std::memmove(to, from, n);
  } else {
    for (size_t k = 0; k < n; ++k) to[k] = from[k];
  }
}

}  // namespace

size_t encode_chunks(const Table &table, bool ownC1, U16View units, size_t from, size_t written, uint8_t *out,
                     const units::Kernels &scan) {
  static constexpr units::UnitSet kAboveLatin1(0xFF00, {});
  static constexpr units::UnitSet kAboveOrC1 = kAboveLatin1.with_range(0x80, 0x9F);
  int slotted = -1;
  if (units.size - from < 64) {
    // A short rest (a short call, or what a level's blocks leave): unit by
    // unit, where a chunk's narrowing and marking cost more than its units.
    uint8_t *o = out + written;
    for (size_t i = from; i < units.size; ++i) {
      const uint16_t unit = units[i];
      if (unit < 0x80 || (unit <= 0xFF && (!ownC1 || unit >= 0xA0))) {
        *o++ = static_cast<uint8_t>(unit);
        continue;
      }
      if (slotted < 0) slotted = ownC1 && slots_serve(table);
      const int b = stop_byte(table, slotted > 0, unit);
      if (b >= 0) *o++ = static_cast<uint8_t>(b);
    }
    return static_cast<size_t>(o - out);
  }
  const units::UnitSet &stop = ownC1 ? kAboveOrC1 : kAboveLatin1;
  // A chunk at a time: every unit narrowed at once and the units the runs stop
  // at marked in a bit set, then each of those gets its byte in place, and
  // one the page drops moves the bytes after it down. Run by run (a search,
  // then a narrowing) cost more than plain code on text with a euro sign
  // every few words. The output never runs ahead of the input, whose room it has.
  constexpr size_t kChunk = 1024;
  uint64_t stops[kChunk / 64];
  for (size_t i = from; i < units.size;) {
    const size_t n = units.size - i > kChunk ? kChunk : units.size - i;
    uint8_t *o = out + written;  // o[k]: the byte of unit i + k, less the units dropped before it
    scan.narrow(units.data + i, n, o);
    scan.mark({units.data + i, n}, stop, stops);
    size_t dropped = 0, next = 0;  // next: the first unit whose byte is not yet in place
    for (size_t w = 0; w < (n + 63) / 64; ++w) {
      for (uint64_t m = stops[w]; m != 0; m &= m - 1) {
        const size_t at = 64 * w + static_cast<size_t>(__builtin_ctzll(m));
        if (dropped > 0) move_down(o + next, dropped, at - next);
        const uint16_t unit = units[i + at];
        if (slotted < 0) slotted = ownC1 && slots_serve(table);
        const int b = stop_byte(table, slotted > 0, unit);
        if (b >= 0) {
          o[at - dropped] = static_cast<uint8_t>(b);
        } else {
          ++dropped;
        }
        next = at + 1;
      }
    }
    if (dropped > 0) move_down(o + next, dropped, n - next);
    written += n - dropped;
    i += n;
  }
  return written;
}

void decode_from(const Table &table, ByteView bytes, size_t from, uint16_t *out,
                 void (*widen)(const uint8_t *in, size_t n, uint16_t *out)) {
  bytes = {bytes.data + from, bytes.size - from};
  out += from;
  widen(bytes.data, bytes.size, out);
  if (identity_high(table)) return;
  static constexpr scan::ByteSet kC1{{0x80, 0x9F}};
  for (size_t i = scan::find(bytes, 0, kC1); i < bytes.size; i = scan::find(bytes, i + 1, kC1)) {
    out[i] = table[bytes[i]];
  }
}

const Kernels kKernels = {
    [](const Table &table, U16View units, uint8_t *out) {
      return encode_chunks(table, !identity_high(table), units, 0, 0, out, units::plain::kKernels);
    },
    [](const Table &table, ByteView bytes, uint16_t *out) {
      decode_from(table, bytes, 0, out, units::plain::kKernels.widen);
    },
};

}  // namespace ztk::codepage::plain
