#include <utility>
#include <vector>

#include "analysis/distances.h"
#include "bench_inputs.h"
#include "bench_support.h"
#include "frame/cpu.h"

using namespace ztk_bench;

// Two random texts of n units over 62 letters and digits, or over as many CJK
// units when `cjk` is set.
static std::pair<std::vector<uint32_t>, std::vector<uint32_t>> random_pair(size_t n, bool cjk) {
  return {distance_units(n, cjk, 1), distance_units(n, cjk, 2)};
}

// Reports matrix cells a second.
static void BM_Levenshtein_Kernel(benchmark::State &state) {
  const auto n = static_cast<size_t>(state.range(0));
  const auto [ua, ub] = random_pair(n, state.range(1) == 1);
  int64_t failed = 0;
  for (auto _ : state) benchmark::DoNotOptimize(ztk::distance::levenshtein({ua.data(), n}, {ub.data(), n}, &failed));
  state.counters["cells/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * double(n) * double(n),
                                                 benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Levenshtein_Kernel)->ArgsProduct({{20, 64, 65, 1000, 4096, 10000}, {0, 1}});

static void BM_JaroWinkler_Kernel(benchmark::State &state) {
  const auto n = static_cast<size_t>(state.range(0));
  const auto [ua, ub] = random_pair(n, state.range(1) == 1);
  int64_t failed = 0;
  for (auto _ : state) benchmark::DoNotOptimize(ztk::distance::jaro_winkler({ua.data(), n}, {ub.data(), n}, &failed));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_JaroWinkler_Kernel)->ArgsProduct({{20, 64, 1000, 10000}, {0, 1}});

// Both distances on short texts at each level this CPU offers (the third
// argument: 0 plain, 1 SSE2/NEON, 2 AVX2, 3 AVX-512, 4 AVX-512 with VBMI2).
static void BM_Distance_Level(benchmark::State &state, bool levenshtein) {
  const auto n = static_cast<size_t>(state.range(0));
  const auto level = static_cast<ztk::cpu::Level>(state.range(2));
  if (level > ztk::cpu::best()) {
    state.SkipWithError("level not offered by this CPU");
    return;
  }
  const auto [ua, ub] = random_pair(n, state.range(1) == 1);
  int64_t failed = 0;
  ztk::cpu::limit(level);
  for (auto _ : state) {
    benchmark::DoNotOptimize(levenshtein ? ztk::distance::levenshtein({ua.data(), n}, {ub.data(), n}, &failed)
                                         : ztk::distance::jaro_winkler({ua.data(), n}, {ub.data(), n}, &failed));
  }
  ztk::cpu::limit(ztk::cpu::kTop);
  state.SetLabel(ztk::cpu::name(level));
}
BENCHMARK_CAPTURE(BM_Distance_Level, Levenshtein, true)->ArgsProduct({{20, 64}, {0, 1}, {0, 1, 2, 3, 4}});
BENCHMARK_CAPTURE(BM_Distance_Level, JaroWinkler, false)->ArgsProduct({{20, 64}, {0, 1}, {0, 1, 2, 3, 4}});

// Both distances through the host, the same pairs as UTF-8 strings: the
// plugin's own time beside the time through the host.
static void BM_Distance_Host(benchmark::State &state, const char *method) {
  const auto n = static_cast<size_t>(state.range(0));
  const auto [ua, ub] = random_pair(n, state.range(1) == 1);
  HostCaller host;
  const std::vector<subhost::Value> args{host.string(utf8_of(ua)), host.string(utf8_of(ub))};
  for (auto _ : state) host.call(method, args);
  host.report(state, 0);
}
BENCHMARK_CAPTURE(BM_Distance_Host, Levenshtein, "LevenshteinDistanceZTK")->ArgsProduct({{20, 1000, 10000}, {0, 1}});
BENCHMARK_CAPTURE(BM_Distance_Host, JaroWinkler, "JaroWinklerDistanceZTK")->ArgsProduct({{20, 1000, 10000}, {0, 1}});

static void BM_Analysis_Host(benchmark::State &state, const char *method, int arity) {
  HostCaller host;
  const std::string text = random_bytes(1 << 20, 95);
  REALstring s = host.string(text, enc::kASCII), f = host.string("a", enc::kASCII);
  std::vector<subhost::Value> args{s};
  if (arity == 2) args.push_back(f);
  for (auto _ : state) host.call(method, args);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK_CAPTURE(BM_Analysis_Host, CountOccurances, "CountOccurancesZTK", 2);
BENCHMARK_CAPTURE(BM_Analysis_Host, StrCompBytes, "StrCompBytesZTK", 2);
BENCHMARK_CAPTURE(BM_Analysis_Host, SQLReplaceBoolean, "SQLReplaceBooleanZTK", 1);
BENCHMARK_CAPTURE(BM_Analysis_Host, RemoveHTMLTags, "RemoveHTMLTagsZTK", 1);
BENCHMARK_CAPTURE(BM_Analysis_Host, DetectUnicodeMarkers, "DetectUnicodeMarkersZTK", 1);
