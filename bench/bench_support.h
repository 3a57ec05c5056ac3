// Shared set-up for the benchmarks: seeded inputs, and the shipped plugin
// loaded into the substitute host so that handlers are measured with the
// frame's whole cost (resolver caches, argument reads, result building).
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "subhost.h"

namespace ztk_bench {

// Bytes from a fixed seed: `alphabet` 256 for any byte, 95 for printable ASCII.
std::string random_bytes(size_t n, int alphabet = 256, unsigned seed = 42);

// Calls `method` with `args` through the host; the result is released.
class HostCaller {
 public:
  HostCaller();
  ~HostCaller();
  REALstring string(const std::string &bytes, uint32_t encoding = enc::kUTF8);
  void call(const char *method, const std::vector<subhost::Value> &args);

 private:
  std::vector<REALstring> strings_;
};

}  // namespace ztk_bench
