// Every method called from one and from two threads at once through the
// host, as preemptive threads call it, each thread on texts of its own: the
// throughput at 1 KiB and 1 MiB of input, by wall-clock time through the host
// (bytes_per_second) and by each thread's own time in the plugin, the host's
// services taken out (plugin_GB/s, the threads' rates added up). The plugin
// takes no lock, so two threads on two cores should do nearly twice the work;
// bench/threads_table.py puts the ratios in a table. Random bytes draw from
// the C runtime's generator, which glibc serialises.
#include <cstring>
#include <map>
#include <mutex>
#include <tuple>

#include "bench_inputs.h"
#include "bench_support.h"
#include "invoke.h"
#include "plugin_library.h"
#include "timing.h"

using namespace ztk_bench;
using subhost::Value;

namespace {

// Prose with something for every method to do: entities, tags, escapes of
// each codec, SQL literals, accented letters.
std::string mixed_text(size_t n) {
  static const char kLine[] =
      "Caf\xC3\xA9 cr\xC3\xA8me & <b>bold</b> costs \xE2\x82\xAC""5; see the notes =3D at 50%25 \\n "
      "WHERE paid = true AND 'false' <> note; the quick brown fox jumps over the lazy dog.\r\n";
  return repeat(kLine, n);
}

// The arguments of one method for an input of n bytes, made once for each
// thread: threads working on documents of their own, whose reference counts
// they do not share.
class Inputs {
 public:
  static const std::vector<Value> &of(const subhost::MethodInfo &m, size_t n, int thread) {
    static std::mutex lock;
    static std::map<std::tuple<const subhost::MethodInfo *, size_t, int>, std::vector<Value>> made;
    const std::lock_guard<std::mutex> hold(lock);
    auto it = made.find({&m, n, thread});
    if (it == made.end()) it = made.emplace(std::make_tuple(&m, n, thread), make(m, n)).first;
    return it->second;
  }

 private:
  static std::vector<Value> make(const subhost::MethodInfo &m, size_t n) {
    if (n >= (64 << 10)) HostCaller::warm_heap();
    subhost::Host &host = subhost::Host::get();
    const std::string name = m.name();
    const std::string text = mixed_text(n);
    std::vector<Value> args;
    int strings = 0, integers = 0;
    for (char kind : m.params) {
      switch (kind) {
        case 'S': {
          std::string bytes = strings == 0 ? text : "ab";
          uint32_t encoding = enc::kUTF8;
          if (strings == 0 && name == "DecodingFromHexZTK") {
            bytes = hex_of(text.substr(0, n / 2));
            encoding = enc::kASCII;
          }
          if (strings == 0 && name == "_yDecodeStringZTK") {
            bytes = yenc_encoded(n);
            encoding = enc::kNone;
          }
          // Whole-text comparisons compare two equal texts to their end.
          if (strings == 1 && name.rfind("StrComp", 0) == 0) bytes = text;
          if (strings == 1 && name == "CountOccurancesZTK") bytes = "the";
          if (strings == 1 && name.rfind("String", 0) == 0) bytes = "secret key";
          args.push_back(host.make_string(bytes, encoding));
          ++strings;
          break;
        }
        case 'M': args.push_back(host.make_memoryblock(yenc_encoded(n))); break;
        case 'I': {
          RBInteger v = 0;
          if (name == "RandomBytesStringZTK") v = static_cast<RBInteger>(n);
          if (name == "ScientificStrZTK") v = 12;
          if (name == "GetUnicodeMarkersZTK") v = 1;
          if (name == "EncodingToQuotedPrintableZTK") v = 76;
          if (name == "EncodingToURLZTK" || name == "DecodingFromURLZTK" || name == "IsASCIIStringZTK") v = 1;
          if (name == "StringXORZTK" || name == "StringXOR2ZTK") v = 3;
          if (name == "ReplaceNonPrintableCharactersZTK") v = 46;
          if (name == "HexstringZTK") v = integers == 0 ? 2 : 16;
          args.push_back(v);
          ++integers;
          break;
        }
        case 'D': args.push_back(123456.789012); break;
        case 'B': args.push_back(static_cast<RBBoolean>(0)); break;
      }
    }
    return args;
  }
};

void call_method(benchmark::State &state, const subhost::MethodInfo *m) {
  static subhost::Host &host = [] () -> subhost::Host & {
    subhost::PluginLibrary::started_once(ZTK_PLUGIN_PATH);
    subhost::Host::get().settings.timeServices = true;
    subhost::timing::read_nanos();
    return subhost::Host::get();
  }();
  const size_t n = static_cast<size_t>(state.range(0));
  const std::vector<Value> &args = Inputs::of(*m, n, state.thread_index());
  const subhost::Host::ThreadTimes before = subhost::Host::threadTimes;
  for (auto _ : state) {
    Value r = host.call(m->declaration, args);
    if (auto s = std::get_if<REALstring>(&r)) host.release(*s);
    if (auto o = std::get_if<REALobject>(&r)) host.release(*o);
    benchmark::DoNotOptimize(r);
  }
  // A method that reads no text (the number formatting, the markers) counts
  // calls; the others count the bytes of their input (random bytes: those
  // made).
  if (n > 0) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(n));
  } else {
    state.SetItemsProcessed(state.iterations());
  }
  // This thread's time in the plugin: its calls less its services and the
  // clock reads around them (as HostCaller::report counts them).
  const subhost::Host::ThreadTimes &after = subhost::Host::threadTimes;
  const double calls = static_cast<double>(state.iterations());
  const double services = static_cast<double>(after.timedServices - before.timedServices);
  const double own = static_cast<double>((after.callNanos - before.callNanos) - (after.serviceNanos - before.serviceNanos)) -
                     subhost::timing::read_nanos() * (services + calls);
  if (own > 0) {
    // Per thread, added up over the threads: the rate the plugin's own code
    // reaches while the other thread runs too.
    if (n > 0) state.counters["plugin_bytes/s"] = calls * static_cast<double>(n) / own * 1e9;
    if (n == 0) state.counters["plugin_calls/s"] = calls / own * 1e9;
  }
}

// One benchmark per registry row: name/size/threads:k.
const bool kRegistered = [] {
  for (const subhost::MethodInfo &m : subhost::methods()) {
    std::string name = m.name() + "#" + std::to_string(m.row);
    auto *b = benchmark::RegisterBenchmark(name.c_str(), call_method, &m);
    const bool readsText = m.params.find_first_of("SM") != std::string::npos || m.name() == "RandomBytesStringZTK";
    if (readsText) {
      b->Arg(1 << 10)->Arg(1 << 20);
    } else {
      b->Arg(0);
    }
    b->Threads(1)->Threads(2)->UseRealTime();
  }
  return true;
}();

}  // namespace
