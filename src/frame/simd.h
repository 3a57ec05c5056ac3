// What the vector kernels build on: which instruction sets this target can
// compile, and the function attributes each level's source gives its
// functions. A level's kernels run only when frame/dispatch.h chooses them.
#pragma once

#if defined(__x86_64__) || defined(__i386__)
#define ZTK_X86 1
#include <immintrin.h>
#define ZTK_AVX2 __attribute__((target("avx2")))
#define ZTK_AVX512 __attribute__((target("avx2,avx512f,avx512bw,avx512vl")))
#define ZTK_AVX512VBMI2 __attribute__((target("avx2,avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2")))
// On Windows gcc cannot align the stack for spilled 32- and 64-byte vectors
// (it may use aligned moves on a 16-byte aligned stack). The 64-bit build has
// the assembler write those moves unaligned (ZTK_UNALIGNED_VECTOR_MOVES, set
// by CMakeLists.txt with that option) and so takes every level; a Windows
// build without it stops at SSE2.
#if defined(_WIN32) && !defined(ZTK_UNALIGNED_VECTOR_MOVES)
#define ZTK_WIDE_VECTORS 0
#else
#define ZTK_WIDE_VECTORS 1
#endif
#else
#define ZTK_X86 0
#define ZTK_WIDE_VECTORS 0
#endif

// NEON stands at the 16-byte level. On arm64 it is part of the baseline. On
// 32-bit ARM it is optional: the build compiles only the kernels' neon.cpp
// sources for it (CMakeLists.txt, which also sets ZTK_ARM_NEON), and they run
// only when the CPU reports NEON (cpu::best). ZTK_NEON says whether this
// source may use NEON; ZTK_NEON_LEVEL whether the target has a NEON level.
#if defined(__aarch64__)
#define ZTK_NEON 1
#define ZTK_NEON_LEVEL 1
#include <arm_neon.h>
#elif defined(__arm__) && defined(ZTK_ARM_NEON)
#define ZTK_NEON_LEVEL 1
#if defined(__ARM_NEON)
#define ZTK_NEON 1
#include <arm_neon.h>
#include "frame/neon_a32.h"
#else
#define ZTK_NEON 0
#endif
#else
#define ZTK_NEON 0
#define ZTK_NEON_LEVEL 0
#endif

#include <cstddef>

#include "frame/cpu.h"

// Keeps a 64-bit word in a general register. Where AVX-512 is enabled but
// BMI is not, gcc does `~x & y` with kandn in the mask registers, and the
// moves there and back lengthen any chain that runs through x.
#if defined(__x86_64__) && defined(__GNUC__)
#define ZTK_IN_GENERAL_REGISTER(x) __asm__("" : "+r"(x))
#else
#define ZTK_IN_GENERAL_REGISTER(x) static_cast<void>(x)
#endif
