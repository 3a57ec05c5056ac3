// The methods that work on bytes as stored, each through the host at about
// 20 bytes (per-call cost), 1 KiB and 1 MiB, on clean text, on random bytes
// and on input dense in what the method reacts to. Every row reports the
// plugin's own time beside the time through the host; run it with
// --benchmark_repetitions and quote medians.
#include <cstring>
#include <functional>

#include "bench_inputs.h"
#include "bench_support.h"

using namespace ztk_bench;
using subhost::Value;

namespace {

// An input shaped like the data the method meets in applications.
struct Real {
  const char *name;
  std::function<std::string(size_t)> make;
};

struct Row {
  const char *name;
  const char *method;
  // The method's arguments for an input of n bytes of the given kind.
  std::function<std::vector<Value>(HostCaller &, const std::string &)> args;
  std::function<std::string(size_t)> dense;  // the adversarial input; null: random bytes
  std::vector<Real> real = {};  // what the method meets in applications, beside text
};

std::vector<Value> one(HostCaller &h, const std::string &s) { return {h.string(s, enc::kNone)}; }
// The check for HTML-ready text answers false at once for texts not tagged as one of its four encodings.
std::vector<Value> one_utf8(HostCaller &h, const std::string &s) { return {h.string(s, enc::kUTF8)}; }
auto with_int(RBInteger v) {
  return [v](HostCaller &h, const std::string &s) { return std::vector<Value>{h.string(s, enc::kNone), v}; };
}
auto with_string(const std::string &extra) {
  return [extra](HostCaller &h, const std::string &s) {
    return std::vector<Value>{h.string(s, enc::kNone), h.string(extra, enc::kNone)};
  };
}
auto with_mask(const std::string &mask) {
  return [mask](HostCaller &h, const std::string &s) {
    return std::vector<Value>{h.string(s, enc::kNone), h.string(mask, enc::kNone), RBInteger{3}};
  };
}

const std::vector<Row> &rows() {
  static const std::vector<Row> table = {
      {"EncodingToHex", "EncodingToHexZTK", one, nullptr},
      {"DecodingFromHex", "DecodingFromHexZTK",
       [](HostCaller &h, const std::string &s) { return std::vector<Value>{h.string(hex_of(s), enc::kASCII)}; },
       nullptr},
      {"EncodingToURL", "EncodingToURLZTK", with_int(1), nullptr, {{"query", query_values}, {"nonlatin", url_dense_text}}},
      {"DecodingFromURL", "DecodingFromURLZTK", with_int(1), [](size_t n) { return repeat("%41+", n); },
       {{"query", url_query}, {"nonlatin", url_dense}}},
      {"EncodingToQuotedPrintable", "EncodingToQuotedPrintableZTK", one, nullptr, {{"crlf_prose", crlf_prose}}},
      {"DecodingFromQuotedPrintable", "DecodingFromQuotedPrintableZTK", one,
       [](size_t n) { return repeat("=41=\r\n", n); }, {{"mail", qp_mail}, {"paragraphs", qp_paragraphs}}},
      {"DecodingFromMySQL", "DecodingFromMySQLZTK", one, [](size_t n) { return repeat("\\n\\'", n); },
       {{"dump", mysql_dump}}},
      {"yDecodeString", "_yDecodeStringZTK", one, [](size_t n) { return repeat("=J=M\r\n", n); },
       {{"typical", yenc_article}}},
      {"StringAND", "StringANDZTK", with_string("key!"), nullptr},
      {"StringOR", "StringORZTK", with_string("mask of 13 b."), nullptr},
      {"StringXOR", "StringXORZTK", with_mask("secret key"), nullptr},
      {"StringXOR2", "StringXOR2ZTK", with_mask("secret key"), nullptr},
      {"ConcatBinaryStrings", "ConcatBinaryStringsZTK", with_string("tail"), nullptr},
      {"Hexstring", "HexstringZTK",
       [](HostCaller &h, const std::string &s) {
         return std::vector<Value>{h.string(s, enc::kNone), RBInteger{2}, RBInteger{16}, h.string(""),
                                   h.string("\n"), h.string(" "), h.string(".")};
       },
       nullptr},
      {"IsASCIIString", "IsASCIIStringZTK", one, nullptr},
      {"IsASCIIString_printable", "IsASCIIStringZTK", with_int(2), nullptr},
      {"ReplaceNonPrintable", "ReplaceNonPrintableCharactersZTK", with_int(46), nullptr},
      {"StrCompBytes", "StrCompBytesZTK",
       [](HostCaller &h, const std::string &s) {
         return std::vector<Value>{h.string(s, enc::kNone), h.string(s, enc::kNone)};
       },
       nullptr},
      {"CountOccurances_byte", "CountOccurancesZTK", with_string("e"), [](size_t n) { return repeat("e", n); }},
      {"CountOccurances_word", "CountOccurancesZTK", with_string("wizard"),
       [](size_t n) { return repeat("wizarwizard", n); }},
      {"CountOccurances_the", "CountOccurancesZTK", with_string("the"), nullptr, {{"prose", accented_prose}}},
      {"StringIsHTMLready", "StringIsHTMLreadyZTK", one_utf8, nullptr},
      {"DetectUnicodeMarkers", "DetectUnicodeMarkersZTK", one, nullptr},
  };
  return table;
}

void run(benchmark::State &state, const Row &row, int kind) {
  const auto n = static_cast<size_t>(state.range(0));
  HostCaller host;
  std::string input = kind == 0   ? clean_text(n)
                      : kind == 1 ? random_bytes(n)
                      : kind == 2 ? row.dense(n)
                                  : row.real[kind - 3].make(n);
  const std::vector<Value> args = row.args(host, input);
  for (auto _ : state) host.call(row.method, args);
  host.report(state, static_cast<int64_t>(n));
}

void random_bytes_string(benchmark::State &state) {
  HostCaller host;
  if (state.range(0) >= (64 << 10)) HostCaller::warm_heap();
  const std::vector<Value> args{static_cast<RBInteger>(state.range(0)), RBBoolean{0}};
  for (auto _ : state) host.call("RandomBytesStringZTK", args);
  host.report(state, state.range(0));
}

// The machine's yardstick for the GB/s figures: one copy of n bytes between
// two warm buffers.
void memcpy_yardstick(benchmark::State &state) {
  const auto n = static_cast<size_t>(state.range(0));
  std::vector<char> from(n, 'x'), to(n, 'y');
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), n);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n));
}

const int kRegistered = [] {
  const char *kinds[] = {"text", "random", "dense"};
  for (const Row &row : rows()) {
    for (int kind = 0; kind < 3 + static_cast<int>(row.real.size()); ++kind) {
      if (kind == 2 && !row.dense) continue;
      const std::string name = std::string(row.name) + "/" + (kind < 3 ? kinds[kind] : row.real[kind - 3].name);
      benchmark::RegisterBenchmark(name.c_str(), [&row, kind](benchmark::State &s) { run(s, row, kind); })
          ->Arg(20)
          ->Arg(1 << 10)
          ->Arg(1 << 20);
    }
  }
  benchmark::RegisterBenchmark("RandomBytesString", random_bytes_string)->Arg(20)->Arg(1 << 10)->Arg(1 << 20);
  benchmark::RegisterBenchmark("Memcpy", memcpy_yardstick)->Arg(1 << 20);
  return 0;
}();

}  // namespace
