#include "text/byte_scan.h"

#include <cstring>

#include "frame/cpu.h"
#include "frame/simd.h"

namespace ztk::scan {
namespace {

struct Stop {
  size_t at;
  bool found;  // at holds a byte of the set; otherwise fewer than a block remain from at
};

size_t find_plain(ByteView in, size_t i, const ByteSet &set) {
  while (i < in.size && !set.contains(in[i])) ++i;
  return i;
}

size_t copy_plain(ByteView in, size_t from, size_t i, const ByteSet &stop, uint8_t add, uint8_t *out) {
  for (; i < in.size && !stop.contains(in[i]); ++i) out[i - from] = static_cast<uint8_t>(in[i] + add);
  return i;
}

size_t count_plain(ByteView in, size_t i, uint8_t b) {
  size_t total = 0;
  for (; i < in.size; ++i) total += in[i] == b;
  return total;
}

size_t count_needle_plain(ByteView in, ByteView needle, size_t i, size_t next) {
  size_t total = 0;
  size_t p = i > next ? i : next;
  while (in.size >= needle.size && p <= in.size - needle.size) {
    if (std::memcmp(in.data + p, needle.data, needle.size) == 0) {
      ++total;
      p += needle.size;
    } else {
      ++p;
    }
  }
  return total;
}

#if ZTK_X86
namespace base {
#define ZTK_SCAN_TARGET
struct V {
  using reg = __m128i;
  using mask = __m128i;
  static constexpr size_t kWidth = 16;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = 0xFFFF;
  static reg set1(uint8_t b) { return _mm_set1_epi8(static_cast<char>(b)); }
  static reg load(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
  static void store(uint8_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
  static reg add(reg a, reg b) { return _mm_add_epi8(a, b); }
  static mask none() { return _mm_setzero_si128(); }
  // v - first, wrapped, is at most span exactly for the range's bytes.
  static mask in_range(reg v, reg first, reg span) {
    const reg d = _mm_sub_epi8(v, first);
    return _mm_cmpeq_epi8(_mm_min_epu8(d, span), d);
  }
  static mask either(mask a, mask b) { return _mm_or_si128(a, b); }
  static mask both(mask a, mask b) { return _mm_and_si128(a, b); }
  static mask equal(reg a, reg b) { return _mm_cmpeq_epi8(a, b); }
  static uint64_t bits(mask m) { return static_cast<uint32_t>(_mm_movemask_epi8(m)); }
  static reg count_equal(reg lanes, reg v, reg b) { return _mm_sub_epi8(lanes, _mm_cmpeq_epi8(v, b)); }
  static uint64_t sum(reg lanes) {
    const __m128i s = _mm_sad_epu8(lanes, _mm_setzero_si128());
    return static_cast<uint32_t>(_mm_cvtsi128_si32(s)) + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(s, 8)));
  }
};
#include "text/byte_scan_level.inc"
#undef ZTK_SCAN_TARGET
}  // namespace base

#if ZTK_WIDE_VECTORS
namespace avx2 {
#define ZTK_SCAN_TARGET ZTK_AVX2
struct V {
  using reg = __m256i;
  using mask = __m256i;
  static constexpr size_t kWidth = 32;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = 0xFFFFFFFF;
  ZTK_AVX2 static reg set1(uint8_t b) { return _mm256_set1_epi8(static_cast<char>(b)); }
  ZTK_AVX2 static reg load(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
  ZTK_AVX2 static void store(uint8_t *p, reg v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
  ZTK_AVX2 static reg add(reg a, reg b) { return _mm256_add_epi8(a, b); }
  ZTK_AVX2 static mask none() { return _mm256_setzero_si256(); }
  ZTK_AVX2 static mask in_range(reg v, reg first, reg span) {
    const reg d = _mm256_sub_epi8(v, first);
    return _mm256_cmpeq_epi8(_mm256_min_epu8(d, span), d);
  }
  ZTK_AVX2 static mask either(mask a, mask b) { return _mm256_or_si256(a, b); }
  ZTK_AVX2 static mask both(mask a, mask b) { return _mm256_and_si256(a, b); }
  ZTK_AVX2 static mask equal(reg a, reg b) { return _mm256_cmpeq_epi8(a, b); }
  ZTK_AVX2 static uint64_t bits(mask m) { return static_cast<uint32_t>(_mm256_movemask_epi8(m)); }
  ZTK_AVX2 static reg count_equal(reg lanes, reg v, reg b) { return _mm256_sub_epi8(lanes, _mm256_cmpeq_epi8(v, b)); }
  ZTK_AVX2 static uint64_t sum(reg lanes) {
    const __m256i s = _mm256_sad_epu8(lanes, _mm256_setzero_si256());
    const __m128i h = _mm_add_epi32(_mm256_castsi256_si128(s), _mm256_extracti128_si256(s, 1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(h)) + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(h, 8)));
  }
};
#include "text/byte_scan_level.inc"
#undef ZTK_SCAN_TARGET
}  // namespace avx2

namespace avx512 {
#define ZTK_SCAN_TARGET ZTK_AVX512
struct V {
  using reg = __m512i;
  using mask = __mmask64;
  static constexpr size_t kWidth = 64;
  static constexpr int kLaneBits = 1;
  static constexpr uint64_t kAll = ~uint64_t{0};
  ZTK_AVX512 static reg set1(uint8_t b) { return _mm512_set1_epi8(static_cast<char>(b)); }
  ZTK_AVX512 static reg load(const uint8_t *p) { return _mm512_loadu_si512(p); }
  ZTK_AVX512 static void store(uint8_t *p, reg v) { _mm512_storeu_si512(p, v); }
  ZTK_AVX512 static reg add(reg a, reg b) { return _mm512_add_epi8(a, b); }
  ZTK_AVX512 static mask none() { return 0; }
  ZTK_AVX512 static mask in_range(reg v, reg first, reg span) {
    return _mm512_cmple_epu8_mask(_mm512_sub_epi8(v, first), span);
  }
  ZTK_AVX512 static mask either(mask a, mask b) { return a | b; }
  ZTK_AVX512 static mask both(mask a, mask b) { return a & b; }
  ZTK_AVX512 static mask equal(reg a, reg b) { return _mm512_cmpeq_epi8_mask(a, b); }
  ZTK_AVX512 static uint64_t bits(mask m) { return m; }
  ZTK_AVX512 static reg count_equal(reg lanes, reg v, reg b) {
    return _mm512_mask_add_epi8(lanes, _mm512_cmpeq_epi8_mask(v, b), lanes, _mm512_set1_epi8(1));
  }
  ZTK_AVX512 static uint64_t sum(reg lanes) {
    // By hand: gcc 12's own reduction reads an undefined register (a false warning).
    const __m512i s = _mm512_sad_epu8(lanes, _mm512_setzero_si512());
    const __m256i h = _mm256_add_epi64(_mm512_maskz_extracti64x4_epi64(0xFF, s, 0), _mm512_maskz_extracti64x4_epi64(0xFF, s, 1));
    const __m128i q = _mm_add_epi64(_mm256_castsi256_si128(h), _mm256_extracti128_si256(h, 1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(q)) + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(q, 8)));
  }
};
#include "text/byte_scan_level.inc"
#undef ZTK_SCAN_TARGET

// With VBMI2 the bytes a block keeps are packed by one instruction, however
// many escapes it holds. The same contract as unescape above.
ZTK_AVX512VBMI2 size_t unescape_packed(ByteView in, size_t i, uint8_t escape, uint8_t add, uint8_t escaped_add,
                                       uint8_t *&out, const uint8_t *end) {
  const __m512i esc = _mm512_set1_epi8(static_cast<char>(escape));
  const __m512i plus = _mm512_set1_epi8(static_cast<char>(add));
  const __m512i more = _mm512_set1_epi8(static_cast<char>(escaped_add));
  uint8_t *o = out;
  while (i + 64 <= in.size && end - o >= 64) {
    const __m512i v = _mm512_loadu_si512(in.data + i);
    const uint64_t m = _mm512_cmpeq_epi8_mask(v, esc);
    // An escape takes the next byte even when that is an escape too, so in a
    // run of escapes only every other one is real.
    uint64_t real = m;
    if ((m & m << 1) != 0) {
      real = 0;
      for (uint64_t r = m; r != 0;) {
        const unsigned p = static_cast<unsigned>(__builtin_ctzll(r));
        real |= uint64_t{1} << p;
        r = p >= 62 ? 0 : r & (~uint64_t{0} << (p + 2));
      }
    }
    size_t limit = 64;
    uint64_t keep = ~real;
    if (real >> 63 != 0) {
      limit = 63;  // its byte is in the next block: start there from the escape
      keep &= ~uint64_t{0} >> 1;
      real &= ~uint64_t{0} >> 1;
    }
    __m512i t = _mm512_add_epi8(v, plus);
    t = _mm512_mask_add_epi8(t, real << 1, t, more);
    _mm512_storeu_si512(o, _mm512_maskz_compress_epi8(keep, t));
    o += __builtin_popcountll(keep);
    i += limit;
  }
  out = o;
  return i;
}
}  // namespace avx512
#endif  // ZTK_WIDE_VECTORS
#endif  // ZTK_X86

#if ZTK_NEON
namespace base {
#define ZTK_SCAN_TARGET
struct V {
  using reg = uint8x16_t;
  using mask = uint8x16_t;
  static constexpr size_t kWidth = 16;
  // NEON has no byte mask move: narrowing each 16-bit pair by 4 bits gives
  // four bits per lane, of which the top one is kept.
  static constexpr int kLaneBits = 4;
  static constexpr uint64_t kAll = 0x8888888888888888ULL;
  static reg set1(uint8_t b) { return vdupq_n_u8(b); }
  static reg load(const uint8_t *p) { return vld1q_u8(p); }
  static void store(uint8_t *p, reg v) { vst1q_u8(p, v); }
  static reg add(reg a, reg b) { return vaddq_u8(a, b); }
  static mask none() { return vdupq_n_u8(0); }
  static mask in_range(reg v, reg first, reg span) { return vcleq_u8(vsubq_u8(v, first), span); }
  static mask either(mask a, mask b) { return vorrq_u8(a, b); }
  static mask both(mask a, mask b) { return vandq_u8(a, b); }
  static mask equal(reg a, reg b) { return vceqq_u8(a, b); }
  static uint64_t bits(mask m) {
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(m), 4)), 0) & kAll;
  }
  static reg count_equal(reg lanes, reg v, reg b) { return vsubq_u8(lanes, vceqq_u8(v, b)); }
  static uint64_t sum(reg lanes) { return vaddlvq_u8(lanes); }
};
#include "text/byte_scan_level.inc"
#undef ZTK_SCAN_TARGET
}  // namespace base
#endif  // ZTK_NEON

