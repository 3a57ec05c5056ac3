#include "bench_support.h"
#include "binary/bitwise.h"

using namespace ztk_bench;

// The word strategies against the plain byte loop they must equal.
static void BM_StringAND_Kernel(benchmark::State &state) {
  const std::string data = random_bytes(1 << 20), mask = random_bytes(static_cast<size_t>(state.range(0)), 256, 7);
  std::string out(data.size() + 5, '\0');
  for (auto _ : state) {
    ztk::bitwise::combine({reinterpret_cast<const uint8_t *>(data.data()), data.size()},
                          {reinterpret_cast<const uint8_t *>(mask.data()), mask.size()}, ztk::bitwise::Op::And,
                          reinterpret_cast<uint8_t *>(out.data()));
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}
BENCHMARK(BM_StringAND_Kernel)->Arg(1)->Arg(2)->Arg(3)->Arg(4)->Arg(7)->Arg(1 << 20);

static void BM_StringAND_ByteLoopBaseline(benchmark::State &state) {
  const std::string data = random_bytes(1 << 20), mask = random_bytes(static_cast<size_t>(state.range(0)), 256, 7);
  std::string out(data.size(), '\0');
  for (auto _ : state) {
    for (size_t i = 0; i < data.size(); ++i) out[i] = static_cast<char>(data[i] & mask[i % mask.size()]);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}
BENCHMARK(BM_StringAND_ByteLoopBaseline)->Arg(1)->Arg(4)->Arg(7);

static void BM_Binary_Host(benchmark::State &state, const char *method) {
  HostCaller host;
  const std::string text = random_bytes(1 << 20);
  REALstring s = host.string(text, enc::kNone), mask = host.string("key!", enc::kNone);
  std::vector<subhost::Value> args{s};
  const std::string name = method;
  if (name == "StringXORZTK") args = {s, mask, static_cast<RBInteger>(0)};
  if (name == "StringANDZTK" || name == "ConcatBinaryStringsZTK") args = {s, mask};
  if (name == "IsASCIIStringZTK") args = {s, static_cast<RBInteger>(2)};
  if (name == "HexstringZTK") {
    args = {s, static_cast<RBInteger>(2), static_cast<RBInteger>(16), host.string(""), host.string("\n"),
            host.string(" "), host.string(".")};
  }
  for (auto _ : state) host.call(method, args);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK_CAPTURE(BM_Binary_Host, StringAND, "StringANDZTK");
BENCHMARK_CAPTURE(BM_Binary_Host, StringXOR, "StringXORZTK");
BENCHMARK_CAPTURE(BM_Binary_Host, Concat, "ConcatBinaryStringsZTK");
BENCHMARK_CAPTURE(BM_Binary_Host, Hexstring, "HexstringZTK");
BENCHMARK_CAPTURE(BM_Binary_Host, IsASCIIString, "IsASCIIStringZTK");
