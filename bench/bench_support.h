// Shared set-up for the benchmarks: seeded inputs, and the shipped plugin
// loaded into the substitute host so that handlers are measured with the
// frame's whole cost (resolver caches, argument reads, result building).
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench_inputs.h"
#include "subhost.h"

namespace ztk_bench {


// Calls `method` with `args` through the host; the result is released. Keeps
// the time of each call and the part of it the host's services took, and
// reports the plugin's own time beside the time through the host.
class HostCaller {
 public:
  HostCaller();
  ~HostCaller();
  // Keeps freed megabytes in the heap, as in a long-running application; string()
  // calls it for inputs of 64 KiB and more.
  static void warm_heap();
  REALstring string(const std::string &bytes, uint32_t encoding = enc::kUTF8);
  void call(const char *method, const std::vector<subhost::Value> &args);
  // Counters: plugin_ns and services_ns per call; plugin_GB/s and via_host_GB/s for
  // `bytesPerCall` input bytes per call (0: none).
  void report(benchmark::State &state, int64_t bytesPerCall);

 private:
  std::vector<REALstring> strings_;
  int64_t calls_ = 0, totalNanos_ = 0, hostNanos_ = 0, services_ = 0;
};

}  // namespace ztk_bench
