#include "binary/hex_dump/levels.h"
#include "frame/simd.h"
#include "frame/ascii.h"

#if ZTK_WIDE_VECTORS
namespace ztk::hexdump::avx512 {
namespace {

// Each nibble looks its digit up in the digit string (one copy per 128-bit
// lane); unpacking pairs the digits within lanes, and a permutation of
// 64-bit parts puts the lanes back in order.
ZTK_AVX512 size_t digit_blocks(ByteView in, char *out) {
  alignas(64) static constexpr struct Table {
    char digit[64];
  } kTable = [] {
    Table t{};
    for (int k = 0; k < 64; ++k) t.digit[k] = ascii::kHexDigits[k % 16];
    return t;
  }();
  const __m512i table = _mm512_load_si512(kTable.digit);
  const __m512i low4 = _mm512_set1_epi8(0x0F);
  const __m512i firstHalf = _mm512_set_epi64(11, 10, 3, 2, 9, 8, 1, 0);
  const __m512i secondHalf = _mm512_set_epi64(15, 14, 7, 6, 13, 12, 5, 4);
  size_t i = 0;
  for (; i + 64 <= in.size; i += 64) {
    const __m512i v = _mm512_loadu_si512(in.data + i);
    const __m512i hi = _mm512_shuffle_epi8(table, _mm512_and_si512(_mm512_srli_epi16(v, 4), low4));
    const __m512i lo = _mm512_shuffle_epi8(table, _mm512_and_si512(v, low4));
    const __m512i a = _mm512_unpacklo_epi8(hi, lo), b = _mm512_unpackhi_epi8(hi, lo);
    _mm512_storeu_si512(out + 2 * i, _mm512_permutex2var_epi64(a, firstHalf, b));
    _mm512_storeu_si512(out + 2 * i + 64, _mm512_permutex2var_epi64(a, secondHalf, b));
  }
  return i;
}

}  // namespace

void digits(ByteView in, char *out) { plain::digits_from(in, sse2::digit_blocks(in, digit_blocks(in, out), out), out); }

// No vector form of the lines below the byte permutations of VBMI.
const Kernels kKernels = {digits, plain::lines, avx2::byte_lines};

}  // namespace ztk::hexdump::avx512
#endif  // ZTK_WIDE_VECTORS
