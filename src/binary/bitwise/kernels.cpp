#include <cstring>

#include "binary/bitwise/levels.h"
#include "frame/dispatch.h"

namespace ztk::bitwise {

// The 16-byte level; the wider ones fall back to it where the target has none.
constexpr const Kernels *kBase = ZTK_BASE_LEVEL(&sse2::kKernels, &neon::kKernels, &plain::kKernels);
// The AVX-512 levels take the AVX2 loop: 64-byte loads from inputs that fall
// anywhere span two lines each, where 32-byte ones do half the time (AND and
// XOR of 1 MiB 10-14% slower with them, the same at 20 bytes and 1 KiB).
constexpr simd::Dispatch<Kernels> kDispatch{&plain::kKernels, kBase, ZTK_ON_WIDE(&avx2::kKernels, kBase),
                                            ZTK_ON_WIDE(&avx2::kKernels, kBase), ZTK_ON_WIDE(&avx2::kKernels, kBase)};

namespace {

template <Kind K>
void stream(const Kernels &k, ByteView data, const uint8_t *mask, uint8_t position, uint8_t *out) {
  if constexpr (K == Kind::And) {
    k.and_bytes(data, mask, out);
  } else if constexpr (K == Kind::Or) {
    k.or_bytes(data, mask, out);
  } else if constexpr (K == Kind::Xor) {
    k.xor_bytes(data, mask, out);
  } else {
    k.xor_position(data, mask, position, out);
  }
}

// The data against the mask repeated from position `start`: the mask is read
// in runs as long as possible, a short mask first repeated into a period of at
// least 2 KiB, so that every run but the first and last is long vector work.
// This part is the same at every level; only the runs are the level's.
template <Kind K>
void run(ByteView data, ByteView mask, size_t start, uint8_t *out) {
  // Each run costs a call through the table, so runs are long; inputs this
  // short are not worth repeating the mask for.
  constexpr size_t kMinPeriod = 2048, kShortInput = 256, kLine = 64;
  // Aligned, and (below) a whole number of cache lines long where the mask
  // allows, so that the mask's loads stay within lines and every run after
  // the first starts at the same offset within a line of the data and output.
  alignas(kLine) uint8_t repeated[2 * kMinPeriod];
  const uint8_t *period = mask.data;
  size_t periodSize = mask.size;
  size_t p = start;
  if (data.size <= kShortInput) {
    for (size_t i = 0; i < data.size; ++i) {
      out[i] = apply<K>(data[i], mask[p], static_cast<uint8_t>(i));
      if (++p == mask.size) p = 0;
    }
    return;
  }
  if (mask.size < kMinPeriod) {
    // No longer than one run over the whole input needs.
    const size_t want = data.size + mask.size < kMinPeriod ? data.size + mask.size : kMinPeriod;
    // The least common multiple of the mask and a line: the mask times the
    // part of a line its lowest set bit does not cover. Only an input that
    // takes more than one run has use for it; a shorter one would only copy
    // more of the mask.
    const size_t lowBit = mask.size & (~mask.size + 1);
    const size_t lcm = mask.size * (lowBit >= kLine ? 1 : kLine / lowBit);
    const size_t unit = lcm <= kMinPeriod && want == kMinPeriod ? lcm : mask.size;
    periodSize = unit * ((want + unit - 1) / unit);
    std::memcpy(repeated, mask.data, mask.size);
    for (size_t filled = mask.size; filled < periodSize; filled *= 2) {
      std::memcpy(repeated + filled, repeated, filled < periodSize - filled ? filled : periodSize - filled);
    }
    period = repeated;
  }
  const Kernels &k = kernels();
  for (size_t i = 0; i < data.size;) {
    const size_t len = data.size - i < periodSize - p ? data.size - i : periodSize - p;
    stream<K>(k, {data.data + i, len}, period + p, static_cast<uint8_t>(i), out + i);
    i += len;
    p = 0;
  }
}

}  // namespace

void combine(ByteView data, ByteView mask, Op op, uint8_t *out) {
  if (op == Op::And) {
    run<Kind::And>(data, mask, 0, out);
  } else {
    run<Kind::Or>(data, mask, 0, out);
  }
}

size_t start_position(int64_t offset, size_t maskSize) {
  const auto m = static_cast<int64_t>(maskSize);
  return static_cast<size_t>(((offset % m) + m) % m);
}

void exclusive_or(ByteView data, ByteView mask, size_t start, bool withPosition, uint8_t *out) {
  if (withPosition) {
    run<Kind::XorPosition>(data, mask, start, out);
  } else {
    run<Kind::Xor>(data, mask, start, out);
  }
}

void combine_reference(ByteView data, ByteView mask, Op op, uint8_t *out) {
  for (size_t i = 0; i < data.size; ++i) out[i] = op == Op::And ? data[i] & mask[i % mask.size] : data[i] | mask[i % mask.size];
}

void exclusive_or_reference(ByteView data, ByteView mask, size_t start, bool withPosition, uint8_t *out) {
  size_t p = start;
  for (size_t i = 0; i < data.size; ++i) {
    uint8_t b = data[i] ^ mask[p];
    if (withPosition) b ^= static_cast<uint8_t>(i);
    out[i] = b;
    if (++p == mask.size) p = 0;
  }
}

}  // namespace ztk::bitwise
