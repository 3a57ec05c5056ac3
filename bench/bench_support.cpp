#include "bench_support.h"

#include <random>

#include "invoke.h"
#include "plugin_library.h"

namespace ztk_bench {

std::string random_bytes(size_t n, int alphabet, unsigned seed) {
  std::mt19937 rng(seed);
  std::string s(n, '\0');
  for (char &c : s) c = static_cast<char>(alphabet == 256 ? rng() & 0xFF : 32 + rng() % alphabet);
  return s;
}

HostCaller::HostCaller() {
  subhost::PluginLibrary::started_once(ZTK_PLUGIN_PATH);
  subhost::Host::get().settings.timeServices = true;
}

HostCaller::~HostCaller() {
  for (REALstring s : strings_) subhost::Host::get().release(s);
}

REALstring HostCaller::string(const std::string &bytes, uint32_t encoding) {
  strings_.push_back(subhost::Host::get().make_string(bytes, encoding));
  return strings_.back();
}

void HostCaller::call(const char *method, const std::vector<subhost::Value> &args) {
  subhost::Host &host = subhost::Host::get();
  const subhost::MethodInfo *m = subhost::find_method(method, args.size());
  const int64_t hostBefore = host.ledger.serviceNanos, callBefore = host.ledger.callNanos;
  subhost::Value r = host.call(m->declaration, args);
  totalNanos_ += host.ledger.callNanos - callBefore;
  hostNanos_ += host.ledger.serviceNanos - hostBefore;
  ++calls_;
  if (auto s = std::get_if<REALstring>(&r)) host.release(*s);
  if (auto o = std::get_if<REALobject>(&r)) host.release(*o);
  benchmark::DoNotOptimize(r);
}

void HostCaller::report(benchmark::State &state, int64_t bytesPerCall) {
  if (calls_ == 0) return;
  const double plugin = static_cast<double>(totalNanos_ - hostNanos_) / static_cast<double>(calls_);
  const double through = static_cast<double>(totalNanos_) / static_cast<double>(calls_);
  state.counters["plugin_ns"] = plugin;
  state.counters["services_ns"] = through - plugin;
  if (bytesPerCall > 0) {
    state.counters["plugin_GB/s"] = static_cast<double>(bytesPerCall) / plugin;
    state.counters["via_host_GB/s"] = static_cast<double>(bytesPerCall) / through;
  }
}

}  // namespace ztk_bench
