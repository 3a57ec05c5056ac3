// Every method called from one and from two threads at once through the
// host, as preemptive threads call it, each thread on texts of its own: the
// throughput at 1 KiB and 1 MiB of input, by wall-clock time through the host
// (bytes_per_second) and by each thread's own time in the plugin, the host's
// services taken out (plugin_GB/s, the threads' rates added up). The plugin
// takes no lock, so two threads on two cores should do nearly twice the work;
// bench/threads_table.py puts the ratios in a table. Random bytes draw from
// the C runtime's generator, which glibc serialises.
#include <cstring>

#include "bench_inputs.h"
#include "bench_support.h"
#include "method_args.h"
#include "invoke.h"
#include "plugin_library.h"
#include "timing.h"

using namespace ztk_bench;
using subhost::Value;

namespace {

void call_method(benchmark::State &state, const subhost::MethodInfo *m) {
  static subhost::Host &host = [] () -> subhost::Host & {
    subhost::PluginLibrary::started_once(ZTK_PLUGIN_PATH);
    subhost::Host::get().settings.timeServices = true;
    subhost::timing::read_nanos();
    return subhost::Host::get();
  }();
  const size_t n = static_cast<size_t>(state.range(0));
  // Each thread makes its own texts, before the clock starts: texts another
  // thread made sit in that thread's heap, where the host's allocations for
  // this thread's calls could share their cache lines.
  if (n >= (64 << 10)) HostCaller::warm_heap();
  const std::vector<Value> args = method_args(*m, n).args;
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
  for (const Value &v : args) {
    if (auto s = std::get_if<REALstring>(&v)) host.release(*s);
    if (auto o = std::get_if<REALobject>(&v)) host.release(*o);
  }
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
    if (m.params.find_first_of("SM") != std::string::npos || m.name() == "RandomBytesStringZTK") {
      b->Arg(1 << 10)->Arg(1 << 20);
    } else {
      b->Arg(0);
    }
    b->Threads(1)->Threads(2)->UseRealTime();
  }
  return true;
}();

}  // namespace
