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

HostCaller::HostCaller() { subhost::PluginLibrary::started_once(ZTK_PLUGIN_PATH); }

HostCaller::~HostCaller() {
  for (REALstring s : strings_) subhost::Host::get().release(s);
}

REALstring HostCaller::string(const std::string &bytes, uint32_t encoding) {
  strings_.push_back(subhost::Host::get().make_string(bytes, encoding));
  return strings_.back();
}

void HostCaller::call(const char *method, const std::vector<subhost::Value> &args) {
  const subhost::MethodInfo *m = subhost::find_method(method, args.size());
  subhost::Value r = subhost::Host::get().call(m->declaration, args);
  if (auto s = std::get_if<REALstring>(&r)) subhost::Host::get().release(*s);
  if (auto o = std::get_if<REALobject>(&r)) subhost::Host::get().release(*o);
  benchmark::DoNotOptimize(r);
}

}  // namespace ztk_bench
