#include "analysis/distances/levels.h"
#include "analysis/distances/masks.h"
#include "analysis/distances/words.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::distance::avx512 {
namespace {

// OsaWord's recurrence in the low lane of a vector register, where ternary
// logic does each three-input step in one instruction: the chain each column
// waits on (vp to vp) is seven operations instead of eleven.
class OsaLane {
 public:
  ZTK_AVX512 explicit OsaLane(size_t m)
      : vp_(_mm_set1_epi64x(-1)), vn_(_mm_setzero_si128()), d0_(_mm_setzero_si128()), pmOld_(_mm_setzero_si128()),
        valid_(~uint64_t{0} >> (64 - m)) {}

  ZTK_AVX512 void step(uint64_t pmBits) {
    const __m128i pm = _mm_set_epi64x(0, static_cast<long long>(pmBits));
    const __m128i tr = _mm_and_si128(_mm_slli_epi64(_mm_andnot_si128(d0_, pm), 1), pmOld_);
    const __m128i rest = _mm_ternarylogic_epi64(pm, vn_, tr, 0xFE);  // a | b | c
    const __m128i sum = _mm_add_epi64(_mm_and_si128(pm, vp_), vp_);
    d0_ = _mm_ternarylogic_epi64(sum, vp_, rest, 0xBE);              // (a ^ b) | c
    const __m128i hp = _mm_ternarylogic_epi64(vn_, d0_, vp_, 0xF1);  // a | ~(b | c)
    const __m128i hpShifted = _mm_or_si128(_mm_slli_epi64(hp, 1), _mm_cvtsi32_si128(1));
    const __m128i hnShifted = _mm_slli_epi64(_mm_and_si128(d0_, vp_), 1);
    vp_ = _mm_ternarylogic_epi64(hnShifted, d0_, hpShifted, 0xF1);
    vn_ = _mm_and_si128(hpShifted, d0_);
    pmOld_ = pm;
  }
  ZTK_AVX512 int64_t distance(size_t n) const {
    uint64_t vp, vn;  // stored rather than moved: the 32-bit target has no 64-bit move
    _mm_storel_epi64(reinterpret_cast<__m128i *>(&vp), vp_);
    _mm_storel_epi64(reinterpret_cast<__m128i *>(&vn), vn_);
    return static_cast<int64_t>(n) + bits_set(vp & valid_) - bits_set(vn & valid_);
  }

 private:
  __m128i vp_, vn_, d0_, pmOld_;
  uint64_t valid_;
};

struct V {
  using reg = __m512i;
  using Column = OsaLane;
  static constexpr size_t kLanes = 16, kMaxUnits = 64;
  ZTK_AVX512 static reg load_first(const uint32_t *p, size_t n) {
    return _mm512_maskz_loadu_epi32(static_cast<__mmask16>((uint32_t{1} << n) - 1), p);
  }
  ZTK_AVX512 static reg set1(uint32_t unit) { return _mm512_set1_epi32(static_cast<int>(unit)); }
  ZTK_AVX512 static uint64_t equal_bits(reg a, reg b) { return _mm512_cmpeq_epi32_mask(a, b); }
};

#define ZTK_DISTANCE_TARGET ZTK_AVX512
#include "analysis/distances/compared_pattern.inc"
#undef ZTK_DISTANCE_TARGET

}  // namespace

const Kernels kKernels = {jaro_winkler_with<jaro_short>, levenshtein_with<osa_short>};

}  // namespace ztk::distance::avx512
#endif  // ZTK_WIDE_VECTORS
