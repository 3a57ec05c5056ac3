#include "frame/cpu.h"

#include <atomic>
#include <cstdint>

#include "frame/simd.h"

#if defined(__arm__) && ZTK_NEON_LEVEL
#include <sys/auxv.h>
#endif

namespace ztk::cpu {
namespace {

#if defined(__x86_64__) || defined(__i386__)
// The CPU's own report (cpuid) and, for the AVX families, whether the
// operating system saves their registers (XCR0). Read directly rather than
// through the compiler's feature helpers, which live in a compiler runtime
// that not every target's link has.
struct Registers {
  uint32_t a = 0, b = 0, c = 0, d = 0;
};
Registers cpuid(uint32_t leaf, uint32_t sub) {
  Registers r;
  __asm__("cpuid" : "=a"(r.a), "=b"(r.b), "=c"(r.c), "=d"(r.d) : "a"(leaf), "c"(sub));
  return r;
}
uint64_t xcr0() {
  uint32_t lo, hi;
  __asm__("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
  return uint64_t{hi} << 32 | lo;
}
bool bit(uint32_t word, int k) { return (word >> k & 1) != 0; }
#endif

Level detect() {
#if defined(__x86_64__) || defined(__i386__)
  const uint32_t top = cpuid(0, 0).a;
  const Registers one = top >= 1 ? cpuid(1, 0) : Registers{};
  const bool sse2 = bit(one.d, 26);
  if (!ZTK_WIDE_VECTORS || !bit(one.c, 27) || !bit(one.c, 28) || top < 7) return sse2 ? kSSE2 : kPlain;
  const uint64_t saved = xcr0();
  if ((saved & 0x6) != 0x6) return sse2 ? kSSE2 : kPlain;  // no AVX state (SSE and YMM)
  const Registers seven = cpuid(7, 0);
  // The AVX-512 state: opmasks and both halves of the 32 ZMM registers.
  if ((saved & 0xE6) == 0xE6 && bit(seven.b, 16) && bit(seven.b, 30) && bit(seven.b, 31)) {
    return bit(seven.c, 1) && bit(seven.c, 6) ? kAVX512VBMI2 : kAVX512;  // VBMI and VBMI2
  }
  if (bit(seven.b, 5)) return kAVX2;
  return sse2 ? kSSE2 : kPlain;
#elif defined(__aarch64__)
  return kSSE2;  // NEON is part of every arm64 CPU
#elif defined(__arm__) && ZTK_NEON_LEVEL
  // The kernel's report of the CPU (Linux: AT_HWCAP, where bit 12 is NEON).
  constexpr unsigned long kHwcapNeon = 1UL << 12;
  return (getauxval(AT_HWCAP) & kHwcapNeon) != 0 ? kSSE2 : kPlain;
#else
  return kPlain;
#endif
}

// Host threads may make their first calls at once. The level is kept in plain
// atomics rather than a function-local static, whose guarded initialisation
// some builds leave out (-fno-threadsafe-statics for macOS): threads that find
// it unknown each read the CPU and store the same answer.
constexpr int kUnknown = -1;
std::atomic<int> gBest{kUnknown};
std::atomic<int> gLimit{kTop};

}  // namespace

Level best() {
  int level = gBest.load(std::memory_order_relaxed);
  if (level == kUnknown) {
    level = detect();
    gBest.store(level, std::memory_order_relaxed);
  }
  return static_cast<Level>(level);
}

namespace detail {
std::atomic<int> gActive{kUnknown};

// Threads that find the level unknown each work it out and store the same.
Level resolve_active() {
  const Level top = best();
  const int cap = gLimit.load(std::memory_order_relaxed);
  const Level level = cap < top ? static_cast<Level>(cap) : top;
  gActive.store(level, std::memory_order_relaxed);
  return level;
}
}  // namespace detail

void limit(Level level) {
  gLimit.store(level, std::memory_order_relaxed);
  detail::resolve_active();
}

const char *name(Level level) {
  switch (level) {
    case kPlain: return "plain";
#if defined(__aarch64__) || defined(__arm__)
    case kSSE2: return "neon";
#else
    case kSSE2: return "sse2";
#endif
    case kAVX2: return "avx2";
    case kAVX512: return "avx512";
    case kAVX512VBMI2: return "avx512vbmi2";
  }
  return "?";
}

}  // namespace ztk::cpu
