#include "plugin_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "subhost.h"

namespace subhost {

PluginLibrary::PluginLibrary(const std::string &path) {
  char name[] = "/tmp/ztk-plugin-XXXXXX";
  const int fd = mkstemp(name);
  if (fd < 0) throw std::runtime_error("cannot make a temporary copy of the plugin");
  close(fd);
  copy_ = name;
  {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read plugin " + path);
    std::ofstream out(copy_, std::ios::binary | std::ios::trunc);
    out << in.rdbuf();
  }
  handle_ = dlopen(copy_.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    unlink(copy_.c_str());
    throw std::runtime_error(std::string("cannot load plugin: ") + dlerror());
  }
}

PluginLibrary::~PluginLibrary() {
  if (handle_ != nullptr) dlclose(handle_);
  unlink(copy_.c_str());
}

void PluginLibrary::start() {
  using MainFn = void (*)(REALresolver);
  auto main = reinterpret_cast<MainFn>(dlsym(handle_, "REALPluginMain"));
  if (main == nullptr) throw std::runtime_error("the plugin exports no REALPluginMain");
  main(Host::get().resolver());
}

bool PluginLibrary::fail_allocation(int64_t nth) {
  using HookFn = void (*)(int64_t);
  auto hook = reinterpret_cast<HookFn>(dlsym(handle_, "ZTKTestingFailAllocation"));
  if (hook == nullptr) return false;
  hook(nth);
  return true;
}

int64_t PluginLibrary::allocation_count() {
  using CountFn = int64_t (*)();
  auto count = reinterpret_cast<CountFn>(dlsym(handle_, "ZTKTestingAllocationCount"));
  return count != nullptr ? count() : -1;
}

}  // namespace subhost
