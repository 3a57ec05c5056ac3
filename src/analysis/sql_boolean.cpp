#include "analysis/sql_boolean.h"

#include <cstring>

#include "frame/registry.h"
#include "frame/simd.h"
#include "text/byte_scan.h"
#include "text/rb_text.h"

namespace ztk::sql {
namespace {

bool starts_word_with_t_or_f(ByteView in, size_t p) {
  const uint8_t c = in[p] | 0x20;
  return (c == 't' || c == 'f') && (p == 0 || is_separator(in[p - 1]));
}

// Whether `word` (lower case) starts at p and a separator follows it.
bool word_at(ByteView in, size_t p, const char *word, size_t len) {
  if (p + len >= in.size) return false;  // the end of the text is not a separator
  for (size_t k = 0; k < len; ++k) {
    if ((in[p + k] | 0x20) != static_cast<uint8_t>(word[k])) return false;
  }
  return is_separator(in[p + len]);
}

#if ZTK_X86
// Lanes whose byte is an event, given the bytes and the bytes one before.
inline __m128i events_sse2(__m128i v, __m128i prev) {
  const __m128i lower = _mm_or_si128(v, _mm_set1_epi8(0x20));
  const __m128i tf = _mm_or_si128(_mm_cmpeq_epi8(lower, _mm_set1_epi8('t')), _mm_cmpeq_epi8(lower, _mm_set1_epi8('f')));
  __m128i sep = _mm_cmplt_epi8(prev, _mm_set1_epi8(0x21));
  for (char c : {'(', ')', ',', ';'}) sep = _mm_or_si128(sep, _mm_cmpeq_epi8(prev, _mm_set1_epi8(c)));
  const __m128i quote = _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('\'')), _mm_cmpeq_epi8(v, _mm_set1_epi8('"')));
  return _mm_or_si128(quote, _mm_and_si128(tf, sep));
}

size_t find_event_sse2(ByteView in, size_t from) {
  size_t i = from;
  for (; i + 16 <= in.size; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in.data + i));
    const __m128i prev = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in.data + i - 1));
    if (const int m = _mm_movemask_epi8(events_sse2(v, prev))) return i + static_cast<size_t>(__builtin_ctz(m));
  }
  return i;
}

#if ZTK_WIDE_VECTORS
ZTK_AVX512 size_t find_event_avx512(ByteView in, size_t from) {
  const __m512i sep1 = _mm512_set1_epi8(0x21);
  size_t i = from;
  for (; i + 64 <= in.size; i += 64) {
    const __m512i v = _mm512_loadu_si512(in.data + i);
    const __m512i prev = _mm512_loadu_si512(in.data + i - 1);
    const __m512i lower = _mm512_or_si512(v, _mm512_set1_epi8(0x20));
    const __mmask64 tf = _mm512_cmpeq_epi8_mask(lower, _mm512_set1_epi8('t')) |
                         _mm512_cmpeq_epi8_mask(lower, _mm512_set1_epi8('f'));
    __mmask64 sep = _mm512_cmplt_epi8_mask(prev, sep1);
    for (char c : {'(', ')', ',', ';'}) sep |= _mm512_cmpeq_epi8_mask(prev, _mm512_set1_epi8(c));
    const __mmask64 quote = _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('\'')) |
                            _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('"'));
    if (const __mmask64 m = quote | (tf & sep)) return i + static_cast<size_t>(__builtin_ctzll(m));
  }
  return i;
}
#endif
#endif

}  // namespace

size_t find_event_reference(ByteView in, size_t from) {
  for (size_t p = from; p < in.size; ++p) {
    if (in[p] == '\'' || in[p] == '"' || starts_word_with_t_or_f(in, p)) return p;
  }
  return in.size;
}

size_t find_event(ByteView in, size_t from) {
  // The vector loops read the byte before each block, so they start at 1.
  // Events are often a few dozen bytes apart, so blocks are taken at once.
  if (from == 0 && in.size > 0 && (in[0] == '\'' || in[0] == '"' || starts_word_with_t_or_f(in, 0))) return 0;
  const size_t lead = from == 0 ? 1 : from;
  if (lead >= in.size) return in.size;
  return simd::run_levels(ZTK_IF_WIDE([&](size_t) { return find_event_avx512(in, lead); }),
                          [&](size_t) { return lead; },  // AVX2 leaves it to the 16-byte level
                          ZTK_IF_X86([&](size_t done) { return find_event_sse2(in, done > lead ? done : lead); }),
                          [&](size_t done) { return find_event_reference(in, done > lead ? done : lead); });
}

void replace_booleans(ByteView in, AsciiStringHandle &out) {
  static constexpr scan::ByteSet kSingle{{'\'', '\''}}, kDouble{{'"', '"'}};
  static const uint8_t kZero = '0', kOne = '1';
  size_t run = 0;  // start of the bytes not yet copied
  auto copy_to = [&](size_t end) {
    if (end > run) {
      if (uint8_t *o = out.take_bytes(static_cast<int64_t>(end - run))) std::memcpy(o, in.data + run, end - run);
    }
  };
  size_t p = 0;
  while (out.alive()) {
    p = find_event(in, p);
    if (p == in.size) break;
    const uint8_t c = in[p];
    if (c == '\'' || c == '"') {
      // Inside quotes only the closing quote of the same kind counts.
      p = scan::find(in, p + 1, c == '\'' ? kSingle : kDouble);
      if (p == in.size) break;
      ++p;
      continue;
    }
    const uint8_t *replacement = nullptr;
    size_t skip = 1;
    if (word_at(in, p, "false", 5)) {
      replacement = &kZero;
      skip = 5;
    } else if (word_at(in, p, "true", 4)) {
      replacement = &kOne;
      skip = 4;
    }
    if (replacement != nullptr) {
      copy_to(p);
      if (uint8_t *o = out.take_bytes(1)) *o = *replacement;
      run = p + skip;
    }
    p += skip;
  }
  copy_to(in.size);
}

}  // namespace ztk::sql

REALstring SQLReplaceBooleanZTK(REALstring sql) {
  if (sql == nullptr) return nullptr;
  rbText text(sql);
  const ztk::ByteView in = text.ascii();
  AsciiStringHandle out(int64_t(in.size) + 10);
  if (!out.alive()) return nullptr;
  ztk::sql::replace_booleans(in, out);
  return out.Finish(enc::kUTF8);
}
