#include "bench_support.h"
#include "codecs/hex.h"
#include "codecs/url.h"

using namespace ztk_bench;

static void BM_EncodingToHex_Kernel(benchmark::State &state) {
  const std::string in = random_bytes(static_cast<size_t>(state.range(0)));
  std::string out(2 * in.size(), '\0');
  for (auto _ : state) {
    ztk::hex::encode({reinterpret_cast<const uint8_t *>(in.data()), in.size()}, out.data());
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_EncodingToHex_Kernel)->Range(8, 1 << 20);

static void BM_EncodingToHex_Host(benchmark::State &state) {
  HostCaller host;
  REALstring s = host.string(random_bytes(static_cast<size_t>(state.range(0))), enc::kNone);
  for (auto _ : state) host.call("EncodingToHexZTK", {s});
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_EncodingToHex_Host)->Range(8, 1 << 20);

static void BM_EncodingToURL_Kernel(benchmark::State &state) {
  const std::string in = random_bytes(static_cast<size_t>(state.range(0)), 95);
  std::string out(3 * in.size(), '\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(ztk::url::encode({reinterpret_cast<const uint8_t *>(in.data()), in.size()}, 0, out.data()));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_EncodingToURL_Kernel)->Range(8, 1 << 20);

// Every method below through the host on a 1 MB text of printable ASCII.
static void BM_Codec_Host(benchmark::State &state, const char *method, int extra) {
  HostCaller host;
  const std::string text = random_bytes(1 << 20, 95);
  REALstring s = host.string(text, enc::kASCII);
  std::vector<subhost::Value> args{s};
  if (extra >= 0) args.push_back(static_cast<RBInteger>(extra));
  for (auto _ : state) host.call(method, args);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK_CAPTURE(BM_Codec_Host, DecodingFromURL, "DecodingFromURLZTK", 1);
BENCHMARK_CAPTURE(BM_Codec_Host, EncodingToHTML, "EncodingToHTMLZTK", 0);
BENCHMARK_CAPTURE(BM_Codec_Host, DecodingFromHTML, "DecodingFromHTMLZTK", -1);
BENCHMARK_CAPTURE(BM_Codec_Host, EncodingToQuotedPrintable, "EncodingToQuotedPrintableZTK", -1);
BENCHMARK_CAPTURE(BM_Codec_Host, DecodingFromQuotedPrintable, "DecodingFromQuotedPrintableZTK", -1);
BENCHMARK_CAPTURE(BM_Codec_Host, EncodingToCP1252, "EncodingToCP1252ZTK", -1);
BENCHMARK_CAPTURE(BM_Codec_Host, DecodingFromCP1252, "DecodingFromCP1252ZTK", -1);
BENCHMARK_CAPTURE(BM_Codec_Host, DecodingFromMySQL, "DecodingFromMySQLZTK", -1);
BENCHMARK_CAPTURE(BM_Codec_Host, yDecodeString, "_yDecodeStringZTK", -1);
