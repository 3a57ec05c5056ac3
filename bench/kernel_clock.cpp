// The kernels at each level this CPU offers, timed without Google Benchmark,
// so that the same program builds for every platform (there is no Google
// Benchmark for MinGW) and the Windows library's kernels can be set beside the
// Linux library's on one machine (under wine64). Inputs of 64 KiB, already in
// cache; each figure is the best of `rounds` rounds of enough calls to take
// about 20 ms. Prints one tab-separated line per kernel and level: name,
// level, GB/s of input.
//
// Usage: kernel_clock [rounds]
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench_inputs.h"
#include "binary/bitwise.h"
#include "codecs/code_pages.h"
#include "codecs/hex.h"
#include "codecs/url.h"
#include "codecs/yenc.h"
#include "frame/byte_checks.h"
#include "frame/cpu.h"
#include "text/byte_scan.h"

namespace {

using Clock = std::chrono::steady_clock;

ztk::ByteView view(const std::string &s) { return {reinterpret_cast<const uint8_t *>(s.data()), s.size()}; }

struct Case {
  const char *name;
  std::string input;
  std::function<size_t(ztk::ByteView, uint8_t *)> run;
};

// Keeps the compiler from dropping a kernel's result.
volatile size_t gSink;

// Where a heap puts a buffer differs between C runtimes, and 64-byte stores
// that straddle cache lines run at two thirds of the speed in cache: input
// and output start on a 64-byte boundary on every platform alike.
uint8_t *aligned64(std::vector<uint8_t> &storage) {
  const auto at = reinterpret_cast<uintptr_t>(storage.data());
  return storage.data() + ((64 - at % 64) % 64);
}

double gigabytes_per_second(const Case &c, uint8_t *out, int rounds) {
  std::vector<uint8_t> storage(c.input.size() + 64);
  uint8_t *const copy = aligned64(storage);
  std::memcpy(copy, c.input.data(), c.input.size());
  const ztk::ByteView in{copy, c.input.size()};
  size_t calls = 1;
  for (;;) {  // enough calls for about 20 ms
    const auto t0 = Clock::now();
    for (size_t k = 0; k < calls; ++k) gSink = c.run(in, out);
    if (Clock::now() - t0 > std::chrono::milliseconds(20)) break;
    calls *= 2;
  }
  double best = 0;
  for (int r = 0; r < rounds; ++r) {
    const auto t0 = Clock::now();
    for (size_t k = 0; k < calls; ++k) gSink = c.run(in, out);
    const double seconds = std::chrono::duration<double>(Clock::now() - t0).count();
    const double rate = static_cast<double>(in.size) * static_cast<double>(calls) / seconds / 1e9;
    if (rate > best) best = rate;
  }
  return best;
}

}  // namespace

int main(int argc, char **argv) {
  using namespace ztk_bench;
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 7;
  const size_t n = 64 * 1024;
  const std::string mask = random_bytes(10, 256, 9);
  std::vector<Case> cases = {
      {"Hex encode", random_bytes(n),
       [](ztk::ByteView in, uint8_t *out) { ztk::hex::encode(in, reinterpret_cast<char *>(out)); return in.size; }},
      {"Hex decode", hex_of(random_bytes(n / 2)),
       [](ztk::ByteView in, uint8_t *out) { ztk::hex::decode(in, out); return in.size; }},
      {"XOR, mask of 10", random_bytes(n),
       [&mask](ztk::ByteView in, uint8_t *out) {
         ztk::bitwise::exclusive_or(in, view(mask), 3, false, out);
         return in.size;
       }},
      {"IsASCII", random_bytes(n, 95),
       [](ztk::ByteView in, uint8_t *) { return static_cast<size_t>(ztk::byte_checks::all_ascii(in)); }},
      {"ReplaceNonPrintable", random_bytes(n),
       [](ztk::ByteView in, uint8_t *out) { ztk::byte_checks::replace_non_printable(in, '.', out); return in.size; }},
      {"URL encode, text", clean_text(n),
       [](ztk::ByteView in, uint8_t *out) { return ztk::url::encode(in, 1, reinterpret_cast<char *>(out)); }},
      {"yEnc decode, random", random_bytes(n),
       [](ztk::ByteView in, uint8_t *out) { return ztk::yenc::decode(in, out); }},
      {"Count byte, text", clean_text(n), [](ztk::ByteView in, uint8_t *) { return ztk::scan::count(in, 'e'); }},
      {"CP1252 decode, text", clean_text(n),
       [](ztk::ByteView in, uint8_t *out) {
         ztk::codepage::decode(ztk::codepage::escapecharsCP1252, in, static_cast<uint16_t *>(static_cast<void *>(out)));
         return in.size;
       }},
  };
  std::vector<uint8_t> outStorage(4 * n + 1024 + 64);
  uint8_t *const out = aligned64(outStorage);
  for (const Case &c : cases) {
    for (int level = ztk::cpu::kPlain; level <= ztk::cpu::best(); ++level) {
      ztk::cpu::limit(static_cast<ztk::cpu::Level>(level));
      const double rate = gigabytes_per_second(c, out, rounds);
      std::printf("%s\t%s\t%.2f\n", c.name, ztk::cpu::name(static_cast<ztk::cpu::Level>(level)), rate);
    }
    ztk::cpu::limit(ztk::cpu::kTop);
  }
  return 0;
}
