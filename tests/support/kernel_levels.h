// Differential tests of the vector kernels: every level the CPU offers runs
// against the plain version on inputs that end right before an unreadable
// page, so that a vector load past the end faults instead of passing.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "frame/cpu.h"
#include "guard_memory.h"
#include "text/byte_view.h"

namespace ztk_test {

// Runs body(level) once for each level from plain up to the best this CPU
// has, with the kernels compiled into the test program capped at it.
template <class Body>
void for_each_level(Body body) {
  for (int level = ztk::cpu::kPlain; level <= ztk::cpu::best(); ++level) {
    const auto l = static_cast<ztk::cpu::Level>(level);
    ztk::cpu::limit(l);
    SCOPED_TRACE(ztk::cpu::name(l));
    body(l);
  }
  ztk::cpu::limit(ztk::cpu::kAVX512);
}

// A copy of some bytes that ends on the last byte before a guard page.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::string_view bytes)
      : data_(static_cast<uint8_t *>(subhost::guard::alloc(bytes.size()))), size_(bytes.size()) {
    if (size_ > 0) std::memcpy(data_, bytes.data(), size_);
  }
  ~GuardedBytes() { subhost::guard::release(data_); }
  GuardedBytes(const GuardedBytes &) = delete;
  GuardedBytes &operator=(const GuardedBytes &) = delete;
  ztk::ByteView view() const { return {data_, size_}; }

 private:
  uint8_t *data_;
  size_t size_;
};

// n bytes drawn from `alphabet` (all 256 byte values when it is empty).
inline std::string random_text(std::mt19937 &rng, size_t n, std::string_view alphabet = {}) {
  std::string s(n, '\0');
  for (char &c : s) {
    c = alphabet.empty() ? static_cast<char>(rng() & 0xFF) : alphabet[rng() % alphabet.size()];
  }
  return s;
}

}  // namespace ztk_test
