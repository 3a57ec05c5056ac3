#include "binary/hex_dump/levels.h"
#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::hexdump::vbmi2 {
namespace {

// One-byte groups and a one-byte spacer, up to 21 groups a line: a line's
// groups are one byte permutation of its digits (the spacer in the top lane),
// and every part of a line is a masked load and store, so nothing is read or
// written beyond the texts, the digits (digits and filler) and the output.
constexpr uint64_t kPermutedGroups = 21;

ZTK_AVX512VBMI2 char *permuted_lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  const uint64_t width = 2 * layout.linelen;
  const uint64_t section = 3 * layout.linelen - 1;
  // Output lane p holds digit 2 (p / 3) + p % 3, or the spacer (lane 63) every third lane; lanes past
  // the line's groups are not stored.
  alignas(64) static constexpr struct Order {
    uint8_t lane[64];
  } kOrder = [] {
    Order o{};
    for (int p = 0; p < 64; ++p) o.lane[p] = static_cast<uint8_t>(p % 3 == 2 ? 63 : 2 * (p / 3) + p % 3);
    return o;
  }();
  const __m512i index = _mm512_load_si512(kOrder.lane);
  const __mmask64 digitMask = _cvtu64_mask64(~uint64_t{0} >> (64 - width));
  const __mmask64 sectionMask = _cvtu64_mask64(~uint64_t{0} >> (64 - section));
  const uint64_t s = layout.linestart.size, e = layout.lineend.size;
  const __mmask64 startMask = _cvtu64_mask64(s == 0 ? 0 : ~uint64_t{0} >> (64 - s));
  const __mmask64 endMask = _cvtu64_mask64(e == 0 ? 0 : ~uint64_t{0} >> (64 - e));
  const __m512i start = _mm512_maskz_loadu_epi8(startMask, layout.linestart.data);
  const __m512i end = _mm512_maskz_loadu_epi8(endMask, layout.lineend.data);
  const __m512i spacer = _mm512_set1_epi8(static_cast<char>(layout.spacer[0]));
  for (uint64_t p = 0; p < digits; p += width) {
    _mm512_mask_storeu_epi8(out, startMask, start);
    out += s;
    const __m512i line = _mm512_mask_loadu_epi8(spacer, digitMask, hex + p);
    _mm512_mask_storeu_epi8(out, sectionMask, _mm512_maskz_permutexvar_epi8(sectionMask, index, line));
    out += section;
    _mm512_mask_storeu_epi8(out, endMask, end);
    out += e;
  }
  return out;
}

size_t lines(const char *hex, uint64_t digits, const Layout &layout, char *out) {
  if (layout.hexlen == 2 && layout.spacer.size == 1 && layout.linelen <= kPermutedGroups &&
      layout.linestart.size <= 64 && layout.lineend.size <= 64) {
    return static_cast<size_t>(permuted_lines(hex, digits, layout, out) - out);
  }
  return plain::lines(hex, digits, layout, out);
}

}  // namespace

const Kernels kKernels = {avx512::digits, lines, avx2::byte_lines};

}  // namespace ztk::hexdump::vbmi2
#endif  // ZTK_WIDE_VECTORS
