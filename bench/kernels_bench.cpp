// The vector kernels and the codecs built on them, on their own, at each level
// this CPU offers (the level is the benchmark's second argument: 0 plain, 1
// SSE2/NEON, 2 AVX2, 3 AVX-512, 4 AVX-512 with VBMI), on inputs already in
// cache, so that levels compare directly.
#include <string>

#include "bench_inputs.h"
#include "bench_support.h"
#include "binary/bitwise.h"
#include "frame/byte_checks.h"
#include "binary/hex_dump.h"
#include "analysis/sql_boolean.h"
#include "codecs/code_pages.h"
#include "codecs/hex.h"
#include "codecs/mysql.h"
#include "text/string_handles.h"
#include "codecs/quoted_printable.h"
#include "codecs/url.h"
#include "codecs/yenc.h"
#include "frame/cpu.h"
#include "text/byte_scan.h"

using namespace ztk_bench;

namespace {

ztk::ByteView view(const std::string &s) { return {reinterpret_cast<const uint8_t *>(s.data()), s.size()}; }

// Runs `loop` (the timed loop) with the kernels capped at the benchmark's level.
template <class Loop>
void with_level(benchmark::State &state, Loop loop) {
  const auto level = static_cast<ztk::cpu::Level>(state.range(1));
  if (level > ztk::cpu::best()) {
    state.SkipWithError("level not offered by this CPU");
    return;
  }
  ztk::cpu::limit(level);
  loop();
  ztk::cpu::limit(ztk::cpu::kTop);
  state.SetBytesProcessed(state.iterations() * state.range(0));
  state.SetLabel(ztk::cpu::name(level));
}

template <class Kernel>
void at_level(benchmark::State &state, Kernel kernel) {
  const auto n = static_cast<size_t>(state.range(0));
  const std::string in = random_bytes(n, 95), mask = random_bytes(10, 256, 9);
  const std::string digits = random_bytes(2 * n, 95);
  std::string out(2 * n + 64, '\0');
  auto *o = reinterpret_cast<uint8_t *>(out.data());
  with_level(state, [&] {
    for (auto _ : state) {
      kernel(view(in), view(digits), view(mask), o);
      benchmark::DoNotOptimize(o);
      benchmark::ClobberMemory();
    }
  });
}

void args(benchmark::internal::Benchmark *b) {
  for (int level = 0; level <= ztk::cpu::kTop; ++level) {
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

namespace {

// A codec at a level on the byte-method benchmarks' own inputs.
template <class Make, class Codec>
void codec_at_level(benchmark::State &state, Make make, Codec codec) {
  HostCaller::warm_heap();  // codecs with growable output allocate it each call
  const std::string in = make(static_cast<size_t>(state.range(0)));
  std::string out(4 * in.size() + 1024, '\0');
  auto *o = reinterpret_cast<uint8_t *>(out.data());
  with_level(state, [&] {
    for (auto _ : state) {
      benchmark::DoNotOptimize(codec(view(in), o));
      benchmark::ClobberMemory();
    }
  });
}

std::string text(size_t n) { return clean_text(n); }
std::string random_any(size_t n) { return random_bytes(n); }
std::string url_percent_plus(size_t n) { return repeat("%41+", n); }
std::string qp_dense(size_t n) { return repeat("=41=\r\n", n); }
std::string mysql_dense(size_t n) { return repeat("\\n\\'", n); }
// Latin text as the n bytes of its UTF-16 units (what the code-page encoders read).
std::string latin_units(size_t n) {
  std::string s;
  for (unsigned char c : latin_text(n / 2)) {
    s += static_cast<char>(c);
    s += '\0';
  }
  return s;
}
// The same Latin text as UTF-16 units (n bytes of them), its euro signs
// among them: the units above 0xFF the page holds.
std::string latin_utf16(size_t n) {
  const std::string utf8 = latin_text(n);
  std::string s;
  for (size_t i = 0; i < utf8.size() && s.size() + 2 <= n;) {
    const auto c = static_cast<unsigned char>(utf8[i]);
    unsigned unit = c;
    if (c >= 0xE0) {
      unit = (c & 0x0Fu) << 12 | (static_cast<unsigned char>(utf8[i + 1]) & 0x3Fu) << 6 |
             (static_cast<unsigned char>(utf8[i + 2]) & 0x3Fu);
      i += 3;
    } else if (c >= 0xC0) {
      unit = (c & 0x1Fu) << 6 | (static_cast<unsigned char>(utf8[i + 1]) & 0x3Fu);
      i += 2;
    } else {
      ++i;
    }
    s += static_cast<char>(unit & 0xFF);
    s += static_cast<char>(unit >> 8);
  }
  return s;
}
// The hex text of n / 2 bytes and the filler a line needs: what the dump's lines read.
std::string dump_digits(size_t n) { return hex_of(clean_text(n / 2)) + std::string(32, '.'); }

const uint8_t kSpace[] = {' '}, kNewline[] = {'\n'};
const ztk::hexdump::Layout kDumpLayout{2, 16, {}, {kNewline, 1}, {kSpace, 1}, {}};

}  // namespace

#define ZTK_CODEC_BENCH(name, make, ...)                                                           \
  static void BM_##name(benchmark::State &state) {                                                \
    codec_at_level(state, make, [](ztk::ByteView in, uint8_t *out) -> size_t {                     \
      (void)out;                                                                                   \
      __VA_ARGS__;                                                                                 \
    });                                                                                            \
  }                                                                                                \
  BENCHMARK(BM_##name)->Apply(args)

ZTK_CODEC_BENCH(UrlEncode_text, text, return ztk::url::encode(in, 1, reinterpret_cast<char *>(out)));
ZTK_CODEC_BENCH(UrlEncode_random, random_any, return ztk::url::encode(in, 1, reinterpret_cast<char *>(out)));
ZTK_CODEC_BENCH(UrlDecode_text, text, return ztk::url::decode(in, 1, out));
ZTK_CODEC_BENCH(UrlDecode_dense, url_percent_plus, return ztk::url::decode(in, 1, out));
ZTK_CODEC_BENCH(UrlEncode_query, query_values, return ztk::url::encode(in, 1, reinterpret_cast<char *>(out)));
ZTK_CODEC_BENCH(UrlEncode_nonlatin, url_dense_text, return ztk::url::encode(in, 1, reinterpret_cast<char *>(out)));
ZTK_CODEC_BENCH(UrlDecode_query, url_query, return ztk::url::decode(in, 1, out));
ZTK_CODEC_BENCH(UrlDecode_nonlatin, ztk_bench::url_dense, return ztk::url::decode(in, 1, out));
ZTK_CODEC_BENCH(QpDecode_text, text, return ztk::qp::decode(in, out));
ZTK_CODEC_BENCH(QpDecode_dense, qp_dense, return ztk::qp::decode(in, out));
ZTK_CODEC_BENCH(QpEncode_text, text, {
  ztk::ByteSink sink(static_cast<int64_t>(in.size) + 1024);
  ztk::qp::encode(in, 72, sink);
  return static_cast<size_t>(sink.size());
});
// The texts users have: mail bodies and paragraphs as clients encode them,
// and CR LF prose before it is encoded.
ZTK_CODEC_BENCH(QpDecode_mail, qp_mail, return ztk::qp::decode(in, out));
ZTK_CODEC_BENCH(QpDecode_paragraphs, qp_paragraphs, return ztk::qp::decode(in, out));
ZTK_CODEC_BENCH(QpEncode_crlf_prose, crlf_prose, {
  ztk::ByteSink sink(static_cast<int64_t>(in.size) + 1024);
  ztk::qp::encode(in, 76, sink);
  return static_cast<size_t>(sink.size());
});
// The whole rewriting into a growable buffer: blocks tested, runs copied.
#define ZTK_SQL_BENCH(name, make)                         \
  ZTK_CODEC_BENCH(name, make, {                           \
    AsciiStringHandle o(static_cast<int64_t>(in.size) + 10); \
    ztk::sql::replace_booleans(in, o);                    \
    return static_cast<size_t>(o.used);                   \
  })
ZTK_SQL_BENCH(SqlRewrite_text, sql_text);
ZTK_SQL_BENCH(SqlRewrite_dense, sql_dense);
ZTK_CODEC_BENCH(CP1252Decode_text, text, {
  ztk::codepage::decode(ztk::codepage::escapecharsCP1252, in, reinterpret_cast<uint16_t *>(out));
  return in.size;
});
ZTK_CODEC_BENCH(CP1252Decode_random, random_any, {
  ztk::codepage::decode(ztk::codepage::escapecharsCP1252, in, reinterpret_cast<uint16_t *>(out));
  return in.size;
});
ZTK_CODEC_BENCH(CP1252Encode_latin, latin_units,
                return ztk::codepage::encode(ztk::codepage::escapecharsCP1252,
                                             {reinterpret_cast<const uint16_t *>(in.data), in.size / 2}, out));
ZTK_CODEC_BENCH(CP1252Encode_euro, latin_utf16,
                return ztk::codepage::encode(ztk::codepage::escapecharsCP1252,
                                             {reinterpret_cast<const uint16_t *>(in.data), in.size / 2}, out));
ZTK_CODEC_BENCH(MySQLUnescape_text, text, return ztk::mysql::unescape(in, out));
ZTK_CODEC_BENCH(MySQLUnescape_dense, mysql_dense, return ztk::mysql::unescape(in, out));
ZTK_CODEC_BENCH(MySQLUnescape_dump, mysql_dump, return ztk::mysql::unescape(in, out));
ZTK_CODEC_BENCH(yDecode_typical, yenc_encoded, return ztk::yenc::decode(in, out));
ZTK_CODEC_BENCH(yDecode_random, random_any, return ztk::yenc::decode(in, out));
ZTK_CODEC_BENCH(CountByte_text, text, return ztk::scan::count(in, 'e'));
ZTK_CODEC_BENCH(CountWord_text, text, {
  static const uint8_t kWord[] = {'w', 'i', 'z', 'a', 'r', 'd'};
  return ztk::scan::count_needle(in, {kWord, 6});
});
ZTK_CODEC_BENCH(DumpLines_text, dump_digits,
                return ztk::hexdump::write_lines(reinterpret_cast<const char *>(in.data), in.size - 32, kDumpLayout,
                                                 reinterpret_cast<char *>(out)));
