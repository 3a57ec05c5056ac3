#include "codecs/code_pages/levels.h"
#include "frame/simd.h"
#include "text/unit_scan/levels.h"

#if ZTK_WIDE_VECTORS
namespace ztk::codepage::vbmi2 {
namespace {

// 32 units a block: narrowed at once, the units the page drops (above 0xFF,
// and for a page of its own in 0x80-0x9F, those too) compressed away. Units
// above 0xFF are looked up in Windows-1252's slots, all lanes at once, when
// the page is that one; otherwise one at a time among its 32 entries for
// 0x80-0x9F. A whole
// 32-byte store at the output's end is safe: the output never runs ahead of
// the input, whose room it has. `ownC1`: the page maps 0x80-0x9F to
// characters of its own. Returns the units taken (a multiple of 32);
// `written` gets the bytes.
ZTK_AVX512VBMI2 size_t encode_blocks(const Table &table, bool ownC1, U16View units, uint8_t *out, size_t &written) {
  written = 0;
  if (units.size < 32) return 0;
  const __m512i latin1 = _mm512_set1_epi16(0xFF), c1 = _mm512_set1_epi16(0x80), c1Last = _mm512_set1_epi16(0x1F);
  const __m512i entries = _mm512_loadu_si512(table.data() + 0x80);
  const HighSlots &slots = kCP1252Slots;
  const bool slotted = slots.made && _mm512_cmpneq_epi16_mask(entries, _mm512_load_si512(slots.entries)) == 0;
  const __m512i multiplier = _mm512_set1_epi16(static_cast<short>(slots.multiplier));
  const __m512i slotUnits[2] = {_mm512_load_si512(slots.units), _mm512_load_si512(slots.units + 32)};
  const __m512i slotBytes[2] = {_mm512_load_si512(slots.bytes), _mm512_load_si512(slots.bytes + 32)};
  size_t i = 0, w = 0;
  for (; i + 32 <= units.size; i += 32) {
    __m512i v = _mm512_loadu_si512(units.data + i);
    const __mmask32 above = _mm512_cmpgt_epu16_mask(v, latin1);
    const __mmask32 dropped = ownC1 ? above | _mm512_cmple_epu16_mask(_mm512_sub_epi16(v, c1), c1Last) : above;
    if (dropped == 0) {  // the common block: every unit is its own byte
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + w), _mm512_maskz_cvtepi16_epi8(~__mmask32{0}, v));
      w += 32;
      continue;
    }
    __mmask32 keep = ~dropped;
    // A page without characters of its own in 0x80-0x9F holds no unit above 0xFF.
    if (ownC1 && above != 0) {
      if (slotted) {
        const __m512i slot = _mm512_srli_epi16(_mm512_mullo_epi16(v, multiplier), HighSlots::kShift);
        const __mmask32 hit = _mm512_mask_cmpeq_epi16_mask(
            above, _mm512_permutex2var_epi16(slotUnits[0], slot, slotUnits[1]), v);
        v = _mm512_mask_mov_epi16(v, hit, _mm512_permutex2var_epi16(slotBytes[0], slot, slotBytes[1]));
        keep |= hit;
      } else {
        for (__mmask32 m = above; m != 0; m &= m - 1) {
          // The first of the page's entries for 0x80-0x9F that holds the unit.
          const unsigned lane = static_cast<unsigned>(__builtin_ctz(m));
          const __mmask32 hit =
              _mm512_cmpeq_epi16_mask(_mm512_set1_epi16(static_cast<short>(units[i + lane])), entries);
          if (hit != 0) {
            v = _mm512_mask_set1_epi16(v, __mmask32{1} << lane, static_cast<short>(0x80 + __builtin_ctz(hit)));
            keep |= __mmask32{1} << lane;
          }
        }
      }
    }
    // (the unmasked narrowing trips gcc 12 on -Wmaybe-uninitialized)
    const __m256i bytes = _mm512_maskz_cvtepi16_epi8(~__mmask32{0}, v);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + w), _mm256_maskz_compress_epi8(keep, bytes));
    w += static_cast<size_t>(__builtin_popcount(keep));
  }
  written = w;
  return i;
}

// The blocks, then the rest in chunks with the widest unit scans.
size_t encode(const Table &table, U16View units, uint8_t *out) {
  const bool ownC1 = !identity_high(table);
  size_t written;
  const size_t done = encode_blocks(table, ownC1, units, out, written);
  return plain::encode_chunks(table, ownC1, units, done, written, out, units::avx512::kKernels);
}

}  // namespace

const Kernels kKernels = {encode, avx512::decode};

}  // namespace ztk::codepage::vbmi2
#endif  // ZTK_WIDE_VECTORS