#define ZTK_SCAN_BASE (ZTK_X86 || ZTK_NEON)

}  // namespace

// Each entry point runs the widest level at or below the active one over whole
// blocks, then the 16-byte level, then the plain loop over what remains.

size_t find_blocks(ByteView in, size_t from, const ByteSet &set) {
  Stop s{from, false};
  const cpu::Level level = cpu::active();
  // Levels whose block is longer than what is left are skipped: setting up
  // their tests would cost more than the few bytes.
#if ZTK_WIDE_VECTORS
  if (in.size - from < 32) {
  } else if (level >= cpu::kAVX512) {
    s = avx512::find(in, s.at, set);
  } else if (level == cpu::kAVX2) {
    s = avx2::find(in, s.at, set);
  }
  if (s.found) return s.at;
#endif
#if ZTK_SCAN_BASE
  if (level >= cpu::kSSE2 && in.size - s.at >= 16) {
    s = base::find(in, s.at, set);
    if (s.found) return s.at;
  }
#endif
  (void)level;
  return find_plain(in, s.at, set);
}

size_t copy_until_blocks(ByteView in, size_t from, size_t at, const ByteSet &stop, uint8_t add, uint8_t *out) {
  Stop s{at, false};
  const cpu::Level level = cpu::active();
#if ZTK_WIDE_VECTORS
  if (in.size - at < 32) {
  } else if (level >= cpu::kAVX512) {
    s = avx512::copy_until(in, from, s.at, stop, add, out);
  } else if (level == cpu::kAVX2) {
    s = avx2::copy_until(in, from, s.at, stop, add, out);
  }
  if (s.found) return s.at;
#endif
#if ZTK_SCAN_BASE
  if (level >= cpu::kSSE2 && in.size - s.at >= 16) {
    s = base::copy_until(in, from, s.at, stop, add, out);
    if (s.found) return s.at;
  }
#endif
  (void)level;
  return copy_plain(in, from, s.at, stop, add, out);
}

