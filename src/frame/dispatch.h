// How every kernel family reaches the code for the CPU at hand.
//
// A family declares one struct of function pointers (its `Kernels`) and
// defines one constant of it per instruction set it has, each in its own
// source beside the plain one (plain.cpp, sse2.cpp, avx2.cpp, avx512.cpp,
// vbmi2.cpp, neon.cpp). Its `kernels()` indexes a `Dispatch` by the active
// level: the CPU is read once per process, the table is fixed when the
// library is built, and cpu::limit is the one switch that lowers the level for
// tests and benchmarks. A level the target does not compile, or the family
// does not have, takes the table of the next level below it.
#pragma once

#include "frame/cpu.h"
#include "frame/simd.h"

namespace ztk::simd {

template <class Kernels>
class Dispatch {
 public:
  // The tables per level; null where this target or family has none. (They
  // are kept as given: a test of an object's address against null is no
  // constant expression under every sanitizer, so the next level below is
  // found when a table is asked for.)
  constexpr Dispatch(const Kernels *plain, const Kernels *base, const Kernels *avx2, const Kernels *avx512,
                     const Kernels *vbmi2)
      : at_{plain, base, avx2, avx512, vbmi2} {}

  const Kernels &operator()() const { return at(cpu::active()); }
  const Kernels &at(cpu::Level level) const {
    int l = level;
    while (at_[l] == nullptr) --l;  // the plain table is always there
    return *at_[l];
  }

 private:
  const Kernels *at_[cpu::kTop + 1];
};

}  // namespace ztk::simd

// A level's table where the target compiles that level, null elsewhere. The
// 16-byte level is SSE2 on x86 and NEON on ARM (on 32-bit ARM only when the
// CPU reports NEON: cpu::best() says so).
#if ZTK_X86
#define ZTK_ON_X86(table) (table)
#else
#define ZTK_ON_X86(table) nullptr
#endif
#if ZTK_WIDE_VECTORS
#define ZTK_ON_WIDE(table) (table)
#else
#define ZTK_ON_WIDE(table) nullptr
#endif
#if ZTK_NEON_LEVEL
#define ZTK_ON_NEON(table) (table)
#else
#define ZTK_ON_NEON(table) nullptr
#endif
// The 16-byte level's table: SSE2 on x86, NEON on ARM, none elsewhere.
#if ZTK_X86
#define ZTK_BASE_LEVEL(sse2, neon) (sse2)
#elif ZTK_NEON_LEVEL
#define ZTK_BASE_LEVEL(sse2, neon) (neon)
#else
#define ZTK_BASE_LEVEL(sse2, neon) nullptr
#endif
