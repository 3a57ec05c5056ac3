// The methods that work on decoded text or grow their output as they go, each
// through the host at about 20 bytes (per-call cost), 1 KiB and 1 MiB, on
// clean text and on input dense in what the method reacts to. Every row
// reports the plugin's own time beside the time through the host; run it
// with --benchmark_repetitions and quote medians.
#include <functional>

#include "bench_inputs.h"
#include "bench_support.h"

using namespace ztk_bench;
using subhost::Value;

namespace {

struct Input {
  std::string bytes;
  uint32_t encoding;
};

// An input shaped like the data the method meets in applications.
struct Real {
  const char *name;
  std::function<Input(size_t)> make;
};

struct Row {
  const char *name;
  const char *method;
  std::function<Input(size_t)> text, dense;
  std::function<std::vector<Value>(HostCaller &, const Input &)> args;
  std::vector<Real> real = {};
};

Input utf8(std::string s) { return {std::move(s), enc::kUTF8}; }
Input raw(std::string s) { return {std::move(s), enc::kNone}; }
std::vector<Value> one(HostCaller &h, const Input &in) { return {h.string(in.bytes, in.encoding)}; }
auto with_int(RBInteger v) {
  return [v](HostCaller &h, const Input &in) { return std::vector<Value>{h.string(in.bytes, in.encoding), v}; };
}

// HTML through the host: the clean text is the same bytes as the byte methods use.
Input text_of(size_t n) { return utf8(clean_text(n)); }

const std::vector<Row> &rows() {
  static const std::vector<Row> table = {
      {"EncodingToHTML", "EncodingToHTMLZTK", text_of, [](size_t n) { return utf8(dense_html_text(n)); },
       with_int(0), {{"html_like", [](size_t n) { return utf8(html_like_text(n)); }}}},
      {"DecodingFromHTML", "DecodingFromHTMLZTK", text_of, [](size_t n) { return utf8(dense_references(n)); },
       one, {{"page", [](size_t n) { return utf8(html_page(n)); }}}},
      {"RemoveHTMLTags", "RemoveHTMLTagsZTK", text_of, [](size_t n) { return utf8(tagged_text(n)); }, one,
       {{"page", [](size_t n) { return utf8(html_page(n)); }}}},
      {"RemoveHTMLTagsWith", "RemoveHTMLTagsWithZTK", text_of, [](size_t n) { return utf8(tagged_text(n)); },
       [](HostCaller &h, const Input &in) {
         return std::vector<Value>{h.string(in.bytes, in.encoding), h.string(" ", enc::kUTF8)};
       },
       {{"page", [](size_t n) { return utf8(html_page(n)); }}}},
      {"SQLReplaceBoolean", "SQLReplaceBooleanZTK", [](size_t n) { return utf8(sql_text(n)); },
       [](size_t n) { return utf8(sql_dense(n)); }, one,
       {{"statements", [](size_t n) { return utf8(sql_statements(n)); }}}},
      {"EncodingToISO8859", "EncodingToISO8859ZTK", text_of, [](size_t n) { return utf8(latin_text(n)); }, one,
       {{"prose", [](size_t n) { return utf8(accented_prose(n)); }}}},
      {"EncodingToCP1252", "EncodingToCP1252ZTK", text_of, [](size_t n) { return utf8(latin_text(n)); }, one,
       {{"prose", [](size_t n) { return utf8(accented_prose(n)); }}}},
      {"DecodingFromISO8859", "DecodingFromISO8859ZTK", [](size_t n) { return raw(clean_text(n)); },
       [](size_t n) { return raw(random_bytes(n)); }, one,
       {{"prose", [](size_t n) { return raw(latin1_prose(n)); }}}},
      {"DecodingFromCP1252", "DecodingFromCP1252ZTK", [](size_t n) { return raw(clean_text(n)); },
       [](size_t n) { return raw(random_bytes(n)); }, one,
       {{"prose", [](size_t n) { return raw(latin1_prose(n)); }}}},
      {"StrCompCharacters", "StrCompCharactersZTK", text_of, [](size_t n) { return utf8(latin_text(n)); },
       // The second text in another encoding: the mixed case converts both to UTF-8.
       [](HostCaller &h, const Input &in) {
         const bool mixed = in.bytes.find('\xC3') != std::string::npos;
         return std::vector<Value>{h.string(in.bytes, in.encoding),
                                   h.string(in.bytes, mixed ? enc::kUTF16 : in.encoding)};
       }},
      {"UnicodeString", "UnicodeStringZTK", text_of, [](size_t n) { return utf8(latin_text(n)); }, one},
      {"NativeString", "NativeStringZTK", text_of, [](size_t n) { return utf8(latin_text(n)); }, one},
  };
  return table;
}

// kind 0: text, 1: dense, 2 on: the row's real inputs.
void run(benchmark::State &state, const Row &row, int kind) {
  const auto n = static_cast<size_t>(state.range(0));
  HostCaller host;
  const Input input = kind == 0 ? row.text(n) : kind == 1 ? row.dense(n) : row.real[kind - 2].make(n);
  const std::vector<Value> args = row.args(host, input);
  for (auto _ : state) host.call(row.method, args);
  host.report(state, static_cast<int64_t>(n));
}

void number(benchmark::State &state, const char *method, bool scientific) {
  HostCaller host;
  const double values[] = {0.1, 3.14159265358979, -2.5e-7, 123456789.125, 6.02214076e23, 1.0 / 3};
  size_t i = 0;
  for (auto _ : state) {
    const double d = values[i++ % 6];
    if (scientific) {
      host.call(method, {d, RBInteger{6}});
    } else {
      host.call(method, {d});
    }
  }
  host.report(state, 0);
}

void markers(benchmark::State &state) {
  HostCaller host;
  RBInteger kind = 0;
  for (auto _ : state) host.call("GetUnicodeMarkersZTK", {RBInteger{kind++ % 7 + 1}});
  host.report(state, 0);
}

const int kRegistered = [] {
  for (const Row &row : rows()) {
    for (int kind = 0; kind < 2 + static_cast<int>(row.real.size()); ++kind) {
      const std::string name =
          std::string(row.name) + "/" + (kind == 0 ? "text" : kind == 1 ? "dense" : row.real[kind - 2].name);
      benchmark::RegisterBenchmark(name.c_str(), [&row, kind](benchmark::State &s) { run(s, row, kind); })
          ->Arg(20)
          ->Arg(1 << 10)
          ->Arg(1 << 20);
    }
  }
  benchmark::RegisterBenchmark("StrZTK", [](benchmark::State &s) { number(s, "StrZTK", false); });
  benchmark::RegisterBenchmark("ScientificStrZTK", [](benchmark::State &s) { number(s, "ScientificStrZTK", true); });
  benchmark::RegisterBenchmark("GetUnicodeMarkers", markers);
  return 0;
}();

}  // namespace
