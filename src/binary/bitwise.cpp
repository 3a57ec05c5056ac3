#include "binary/bitwise.h"

#include <cstring>

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

namespace ztk::bitwise {
namespace {

uint8_t apply(Op op, uint8_t a, uint8_t b) { return op == Op::And ? a & b : a | b; }
uint32_t apply(Op op, uint32_t a, uint32_t b) { return op == Op::And ? a & b : a | b; }

uint32_t load(const uint8_t *p) {
  uint32_t w;
  std::memcpy(&w, p, 4);
  return w;
}
void store(uint8_t *p, uint32_t w) { std::memcpy(p, &w, 4); }

}  // namespace

void combine(ByteView data, ByteView mask, Op op, uint8_t *out) {
  const size_t n = data.size, m = mask.size;
  size_t i = 0;
  if (m == 1 || m == 2 || m == 4) {
    // The mask repeated into one word, in storage order.
    uint8_t pattern[4];
    for (int k = 0; k < 4; ++k) pattern[k] = mask[static_cast<size_t>(k) % m];
    const uint32_t word = load(pattern);
    for (; i + 4 <= n; i += 4) store(out + i, apply(op, load(data.data + i), word));
  } else if (n <= m) {
    for (; i + 4 <= n; i += 4) store(out + i, apply(op, load(data.data + i), load(mask.data + i)));
  }
  // The rest (or everything, for other mask lengths) byte by byte; every
  // strategy above stops at a multiple of 4, where the mask position is i mod m.
  for (size_t p = i % m; i < n; ++i) {
    out[i] = apply(op, data[i], mask[p]);
    if (++p == m) p = 0;
  }
}

size_t start_position(int64_t offset, size_t maskSize) {
  const auto m = static_cast<int64_t>(maskSize);
  return static_cast<size_t>(((offset % m) + m) % m);
}

void exclusive_or(ByteView data, ByteView mask, size_t start, bool withPosition, uint8_t *out) {
  size_t p = start;
  for (size_t i = 0; i < data.size; ++i) {
    uint8_t b = data[i] ^ mask[p];
    if (withPosition) b ^= static_cast<uint8_t>(i);
    out[i] = b;
    if (++p == mask.size) p = 0;
  }
}

}  // namespace ztk::bitwise

namespace {

// Reads data and mask, runs `rule(data, mask, out)` into a scratch block of
// n + 5 bytes and returns the n result bytes tagged as raw bytes.
template <class Rule>
REALstring combine_strings(REALstring data, REALstring mask, Rule rule) {
  if (data == nullptr || mask == nullptr) return nullptr;
  rbData d, m;
  ztk::ReadString(d, data);
  ztk::ReadString(m, mask);
  const ztk::ByteView bytes = d.view(), maskBytes = m.view();
  // An empty or unreadable mask has nothing to repeat: no result.
  if (bytes.empty() || maskBytes.empty()) return nullptr;
  auto *out = static_cast<uint8_t *>(ztk::mem::alloc_zeroed(uint64_t{bytes.size} + 5));
  if (out == nullptr) return nullptr;
  rule(bytes, maskBytes, out);
  REALstring result = ztk::BuildRawBytes({out, bytes.size});
  ztk::mem::release(out);
  return result;
}

REALstring xor_strings(REALstring data, REALstring mask, RBInteger offset, bool withPosition) {
  return combine_strings(data, mask, [&](ztk::ByteView d, ztk::ByteView m, uint8_t *out) {
    ztk::bitwise::exclusive_or(d, m, ztk::bitwise::start_position(offset, m.size), withPosition, out);
  });
}

}  // namespace

REALstring StringAND(REALstring a, REALstring b) {
  return combine_strings(a, b, [](ztk::ByteView d, ztk::ByteView m, uint8_t *out) {
    ztk::bitwise::combine(d, m, ztk::bitwise::Op::And, out);
  });
}

REALstring StringOR(REALstring a, REALstring b) {
  return combine_strings(a, b, [](ztk::ByteView d, ztk::ByteView m, uint8_t *out) {
    ztk::bitwise::combine(d, m, ztk::bitwise::Op::Or, out);
  });
}

REALstring StringXOR(REALstring data, REALstring mask, RBInteger offset) {
  return xor_strings(data, mask, offset, false);
}

REALstring StringXOR2(REALstring data, REALstring mask, RBInteger offset) {
  return xor_strings(data, mask, offset, true);
}
