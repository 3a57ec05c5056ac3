#include "frame/plugin_alloc.h"

#include <atomic>
#include <cstdlib>

#include "frame/cpu.h"
#include "frame/rb_types.h"

namespace {
#ifdef ZTK_TEST_HOOKS
// Allocation failure injection for the test build of the plugin:
// gFailAt > 0 fails the gFailAt-th allocation from now on (once),
// gFailAt < 0 fails every allocation, 0 fails none.
// Atomic, because host threads allocate at once; the n-th allocation is
// whichever thread's counts down to zero.
std::atomic<int64_t> gFailAt{0};
std::atomic<int64_t> gCount{0};

bool injected_failure() {
  gCount.fetch_add(1, std::memory_order_relaxed);
  int64_t at = gFailAt.load(std::memory_order_relaxed);
  if (at < 0) return true;
  while (at > 0) {
    if (gFailAt.compare_exchange_weak(at, at - 1, std::memory_order_relaxed)) return at == 1;
  }
  return false;
}
#else
constexpr bool injected_failure() { return false; }
#endif
}  // namespace

namespace ztk::mem {

void *alloc_zeroed(uint64_t n) {
  if (!size_ok(n) || injected_failure()) return nullptr;
  return std::calloc(1, static_cast<size_t>(n));
}

void *alloc(uint64_t n) {
  if (!size_ok(n) || injected_failure()) return nullptr;
  return std::malloc(static_cast<size_t>(n));
}

void *resize(void *p, uint64_t n) {
  if (!size_ok(n) || injected_failure()) return nullptr;
  return std::realloc(p, static_cast<size_t>(n));
}

void release(void *p) { std::free(p); }

}  // namespace ztk::mem

#ifdef ZTK_TEST_HOOKS
#if defined(_WIN32)
#define ZTK_TEST_EXPORT extern "C" __declspec(dllexport)
#else
#define ZTK_TEST_EXPORT extern "C" __attribute__((visibility("default")))
#endif
ZTK_TEST_EXPORT void ZTKTestingFailAllocation(int64_t nth) {
  gFailAt.store(nth, std::memory_order_relaxed);
}
ZTK_TEST_EXPORT int64_t ZTKTestingAllocationCount() { return gCount.load(std::memory_order_relaxed); }
// Caps the vector kernels at a level (0 plain .. 4 AVX-512 with VBMI2) and answers the
// level in force, so that tests run every method at every level the CPU has.
ZTK_TEST_EXPORT int ZTKTestingLimitLevel(int level) {
  ztk::cpu::limit(static_cast<ztk::cpu::Level>(level));
  return ztk::cpu::active();
}
#endif
