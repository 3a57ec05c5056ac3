// The vector kernels on their own at each level this CPU offers (the level
// is the benchmark's second argument: 0 plain, 1 SSE2/NEON, 2 AVX2, 3
// AVX-512), on inputs already in cache, so that levels compare directly.
#include <string>

#include "bench_support.h"
#include "binary/bitwise.h"
#include "binary/byte_checks.h"
#include "codecs/hex.h"
#include "frame/cpu.h"

using namespace ztk_bench;

namespace {

ztk::ByteView view(const std::string &s) { return {reinterpret_cast<const uint8_t *>(s.data()), s.size()}; }

template <class Kernel>
void at_level(benchmark::State &state, Kernel kernel) {
  const auto level = static_cast<ztk::cpu::Level>(state.range(1));
  if (level > ztk::cpu::best()) {
    state.SkipWithError("level not offered by this CPU");
    return;
  }
  ztk::cpu::limit(level);
  const auto n = static_cast<size_t>(state.range(0));
  const std::string in = random_bytes(n, 95), mask = random_bytes(10, 256, 9);
  const std::string digits = random_bytes(2 * n, 95);
  std::string out(2 * n + 64, '\0');
  auto *o = reinterpret_cast<uint8_t *>(out.data());
  for (auto _ : state) {
    kernel(view(in), view(digits), view(mask), o);
    benchmark::DoNotOptimize(o);
    benchmark::ClobberMemory();
  }
  ztk::cpu::limit(ztk::cpu::kTop);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(n));
  state.SetLabel(ztk::cpu::name(level));
}

void args(benchmark::internal::Benchmark *b) {
  for (int level = 0; level <= 3; ++level) {
    for (int n : {20, 1 << 10, 1 << 20}) b->Args({n, level});
  }
}

}  // namespace

#define ZTK_KERNEL_BENCH(name, body)                                                                    \
  static void BM_##name(benchmark::State &state) {                                                     \
    at_level(state, [](ztk::ByteView in, ztk::ByteView digits, ztk::ByteView mask, uint8_t *out) { \
      (void)in; (void)digits; (void)mask; (void)out;                                                    \
      body;                                                                                             \
    });                                                                                                 \
  }                                                                                                     \
  BENCHMARK(BM_##name)->Apply(args)

ZTK_KERNEL_BENCH(HexEncode, ztk::hex::encode(in, reinterpret_cast<char *>(out)));
ZTK_KERNEL_BENCH(HexDecode, ztk::hex::decode({digits.data, 2 * in.size}, out));
ZTK_KERNEL_BENCH(AND_mask4, ztk::bitwise::combine(in, {mask.data, 4}, ztk::bitwise::Op::And, out));
ZTK_KERNEL_BENCH(XOR_mask10, ztk::bitwise::exclusive_or(in, mask, 3, false, out));
ZTK_KERNEL_BENCH(XOR2_mask10, ztk::bitwise::exclusive_or(in, mask, 3, true, out));
ZTK_KERNEL_BENCH(IsASCII, benchmark::DoNotOptimize(ztk::byte_checks::all_in_class(in, ztk::byte_checks::Class::Printable)));
ZTK_KERNEL_BENCH(ReplaceNonPrintable, ztk::byte_checks::replace_non_printable(in, '.', out));
