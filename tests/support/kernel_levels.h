// Differential tests of the vector kernels: every level the CPU offers runs
// against the plain version on inputs that end right before an unreadable
// page, so that a vector load past the end faults instead of passing.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "frame/cpu.h"
#include "guard_memory.h"
#include "frame/byte_view.h"

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
  ztk::cpu::limit(ztk::cpu::kTop);
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
  uint8_t *bytes() { return data_; }

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

// Inputs of every length up to `longest`: random bytes, clean letters and the
// tokens a codec reacts to, a token cut short at the end now and then, so that
// escapes fall on the last and second-to-last bytes and on block edges.
inline std::vector<std::string> token_inputs(std::mt19937 &rng, const std::vector<std::string> &tokens,
                                             size_t longest) {
  std::vector<std::string> inputs;
  for (size_t n = 0; n <= longest; ++n) {
    for (int variant = 0; variant < 3; ++variant) {
      std::string s;
      while (s.size() < n) {
        const unsigned pick = rng() % 8;
        if (pick < 3) {
          s += tokens[rng() % tokens.size()];
        } else if (pick < 4 || variant == 0) {
          s += static_cast<char>(rng() & 0xFF);
        } else {
          s += random_text(rng, 1 + rng() % (variant == 2 ? 70 : 8), "abcdefghijklmnopqrstuvwxyz ABC.019");
        }
      }
      s.resize(n);
      inputs.push_back(s);
    }
  }
  return inputs;
}

// body(input) at every level, expected to equal reference(input).
template <class Body, class Reference>
void expect_equal_at_every_level(const std::vector<std::string> &inputs, Body body, Reference reference) {
  for_each_level([&](ztk::cpu::Level) {
    for (const std::string &in : inputs) {
      const GuardedBytes guarded(in);
      ASSERT_EQ(body(guarded.view()), reference(in)) << "input of " << in.size() << " bytes";
    }
  });
}

}  // namespace ztk_test
