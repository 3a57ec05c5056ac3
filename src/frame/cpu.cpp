#include "frame/cpu.h"

#include "frame/simd.h"

namespace ztk::cpu {
namespace {

Level detect() {
#if defined(__x86_64__) || defined(__i386__)
  // gcc and clang read cpuid and, for the AVX families, whether the operating
  // system saves the vector registers (XCR0), before reporting a feature.
  __builtin_cpu_init();
  if (!ZTK_WIDE_VECTORS) return __builtin_cpu_supports("sse2") ? kSSE2 : kPlain;
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512vl")) {
    const bool vbmi = __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2");
    return vbmi ? kAVX512VBMI2 : kAVX512;
  }
  if (__builtin_cpu_supports("avx2")) return kAVX2;
  if (__builtin_cpu_supports("sse2")) return kSSE2;
  return kPlain;
#elif defined(__aarch64__)
  return kSSE2;  // NEON is part of every arm64 CPU
#else
  return kPlain;
#endif
}

Level gLimit = kTop;

}  // namespace

Level best() {
  static const Level level = detect();
  return level;
}

Level active() { return gLimit < best() ? gLimit : best(); }

void limit(Level level) { gLimit = level; }

const char *name(Level level) {
  switch (level) {
    case kPlain: return "plain";
#if defined(__aarch64__)
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
