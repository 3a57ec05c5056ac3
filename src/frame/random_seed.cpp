#include "frame/random_seed.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace ztk::random {
namespace {

std::atomic<DWORD> gStartThread{0};
std::atomic<uint32_t> gThreadsSeeded{0};
#if defined(ZTK_TLS_BY_SYSTEM)
// The Windows arm64 library has no C runtime to lay out static thread-local
// storage: the flag lives in a slot the system hands out once, on the start
// thread before any method runs.
DWORD gSeededSlot = TLS_OUT_OF_INDEXES;
bool seeded() { return gSeededSlot == TLS_OUT_OF_INDEXES || TlsGetValue(gSeededSlot) != nullptr; }
void mark_seeded() { TlsSetValue(gSeededSlot, &gSeededSlot); }
#else
thread_local bool tSeeded = false;
bool seeded() { return tSeeded; }
void mark_seeded() { tSeeded = true; }
#endif

// Threads started in the same second must not share a seed: the thread's id
// and a count of seeded threads go into it with the time, mixed so that close
// inputs give unrelated seeds.
uint64_t mix(uint64_t x) {
  x += 0x9E3779B97F4A7C15u;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
  return x ^ (x >> 31);
}

}  // namespace

void note_start_thread() {
#if defined(ZTK_TLS_BY_SYSTEM)
  if (gSeededSlot == TLS_OUT_OF_INDEXES) gSeededSlot = TlsAlloc();
#endif
  gStartThread.store(GetCurrentThreadId(), std::memory_order_relaxed);
}

void prepare_thread() {
  if (seeded()) return;
  mark_seeded();
  const DWORD self = GetCurrentThreadId();
  if (self == gStartThread.load(std::memory_order_relaxed)) return;
  const uint64_t n = gThreadsSeeded.fetch_add(1, std::memory_order_relaxed);
  const uint64_t seed = mix(static_cast<uint64_t>(std::time(nullptr)) ^ mix(self) ^ mix(n << 32) ^ GetTickCount64());
  std::srand(static_cast<unsigned>(seed ^ (seed >> 32)));
}

}  // namespace ztk::random

#else

namespace ztk::random {
void note_start_thread() {}
void prepare_thread() {}
}  // namespace ztk::random

#endif
