// How every kernel family reaches the code for the CPU at hand.
//
// A family declares one struct of function pointers (its `Kernels`) and
// defines one constant of it per instruction set it has, each in its own
// source beside the plain one (plain.cpp, sse2.cpp, avx2.cpp, avx512.cpp,
// vbmi2.cpp, neon.cpp). Its header declares the family's one `Dispatch`, which
// its kernels.cpp defines, and an inline `kernels()` that indexes it by the
// active level: the CPU is read once per process, the tables are fixed when
// the library is built, and cpu::limit is the one switch that lowers the level
// for tests and benchmarks. So a kernel call on the hot path of a short call
// costs two loads and the indirect call, with no call in between.
#pragma once

#include "frame/cpu.h"
#include "frame/simd.h"

namespace ztk::simd {

template <class Kernels>
class Dispatch {
 public:
  // One table per level, none null: a level the target does not compile, or
  // the family does not have, is given the table of the next level below it
  // (the macros below write that choice out). Filling the gaps here instead
  // would test addresses against null, which is no constant expression under
  // every sanitizer, and the object must be constant-initialized: a kernel
  // may run before any dynamic initializer has.
  constexpr Dispatch(const Kernels *plain, const Kernels *base, const Kernels *avx2, const Kernels *avx512,
                     const Kernels *vbmi2)
      : at_{plain, base, avx2, avx512, vbmi2} {}

  const Kernels &operator()() const { return *at_[cpu::active()]; }
  const Kernels &at(cpu::Level level) const { return *at_[level]; }

 private:
  const Kernels *at_[cpu::kTop + 1];
};

}  // namespace ztk::simd

// A level's table where the target compiles that level, the table below it
// elsewhere. The 16-byte level is SSE2 on x86 and NEON on ARM (on 32-bit ARM
// only when the CPU reports NEON: cpu::best() says so).
#if ZTK_X86
#define ZTK_ON_X86(table, below) (table)
#else
#define ZTK_ON_X86(table, below) (below)
#endif
#if ZTK_WIDE_VECTORS
#define ZTK_ON_WIDE(table, below) (table)
#else
#define ZTK_ON_WIDE(table, below) (below)
#endif
// The 16-byte level's table: SSE2 on x86, NEON on ARM, plain elsewhere.
#if ZTK_X86
#define ZTK_BASE_LEVEL(sse2, neon, plain) (sse2)
#elif ZTK_NEON_LEVEL
#define ZTK_BASE_LEVEL(sse2, neon, plain) (neon)
#else
#define ZTK_BASE_LEVEL(sse2, neon, plain) (plain)
#endif
