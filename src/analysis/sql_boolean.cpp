#include "analysis/sql_boolean.h"

#include <cstring>
#include <initializer_list>
#include <type_traits>

#include "frame/cpu.h"
#include "frame/registry.h"
#include "frame/simd.h"
#include "text/rb_text.h"

namespace ztk::sql {
namespace {

// Whether `word` (lower case) starts at p and a separator follows it.
bool word_at(ByteView in, size_t p, const char *word, size_t len) {
  if (p + len >= in.size) return false;  // the end of the text is not a separator
  for (size_t k = 0; k < len; ++k) {
    if ((in[p + k] | 0x20) != static_cast<uint8_t>(word[k])) return false;
  }
  return is_separator(in[p + len]);
}

bool is_event(ByteView in, size_t p, uint8_t quote) {
  if (quote != 0) return in[p] == quote;
  if (in[p] == '\'' || in[p] == '"') return true;
  if (p > 0 && !is_separator(in[p - 1])) return false;
  return word_at(in, p, "true", 4) || word_at(in, p, "false", 5);
}

// A vector level tests a block of lanes at once for every event: the byte
// before a block and the five after it are read too, so a block is only
// taken where all of them lie inside the text and at or after its second byte.
constexpr size_t kAhead = 5;

#if ZTK_X86
struct Sse2 {
  static constexpr size_t kLanes = 16;
  static __m128i lower(const uint8_t *at) {
    return _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(at)), _mm_set1_epi8(0x20));
  }
  static __m128i is(const uint8_t *at, char c) { return _mm_cmpeq_epi8(lower(at), _mm_set1_epi8(c)); }
  static __m128i separator(const uint8_t *at) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
    __m128i sep = _mm_cmplt_epi8(v, _mm_set1_epi8(0x21));
    for (char c : {'(', ')', ',', ';'}) sep = _mm_or_si128(sep, _mm_cmpeq_epi8(v, _mm_set1_epi8(c)));
    return sep;
  }
  static uint64_t events(const uint8_t *at, uint8_t quote) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
    if (quote != 0) return static_cast<uint64_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(char(quote)))));
    const __m128i quotes = _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('\'')), _mm_cmpeq_epi8(v, _mm_set1_epi8('"')));
    // "true" and "false" share nothing but their last letter; the "e" sits at
    // +3 or +4, followed by a separator.
    const __m128i t = _mm_and_si128(_mm_and_si128(is(at, 't'), is(at + 1, 'r')),
                                    _mm_and_si128(is(at + 2, 'u'), _mm_and_si128(is(at + 3, 'e'), separator(at + 4))));
    const __m128i f = _mm_and_si128(_mm_and_si128(_mm_and_si128(is(at, 'f'), is(at + 1, 'a')), is(at + 2, 'l')),
                                    _mm_and_si128(_mm_and_si128(is(at + 3, 's'), is(at + 4, 'e')), separator(at + 5)));
    const __m128i words = _mm_and_si128(_mm_or_si128(t, f), separator(at - 1));
    return static_cast<uint64_t>(_mm_movemask_epi8(_mm_or_si128(quotes, words)));
  }
};

#if ZTK_WIDE_VECTORS
struct Avx2 {
  static constexpr size_t kLanes = 32;
  ZTK_AVX2 static __m256i load(const uint8_t *at) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at)); }
  ZTK_AVX2 static __m256i is(const uint8_t *at, char c) {
    return _mm256_cmpeq_epi8(_mm256_or_si256(load(at), _mm256_set1_epi8(0x20)), _mm256_set1_epi8(c));
  }
  ZTK_AVX2 static __m256i separator(const uint8_t *at) {
    const __m256i v = load(at);
    __m256i sep = _mm256_cmpgt_epi8(_mm256_set1_epi8(0x21), v);
    for (char c : {'(', ')', ',', ';'}) sep = _mm256_or_si256(sep, _mm256_cmpeq_epi8(v, _mm256_set1_epi8(c)));
    return sep;
  }
  ZTK_AVX2 static uint64_t mask(__m256i v) { return static_cast<uint32_t>(_mm256_movemask_epi8(v)); }
  ZTK_AVX2 static uint64_t events(const uint8_t *at, uint8_t quote) {
    const __m256i v = load(at);
    if (quote != 0) return mask(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(char(quote))));
    const __m256i quotes = _mm256_or_si256(_mm256_cmpeq_epi8(v, _mm256_set1_epi8('\'')),
                                           _mm256_cmpeq_epi8(v, _mm256_set1_epi8('"')));
    // Most blocks hold neither a "t" nor an "f" starting a word: test that first.
    const __m256i t0 = is(at, 't'), f0 = is(at, 'f');
    const __m256i start = _mm256_and_si256(_mm256_or_si256(t0, f0), separator(at - 1));
    if (_mm256_testz_si256(start, start)) return mask(quotes);
    const __m256i t = _mm256_and_si256(_mm256_and_si256(t0, is(at + 1, 'r')),
                                       _mm256_and_si256(_mm256_and_si256(is(at + 2, 'u'), is(at + 3, 'e')), separator(at + 4)));
    const __m256i f = _mm256_and_si256(
        _mm256_and_si256(_mm256_and_si256(f0, is(at + 1, 'a')), _mm256_and_si256(is(at + 2, 'l'), is(at + 3, 's'))),
        _mm256_and_si256(is(at + 4, 'e'), separator(at + 5)));
    return mask(_mm256_or_si256(quotes, _mm256_and_si256(start, _mm256_or_si256(t, f))));
  }
};
#endif

