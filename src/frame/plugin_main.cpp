// The plugin's entry point and its method table.
#include <ctime>
#include <cstdlib>
#include <iterator>
#include <type_traits>

#include "frame/host_api.h"
#include "frame/random_seed.h"
#include "frame/registry.h"

#if defined(_WIN32)
#define ZTK_EXPORT extern "C" __declspec(dllexport)
#else
#define ZTK_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {

// The only place a handler becomes a REALproc: the handler's type is checked
// against the signature its registry row states.
template <class Signature, Signature *Handler>
constexpr REALmethodDefinition method_row(const char *declaration) {
  return {reinterpret_cast<REALproc>(Handler), nullptr, declaration, kConsoleSafe, 0, nullptr};
}

REALmethodDefinition globalMethods[] = {
#define ZTK_METHOD(row, handler, decl, signature) method_row<ztk::sig::handler##_t, &handler>(decl),
#include "frame/methods.def"
#undef ZTK_METHOD
};
static_assert(std::size(globalMethods) == ztk::kMethodCount, "one record per registry row");

int interface_version(double version) {
  if (version >= 2013.03) return 12;
  if (version >= 2013.0) return 11;
  if (version >= 2012.0) return 10;
  return 9;  // older hosts, no version, or a version that is not a number
}

}  // namespace

ZTK_EXPORT void REALPluginMain(void *(*resolver)(const char *entryName)) {
  gResolver = resolver;
  auto registerVersion = ztk::host::lookup<ztk::host::RegisterPluginVersionFn>("RegisterPluginVersion");
  if (auto getVersion = ztk::host::lookup<ztk::host::GetRBVersionFn>("REALGetRBVersion")) {
    rbversion = getVersion();
  }
  if (registerVersion != nullptr) registerVersion(interface_version(rbversion));
  // Seeded only inside a built application, so that RandomBytesStringZTK is
  // not predictable there.
  if (REALinRuntime()) std::srand(static_cast<unsigned>(std::time(nullptr)));
  ztk::random::note_start_thread();
  for (REALmethodDefinition &record : globalMethods) REALRegisterMethod(&record);
}
