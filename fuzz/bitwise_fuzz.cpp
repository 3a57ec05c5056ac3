// AND, OR and XOR kernels against the one-byte rule; both XORs undo themselves.
#include <vector>

#include "binary/bitwise.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  // First byte: the mask's length (1 to 32); then the mask, then the data.
  const size_t m = 1 + data[0] % 32;
  if (size < 1 + m) return 0;
  const ztk::ByteView mask{data + 1, m}, in{data + 1 + m, size - 1 - m};
  std::vector<uint8_t> out(in.size + 5), twice(in.size + 5);
  for (auto op : {ztk::bitwise::Op::And, ztk::bitwise::Op::Or}) {
    ztk::bitwise::combine(in, mask, op, out.data());
    for (size_t i = 0; i < in.size; ++i) {
      const uint8_t b = mask[i % m];
      FUZZ_CHECK(out[i] == (op == ztk::bitwise::Op::And ? (in[i] & b) : (in[i] | b)));
    }
  }
  const size_t start = ztk::bitwise::start_position(static_cast<int8_t>(data[0]), m);
  FUZZ_CHECK(start < m);
  for (bool withPosition : {false, true}) {
    ztk::bitwise::exclusive_or(in, mask, start, withPosition, out.data());
    ztk::bitwise::exclusive_or({out.data(), in.size}, mask, start, withPosition, twice.data());
    for (size_t i = 0; i < in.size; ++i) FUZZ_CHECK(twice[i] == in[i]);
  }
  return 0;
}