// The first event at or after p (at least 1: a block reads the byte before
// it) that a block finds; `found` tells whether it did, else the return is
// where a narrower level goes on. Each level has its own loop so that its
// block test is inlined under its target.
size_t find_sse2(ByteView in, size_t p, uint8_t quote, bool &found) {
  for (; p + Sse2::kLanes + kAhead <= in.size; p += Sse2::kLanes) {
    if (const uint64_t m = Sse2::events(in.data + p, quote)) {
      found = true;
      return p + static_cast<size_t>(__builtin_ctzll(m));
    }
  }
  return p;
}
#if ZTK_WIDE_VECTORS
ZTK_AVX2 size_t find_avx2(ByteView in, size_t p, uint8_t quote, bool &found) {
  for (; p + Avx2::kLanes + kAhead <= in.size; p += Avx2::kLanes) {
    if (const uint64_t m = Avx2::events(in.data + p, quote)) {
      found = true;
      return p + static_cast<size_t>(__builtin_ctzll(m));
    }
  }
  return p;
}
#endif
#endif

size_t find_plain(ByteView in, size_t p, uint8_t quote) {
  while (p < in.size && !is_event(in, p, quote)) ++p;
  return p;
}

enum class Chain { kPlain, kSse2, kAvx2 };

template <Chain kChain>
inline size_t find_with(ByteView in, size_t p, uint8_t quote) {
  if constexpr (kChain == Chain::kPlain) {
    return find_plain(in, p, quote);
  } else {
#if ZTK_X86
    if (p == 0) {
      if (in.size == 0 || is_event(in, 0, quote)) return 0;
      p = 1;
    }
    bool found = false;
#if ZTK_WIDE_VECTORS
    if constexpr (kChain == Chain::kAvx2) {
      p = find_avx2(in, p, quote, found);
      if (found) return p;
    }
#endif
    p = find_sse2(in, p, quote, found);
    if (found) return p;
#endif
    return find_plain(in, p, quote);
  }
}

// The whole rewriting at one level, so an event costs one block test and no dispatch.
template <Chain kChain>
void rewrite(ByteView in, AsciiStringHandle &out) {
  static const uint8_t kZero = '0', kOne = '1';
  size_t run = 0;  // start of the bytes not yet copied
  auto copy_to = [&](size_t end) {
    if (end > run) {
      if (uint8_t *o = out.take_bytes(static_cast<int64_t>(end - run))) std::memcpy(o, in.data + run, end - run);
    }
  };
  size_t p = 0;
  while (out.alive()) {
    p = find_with<kChain>(in, p, 0);
    if (p == in.size) break;
    const uint8_t c = in[p];
    if (c == '\'' || c == '"') {
      // Inside quotes only the closing quote of the same kind counts.
      p = find_with<kChain>(in, p + 1, c);
      if (p == in.size) break;
      ++p;
      continue;
    }
    const bool is_false = (c | 0x20) == 'f';
    copy_to(p);
    if (uint8_t *o = out.take_bytes(1)) *o = is_false ? kZero : kOne;
    p += is_false ? 5 : 4;
    run = p;
  }
  copy_to(in.size);
}

template <class Body>
decltype(auto) at_active_level(Body &&body) {
  const cpu::Level level = cpu::active();
#if ZTK_WIDE_VECTORS
  if (level >= cpu::kAVX2) return body(std::integral_constant<Chain, Chain::kAvx2>{});
#endif
#if ZTK_X86
  if (level >= cpu::kSSE2) return body(std::integral_constant<Chain, Chain::kSse2>{});
#endif
  (void)level;
  return body(std::integral_constant<Chain, Chain::kPlain>{});
}

}  // namespace

size_t find_event_reference(ByteView in, size_t from) { return find_plain(in, from, 0); }

size_t find_event(ByteView in, size_t from) {
  return at_active_level([&](auto chain) { return find_with<decltype(chain)::value>(in, from, 0); });
}

void replace_booleans(ByteView in, AsciiStringHandle &out) {
  at_active_level([&](auto chain) { rewrite<decltype(chain)::value>(in, out); });
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
