#include "bench_support.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <random>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "invoke.h"
#include "plugin_library.h"
#include "timing.h"

namespace ztk_bench {

namespace {
// ZTK_BENCH_LEVEL=N (0 plain .. 4 VBMI2) runs the methods at that vector level
// or the highest below it the CPU has, through the library built with the
// level hook; unset, the shipping library runs at the CPU's best level.
// ZTK_BENCH_LIBRARY=PATH runs another build of the library (the probe build,
// when a level is asked for) under this same harness and host, so that two
// builds are compared with the host's heap and code as they are.
void start_library() {
  static const bool once = [] {
    const char *level = std::getenv("ZTK_BENCH_LEVEL");
    const char *library = std::getenv("ZTK_BENCH_LIBRARY");
    const bool other = library != nullptr && *library != '\0';
    if (level == nullptr || *level == '\0') {
      subhost::PluginLibrary::started_once(other ? library : ZTK_PLUGIN_PATH);
    } else {
      const int in_force =
          subhost::PluginLibrary::started_once(other ? library : ZTK_PROBE_PLUGIN_PATH).limit_level(std::atoi(level));
      benchmark::AddCustomContext("ztk_level", std::to_string(in_force));
    }
    return true;
  }();
  (void)once;
}
// With a level asked for, the library starts before the benchmarks do, so that
// the level in force is in the run's context (its header, or its JSON).
const bool kStartedForLevel = [] {
  const char *level = std::getenv("ZTK_BENCH_LEVEL");
  if (level != nullptr && *level != '\0') start_library();
  return true;
}();
}  // namespace

HostCaller::HostCaller() {
  start_library();
  subhost::Host::get().settings.timeServices = true;
  subhost::timing::read_nanos();
}

void HostCaller::warm_heap() {
#if defined(__GLIBC__)
  // An application that has run for a while reuses the memory it freed; by
  // default glibc hands blocks of a few megabytes back to the system at every
  // free, so each call would pay for touching fresh pages (about 0.4 GB/s here)
  // in the host and in the plugin alike. Set only for large inputs: these
  // settings make glibc's small allocations slower, and that is not what a
  // short call meets in an application either. Runs of short calls therefore
  // go in their own process (a filter on the size).
  static const bool once = [] {
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    return true;
  }();
  (void)once;
#endif
}

HostCaller::~HostCaller() {
  for (REALstring s : strings_) subhost::Host::get().release(s);
}

REALstring HostCaller::string(const std::string &bytes, uint32_t encoding) {
  if (bytes.size() >= (64 << 10)) warm_heap();
  strings_.push_back(subhost::Host::get().make_string(bytes, encoding));
  return strings_.back();
}

void HostCaller::call(const char *method, const std::vector<subhost::Value> &args) {
  subhost::Host &host = subhost::Host::get();
  const subhost::MethodInfo *m = subhost::find_method(method, args.size());
  const subhost::Host::ThreadTimes before = subhost::Host::threadTimes;
  subhost::Value r = host.call(m->declaration, args);
  const subhost::Host::ThreadTimes &after = subhost::Host::threadTimes;
  totalNanos_ += after.callNanos - before.callNanos;
  hostNanos_ += after.serviceNanos - before.serviceNanos;
  services_ += after.timedServices - before.timedServices;
  ++calls_;
  if (auto s = std::get_if<REALstring>(&r)) host.release(*s);
  if (auto o = std::get_if<REALobject>(&r)) host.release(*o);
  benchmark::DoNotOptimize(r);
}

void HostCaller::report(benchmark::State &state, int64_t bytesPerCall) {
  if (calls_ == 0) return;
  // A call's clock reads: one of the pair around it, and two per timed service,
  // of which one falls inside the service's own interval.
  const double calls = static_cast<double>(calls_), services = static_cast<double>(services_);
  const double clock = subhost::timing::read_nanos();
  const double plugin =
      std::max(0.0, (static_cast<double>(totalNanos_ - hostNanos_) - clock * (services + calls)) / calls);
  const double hostOwn = std::max(0.0, (static_cast<double>(hostNanos_) - clock * services) / calls);
  const double through = plugin + hostOwn;
  state.counters["plugin_ns"] = plugin;
  state.counters["services_ns"] = through - plugin;
  if (bytesPerCall > 0) {
    state.counters["plugin_GB/s"] = static_cast<double>(bytesPerCall) / plugin;
    state.counters["via_host_GB/s"] = static_cast<double>(bytesPerCall) / through;
  }
}

}  // namespace ztk_bench