size_t count(ByteView in, uint8_t b) {
  size_t total = 0, i = 0;
  const cpu::Level level = cpu::active();
#if ZTK_WIDE_VECTORS
  if (level >= cpu::kAVX512) {
    i = avx512::count(in, i, b, total);
  } else if (level == cpu::kAVX2) {
    i = avx2::count(in, i, b, total);
  }
#endif
#if ZTK_SCAN_BASE
  if (level >= cpu::kSSE2) i = base::count(in, i, b, total);
#endif
  (void)level;
  return total + count_plain(in, i, b);
}

size_t count_needle(ByteView in, ByteView needle) {
  if (needle.size == 0 || in.size < needle.size) return 0;
  if (needle.size == 1) return count(in, needle[0]);
  size_t total = 0, i = 0, next = 0;
  const cpu::Level level = cpu::active();
#if ZTK_WIDE_VECTORS
  if (level >= cpu::kAVX512) {
    i = avx512::count_needle(in, needle, i, next, total);
  } else if (level == cpu::kAVX2) {
    i = avx2::count_needle(in, needle, i, next, total);
  }
#endif
#if ZTK_SCAN_BASE
  if (level >= cpu::kSSE2) i = base::count_needle(in, needle, i, next, total);
#endif
  (void)level;
  return total + count_needle_plain(in, needle, i, next);
}

