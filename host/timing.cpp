#include "timing.h"

#include <algorithm>
#include <chrono>
#include <vector>
#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#include <x86intrin.h>
#define SUBHOST_TSC 1
#else
#define SUBHOST_TSC 0
#endif

namespace subhost::timing {
namespace {

using steady = std::chrono::steady_clock;

int64_t steady_nanos() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(steady::now().time_since_epoch()).count();
}

// Nanoseconds per tick, measured once against the steady clock.
double tick_length() {
#if SUBHOST_TSC
  static const double length = [] {
    const int64_t t0 = steady_nanos();
    const auto c0 = static_cast<int64_t>(__rdtsc());
    while (steady_nanos() - t0 < 20'000'000) {
    }
    const int64_t t1 = steady_nanos();
    const auto c1 = static_cast<int64_t>(__rdtsc());
    return c1 > c0 ? static_cast<double>(t1 - t0) / static_cast<double>(c1 - c0) : 1.0;
  }();
  return length;
#else
  return 1.0;
#endif
}

}  // namespace

int64_t now_ticks() {
#if SUBHOST_TSC
  return static_cast<int64_t>(__rdtsc());
#else
  return steady_nanos();
#endif
}

int64_t nanos(int64_t ticks) { return static_cast<int64_t>(static_cast<double>(ticks) * tick_length() + 0.5); }

double read_nanos() {
  static const double cost = [] {
    tick_length();
    std::vector<double> runs;
    for (int r = 0; r < 9; ++r) {
      constexpr int kReads = 20000;
      const int64_t start = steady_nanos();
      volatile int64_t sink = 0;
      for (int i = 0; i < kReads; ++i) sink = sink + (now_ticks() & 1);
      runs.push_back(static_cast<double>(steady_nanos() - start) / kReads);
    }
    std::nth_element(runs.begin(), runs.begin() + 4, runs.end());
    return runs[4];
  }();
  return cost;
}

}  // namespace subhost::timing
