// The instruction sets the vector kernels may use, chosen once for the CPU at
// hand. Every dispatched kernel asks active() and takes the widest version it
// has at or below that level; the plain version is the reference every other
// level must equal byte for byte.
#pragma once

#include <atomic>

namespace ztk::cpu {

enum Level : int {
  kPlain = 0,   // one byte (or word) at a time, portable C++
  kSSE2 = 1,    // x86: the x86-64 baseline (and the 32-bit build's floor); arm64: NEON
  kAVX2 = 2,    // x86: AVX2
  kAVX512 = 3,  // x86: AVX-512 F + BW (+ VL)
  kAVX512VBMI2 = 4,  // x86: the above with VBMI and VBMI2 (byte permutes, compress and expand)
  kTop = kAVX512VBMI2,
};

namespace detail {
// active() once known, -1 before: one load on every kernel call.
extern std::atomic<int> gActive;
Level resolve_active();
}  // namespace detail

// The widest level this CPU and its operating system support (read once).
Level best();
// The level kernels use: best(), or lower while a test limits it.
inline Level active() {
  const int level = detail::gActive.load(std::memory_order_relaxed);
  return level >= 0 ? static_cast<Level>(level) : detail::resolve_active();
}
// Caps active() at `level` (a test build's hook; kTop lifts the cap).
void limit(Level level);
// "plain", "sse2" / "neon", "avx2", "avx512", "avx512vbmi2".
const char *name(Level level);

}  // namespace ztk::cpu
