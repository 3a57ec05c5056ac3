// What the vector kernels build on: which families this target can compile,
// and the function attributes that let one source hold several levels. A
// kernel of a level runs only when cpu::active() reaches that level.
#pragma once

#if defined(__x86_64__) || defined(__i386__)
#define ZTK_X86 1
#include <immintrin.h>
#define ZTK_AVX2 __attribute__((target("avx2")))
#define ZTK_AVX512 __attribute__((target("avx2,avx512f,avx512bw,avx512vl")))
#define ZTK_AVX512VBMI2 __attribute__((target("avx2,avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2")))
// On Windows gcc cannot align the stack for spilled 32- and 64-byte vectors
// (it uses aligned moves on a 16-byte aligned stack), so Windows builds stop
// at SSE2.
#if defined(_WIN32)
#define ZTK_WIDE_VECTORS 0
#else
#define ZTK_WIDE_VECTORS 1
#endif
#else
#define ZTK_X86 0
#define ZTK_WIDE_VECTORS 0
#endif

// arm64: NEON is part of the baseline and stands at the 16-byte level.
#if defined(__aarch64__)
#define ZTK_NEON 1
#include <arm_neon.h>
#else
#define ZTK_NEON 0
#endif
