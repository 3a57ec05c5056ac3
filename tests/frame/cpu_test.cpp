// The vector level read from the CPU's own report equals the one the
// compiler's feature helpers give (they check the same cpuid bits and the
// operating system's register saving), so no level runs that the CPU or the
// system lacks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "frame/cpu.h"
#include "frame/simd.h"

namespace {

#if defined(__x86_64__) || defined(__i386__)
ztk::cpu::Level level_by_compiler() {
  __builtin_cpu_init();
  if (!ZTK_WIDE_VECTORS) return __builtin_cpu_supports("sse2") ? ztk::cpu::kSSE2 : ztk::cpu::kPlain;
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl")) {
    return __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") ? ztk::cpu::kAVX512VBMI2
                                                                                         : ztk::cpu::kAVX512;
  }
  if (__builtin_cpu_supports("avx2")) return ztk::cpu::kAVX2;
  return __builtin_cpu_supports("sse2") ? ztk::cpu::kSSE2 : ztk::cpu::kPlain;
}

TEST(CpuLevel, EqualsWhatTheCompilersFeatureHelpersReport) {
  EXPECT_STREQ(ztk::cpu::name(ztk::cpu::best()), ztk::cpu::name(level_by_compiler()));
}
#endif

#if defined(__x86_64__)
// Every 64-bit x86 library, the Windows one included, carries the AVX2 and
// AVX-512 levels (built with the same flags as these tests); a build that
// silently fell back to SSE2 would still pass the test above.
TEST(CpuLevel, EveryX86_64BuildCarriesTheWideLevels) { EXPECT_TRUE(ZTK_WIDE_VECTORS); }
#endif

#if defined(__aarch64__)
TEST(CpuLevel, Arm64AlwaysHasNeon) { EXPECT_STREQ(ztk::cpu::name(ztk::cpu::best()), "neon"); }
#endif

#if defined(__arm__) && defined(__linux__)
// The auxiliary vector as the kernel (or qemu) hands it to /proc, read apart
// from the C library's getauxval: NEON is bit 12 of AT_HWCAP (16).
bool neon_in_proc_auxv() {
  FILE *f = std::fopen("/proc/self/auxv", "rb");
  if (f == nullptr) return false;
  uint32_t pair[2];
  bool neon = false;
  while (std::fread(pair, sizeof pair, 1, f) == 1 && pair[0] != 0) {
    if (pair[0] == 16) neon = (pair[1] >> 12 & 1) != 0;
  }
  std::fclose(f);
  return neon;
}

// Where the CPU has no NEON (qemu-arm -cpu cortex-r5f in the test command)
// only the plain level may run.
TEST(CpuLevel, Arm32TakesNeonOnlyWhereTheCpuReportsIt) {
  EXPECT_TRUE(ZTK_NEON_LEVEL);
  EXPECT_STREQ(ztk::cpu::name(ztk::cpu::best()), neon_in_proc_auxv() ? "neon" : "plain");
}
#endif

TEST(CpuLevel, LimitCapsTheActiveLevelAndIsUndone) {
  for (int level = ztk::cpu::kPlain; level <= ztk::cpu::kTop; ++level) {
    ztk::cpu::limit(static_cast<ztk::cpu::Level>(level));
    EXPECT_EQ(ztk::cpu::active(), std::min(static_cast<ztk::cpu::Level>(level), ztk::cpu::best()));
  }
  ztk::cpu::limit(ztk::cpu::kTop);
  EXPECT_EQ(ztk::cpu::active(), ztk::cpu::best());
}

}  // namespace
