#include "binary/hex_dump/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::hexdump::sse2 {

// SSE2 has no byte lookup: a nibble's digit is '0' + n, 7 more from 10 on.
size_t digit_blocks(ByteView in, size_t from, char *out) {
  const __m128i low4 = _mm_set1_epi8(0x0F), nine = _mm_set1_epi8(9);
  const __m128i zero = _mm_set1_epi8('0'), seven = _mm_set1_epi8(7);
  auto digit = [&](__m128i n) {
    return _mm_add_epi8(_mm_add_epi8(n, zero), _mm_and_si128(_mm_cmpgt_epi8(n, nine), seven));
  };
  size_t i = from;
  for (; i + 16 <= in.size; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in.data + i));
    const __m128i hi = digit(_mm_and_si128(_mm_srli_epi16(v, 4), low4)), lo = digit(_mm_and_si128(v, low4));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 2 * i), _mm_unpacklo_epi8(hi, lo));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 2 * i + 16), _mm_unpackhi_epi8(hi, lo));
  }
  return i;
}

const Kernels kKernels = {
    [](ByteView in, char *out) { plain::digits_from(in, digit_blocks(in, 0, out), out); },
    plain::lines,
    plain::no_byte_lines,
};

}  // namespace ztk::hexdump::sse2
#endif  // ZTK_X86