namespace {
size_t unescape_plain(ByteView in, size_t i, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *&out) {
  uint8_t *o = out;
  for (; i < in.size; ++i) {
    uint8_t c = in[i];
    if (c == escape) {
      if (++i == in.size) break;  // a final escape stands for nothing
      c = static_cast<uint8_t>(in[i] + escaped_add);
    }
    *o++ = static_cast<uint8_t>(c + add);
  }
  out = o;
  return i;
}
}  // namespace

size_t unescape(ByteView in, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *out) {
  uint8_t *o = out;
  const uint8_t *const end = out + in.size;
  size_t i = 0;
  const cpu::Level level = cpu::active();
#if ZTK_WIDE_VECTORS
  if (level >= cpu::kAVX512VBMI2) {
    i = avx512::unescape_packed(in, i, escape, add, escaped_add, o, end);
  } else if (level == cpu::kAVX512) {
    i = avx512::unescape(in, i, escape, add, escaped_add, o, end);
  } else if (level == cpu::kAVX2) {
    i = avx2::unescape(in, i, escape, add, escaped_add, o, end);
  }
#endif
#if ZTK_SCAN_BASE
  if (level >= cpu::kSSE2) i = base::unescape(in, i, escape, add, escaped_add, o, end);
#endif
  (void)level;
  (void)end;
  unescape_plain(in, i, escape, add, escaped_add, o);
  return static_cast<size_t>(o - out);
}

size_t unescape_reference(ByteView in, uint8_t escape, uint8_t add, uint8_t escaped_add, uint8_t *out) {
  uint8_t *o = out;
  unescape_plain(in, 0, escape, add, escaped_add, o);
  return static_cast<size_t>(o - out);
}

size_t find_reference(ByteView in, size_t from, const ByteSet &set) { return find_plain(in, from, set); }
size_t copy_until_reference(ByteView in, size_t from, const ByteSet &stop, uint8_t add, uint8_t *out) {
  return copy_plain(in, from, from, stop, add, out);
}
size_t count_reference(ByteView in, uint8_t b) { return count_plain(in, 0, b); }
size_t count_needle_reference(ByteView in, ByteView needle) {
  if (needle.size == 0) return 0;
  return count_needle_plain(in, needle, 0, 0);
}

}  // namespace ztk::scan
