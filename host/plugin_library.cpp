#include "plugin_library.h"

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#include <unistd.h>
#endif

#include "invoke.h"
#include "macho_image.h"
#include "pe_image.h"
#include "subhost.h"

namespace subhost {
namespace {

#if defined(_WIN32)
void *open_library(const std::string &path) { return reinterpret_cast<void *>(LoadLibraryA(path.c_str())); }
void close_library(void *h) { FreeLibrary(reinterpret_cast<HMODULE>(h)); }
void *symbol(void *h, const char *name) {
  return reinterpret_cast<void *>(GetProcAddress(reinterpret_cast<HMODULE>(h), name));
}
std::string last_error() { return "error " + std::to_string(GetLastError()); }
long process_id() { return static_cast<long>(GetCurrentProcessId()); }
#else
void *open_library(const std::string &path) { return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); }
void close_library(void *h) { dlclose(h); }
void *symbol(void *h, const char *name) { return dlsym(h, name); }
std::string last_error() { return dlerror(); }
long process_id() { return static_cast<long>(getpid()); }
#endif

// A file name no other load in this or another process uses.
std::filesystem::path unique_copy_name(const std::filesystem::path &original) {
  static std::atomic<long> counter{0};
  const std::string name = "ztk-plugin-" + std::to_string(process_id()) + "-" + std::to_string(counter++) +
                           original.extension().string();
  return std::filesystem::temp_directory_path() / name;
}

}  // namespace

PluginLibrary::PluginLibrary(const std::string &path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path copy = unique_copy_name(path);
  if (!fs::copy_file(path, copy, fs::copy_options::overwrite_existing, error)) {
    throw std::runtime_error("cannot copy plugin " + path + ": " + error.message());
  }
  copy_ = copy.string();
  if (MachOImage::is_macho(copy_) || PEImage::is_pe(copy_)) {
    try {
      if (MachOImage::is_macho(copy_)) {
        image_ = std::make_unique<MachOImage>(copy_);
      } else {
        image_ = std::make_unique<PEImage>(copy_);
      }
    } catch (const std::exception &e) {
      fs::remove(copy_, error);
      throw std::runtime_error("cannot load plugin " + path + ": " + e.what());
    }
    // The image was read into memory of its own: the copy has served.
    fs::remove(copy_, error);
    return;
  }
  handle_ = open_library(copy_);
  if (handle_ == nullptr) {
    const std::string why = last_error();
    fs::remove(copy_, error);
    throw std::runtime_error("cannot load plugin " + path + ": " + why);
  }
#if !defined(_WIN32)
  // A mapped file outlives its name: removed now, no copy is left behind by
  // a library that lives as long as its process (started_once) or by a
  // process that ends without unwinding.
  fs::remove(copy_, error);
#endif
}

PluginLibrary::~PluginLibrary() {
  image_.reset();
  if (handle_ != nullptr) close_library(handle_);
  std::error_code error;
  std::filesystem::remove(copy_, error);
}

void PluginLibrary::start() {
  using MainFn = void (*)(REALresolver);
  auto main = reinterpret_cast<MainFn>(find("REALPluginMain"));
  if (main == nullptr) throw std::runtime_error("the plugin exports no REALPluginMain");
  // The methods it registers are called by its own convention for booleans.
  Host &host = Host::get();
  host.startingLibraryWidensBooleans = image_ != nullptr && image_->booleans_widened();
  main(host.resolver());
  host.startingLibraryWidensBooleans = false;
}

bool PluginLibrary::fail_allocation(int64_t nth) {
  using HookFn = void (*)(int64_t);
  auto hook = reinterpret_cast<HookFn>(find("ZTKTestingFailAllocation"));
  if (hook == nullptr) return false;
  hook(nth);
  return true;
}

int PluginLibrary::limit_level(int level) {
  using LimitFn = int (*)(int);
  auto hook = reinterpret_cast<LimitFn>(find("ZTKTestingLimitLevel"));
  return hook != nullptr ? hook(level) : -1;
}

int64_t PluginLibrary::allocation_count() {
  using CountFn = int64_t (*)();
  auto count = reinterpret_cast<CountFn>(find("ZTKTestingAllocationCount"));
  return count != nullptr ? count() : -1;
}

PluginLibrary &PluginLibrary::started_once(const std::string &path) {
  static PluginLibrary *library = [&] {
    Host::get().reset();
    auto *p = new PluginLibrary(path);  // lives as long as the process
    p->start();
    return p;
  }();
  return *library;
}

bool PluginLibrary::exports(const std::string &symbolName) const { return find(symbolName.c_str()) != nullptr; }

void *PluginLibrary::find(const char *name) const {
  if (image_ != nullptr) return image_->symbol(name);
  return symbol(handle_, name);
}

}  // namespace subhost
