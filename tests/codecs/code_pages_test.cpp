#include "codecs/code_pages.h"

#include <random>
#include <string>
#include <vector>

#include "convert.h"
#include "host_test.h"
#include "kernel_levels.h"
#include "../../bench/bench_inputs.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(EncodingToISO8859ZTK);
ZTK_GENERATION_SUITE(EncodingToCP1252ZTK);
ZTK_GENERATION_SUITE(DecodingFromCodePageZTK);

TEST_P(EncodingToISO8859ZTK, KeepsLatin1AndDropsTheRest) {
  Result r = call("EncodingToISO8859ZTK", {S("\xC3\xA9\xE2\x82\xAC" "a")});
  EXPECT_EQ(r.bytes, "\xE9" "a");
  EXPECT_EQ(r.encoding, enc::kNone);
  r = call("EncodingToISO8859ZTK", {S("hello")});
  EXPECT_EQ(r.bytes, "hello");
  EXPECT_EQ(r.encoding, enc::kASCII);
  EXPECT_TRUE(call("EncodingToISO8859ZTK", {U16(u"\u20AC\U0001F600")}).null);
  EXPECT_EQ(call("EncodingToISO8859ZTK", {U16(u"\u0085")}).bytes, "\x85");
}

TEST_P(EncodingToCP1252ZTK, MapsEuroAndDropsUndefined) {
  Result r = call("EncodingToCP1252ZTK", {S("\xC3\xA9\xE2\x82\xAC" "a")});
  EXPECT_EQ(r.bytes, "\xE9\x80" "a");
  EXPECT_EQ(r.encoding, enc::kNone);
  EXPECT_EQ(call("EncodingToCP1252ZTK", {S("hello")}).encoding, enc::kASCII);
  EXPECT_TRUE(call("EncodingToCP1252ZTK", {U16(u"\u0085\u0100")}).null) << "C1 controls are not in the page";
  EXPECT_EQ(call("EncodingToCP1252ZTK", {U16(std::u16string(1, u'\0'))}).bytes, std::string(1, '\0'));
}

TEST_P(EncodingToCP1252ZTK, ShortTextsAreConverted) {
  EXPECT_EQ(call("EncodingToCP1252ZTK", {S("\xE2\x82\xAC")}).bytes, "\x80");
  EXPECT_EQ(call("EncodingToISO8859ZTK", {S("\xC3\xA9" "e")}).bytes, "\xE9" "e");
  EXPECT_TRUE(call("EncodingToCP1252ZTK", {NullString()}).null);
  EXPECT_TRUE(call("EncodingToCP1252ZTK", {Empty()}).null);
}

TEST_P(DecodingFromCodePageZTK, DecodesEveryByte) {
  Result r = call("DecodingFromISO8859ZTK", {S("\x41\xE9\xFF", enc::kNone)});
  EXPECT_EQ(r.bytes, "A\xC3\xA9\xC3\xBF");
  EXPECT_EQ(r.encoding, enc::kUTF8);
  EXPECT_EQ(call("DecodingFromCP1252ZTK", {S("\x80\x9F", enc::kNone)}).bytes, "\xE2\x82\xAC\xC5\xB8");
  EXPECT_EQ(call("DecodingFromCP1252ZTK", {S("\x81", enc::kNone)}).bytes, std::string(1, '\0'));
  EXPECT_TRUE(call("DecodingFromCP1252ZTK", {NullString()}).null);
  EXPECT_TRUE(call("DecodingFromISO8859ZTK", {Empty()}).null);
}

TEST_P(DecodingFromCodePageZTK, EncodingUndoesDecodingButForUndefinedBytes) {
  std::string all;
  for (int b = 1; b < 256; ++b) all += static_cast<char>(b);
  for (const char *page : {"ISO8859", "CP1252"}) {
    SCOPED_TRACE(page);
    const std::string text = call(std::string("DecodingFrom") + page + "ZTK", {S(all, enc::kNone)}).bytes;
    std::string expected = all;
    if (std::string(page) == "CP1252") {
      for (char &b : expected) {
        if (b == '\x81' || b == '\x8D' || b == '\x8F' || b == '\x90' || b == '\x9D') b = '\0';
      }
    }
    EXPECT_EQ(call(std::string("EncodingTo") + page + "ZTK", {S(text)}).bytes, expected);
  }
}

TEST_P(DecodingFromCodePageZTK, FailuresGiveEmptyString) {
  REALstring s = S("abc", enc::kNone);
  for (const char *method : {"DecodingFromCP1252ZTK", "EncodingToCP1252ZTK", "DecodingFromISO8859ZTK",
                             "EncodingToISO8859ZTK"}) {
    expect_failures_give_empty(method, {s}, "abc", 3);
  }
}

TEST(CodePageTables, Windows1252MatchesTheSystemConverter) {
  for (int b = 0; b < 256; ++b) {
    const std::u32string cp = subhost::decode(std::string(1, static_cast<char>(b)), enc::kWindows1252);
    const uint16_t expected = cp[0] == 0xFFFD ? 0 : static_cast<uint16_t>(cp[0]);
    EXPECT_EQ(ztk::codepage::escapecharsCP1252[b], expected) << b;
    EXPECT_EQ(ztk::codepage::escapecharsISO8859[b], b);
  }
}

TEST(CodePageTables, ReverseSearchEqualsAScanFromEntryZero) {
  for (const auto *table : {&ztk::codepage::escapecharsISO8859, &ztk::codepage::escapecharsCP1252}) {
    for (uint32_t u = 0; u < 0x10000; ++u) {
      int scan = -1;
      for (int b = 0; b < 256 && scan < 0; ++b) {
        if ((*table)[b] == u) scan = b;
      }
      ASSERT_EQ(ztk::codepage::find_byte(*table, static_cast<uint16_t>(u)), scan) << u;
    }
  }
}

// Runs of units the page holds at their own value are narrowed (or widened)
// in blocks; the rest keep the table's rule. Both must give what the table
// gives one unit (or byte) at a time, at every level.
TEST(CodePageKernels, EqualTheTableOneUnitAtATimeAtEveryLevel) {
  std::mt19937 rng(31);
  // Units either side of every range boundary, and each of Windows-1252's
  // characters above 0xFF with its neighbours.
  std::vector<char16_t> kUnits = {0,    u'a', 0x7F, 0x80,  0x81,   0x8D,   0x8F,  0x90,
                                  0x9D, 0x9F, 0xA0, 0xE9, 0xFF, 0x100, 0xD83D, 0xDE00, 0xFFFF};
  for (int b = 0x80; b <= 0x9F; ++b) {
    const char16_t unit = ztk::codepage::escapecharsCP1252[b];
    if (unit > 0xFF) kUnits.insert(kUnits.end(), {unit, static_cast<char16_t>(unit - 1), static_cast<char16_t>(unit + 1)});
  }
  // A page of characters above 0xFF that Windows-1252 does not hold, one of
  // them twice: its first byte is the one found.
  ztk::codepage::Table other = ztk::codepage::escapecharsCP1252;
  other[0x81] = 0x20AC;
  other[0x8D] = 0x0101;
  kUnits.push_back(0x0101);
  // Lengths either side of the encoder's chunks of 1024 units too.
  std::vector<size_t> lengths;
  for (size_t n = 0; n <= 200; n += 1 + n / 20) lengths.push_back(n);
  lengths.insert(lengths.end(), {1023, 1024, 1025, 2049, 3000});
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n : lengths) {
      for (int density : {0, 3, 30}) {
        std::u16string text(n, u'x');
        std::string bytes(n, 'x');
        for (size_t i = 0; i < n; ++i) {
          if (density > 0 && rng() % static_cast<unsigned>(density) == 0) {
            text[i] = kUnits[rng() % kUnits.size()];
            bytes[i] = static_cast<char>(rng());
          } else {
            text[i] = static_cast<char16_t>(' ' + rng() % 95);
          }
        }
        const GuardedBytes units(std::string_view(reinterpret_cast<const char *>(text.data()), 2 * n));
        const GuardedBytes raw(bytes);
        for (const auto *table : {&ztk::codepage::escapecharsISO8859, &ztk::codepage::escapecharsCP1252,
                                  static_cast<const ztk::codepage::Table *>(&other)}) {
          std::string expect;
          for (char16_t c : text) {
            const int b = ztk::codepage::find_byte(*table, c);
            if (b >= 0) expect += static_cast<char>(b);
          }
          std::string got(n, '\0');
          got.resize(ztk::codepage::encode(
              *table, {static_cast<const uint16_t *>(static_cast<const void *>(units.view().data)), n}, reinterpret_cast<uint8_t *>(got.data())));
          ASSERT_EQ(got, expect) << n;
          std::string reference(n, '\0');
          reference.resize(ztk::codepage::encode_reference(
              *table, {static_cast<const uint16_t *>(static_cast<const void *>(units.view().data)), n},
              reinterpret_cast<uint8_t *>(reference.data())));
          ASSERT_EQ(reference, expect) << n;
          std::vector<uint16_t> wide(n), expectWide(n), referenceWide(n);
          for (size_t i = 0; i < n; ++i) expectWide[i] = (*table)[static_cast<uint8_t>(bytes[i])];
          ztk::codepage::decode(*table, raw.view(), wide.data());
          ASSERT_EQ(wide, expectWide) << n;
          ztk::codepage::decode_reference(*table, raw.view(), referenceWide.data());
          ASSERT_EQ(referenceWide, expectWide) << n;
        }
      }
    }
  });
}

// Texts of lengths across the 16-, 32- and 64-unit blocks: one unit of each
// kind (undefined in Windows-1252, mapped by it, dropped by every page, held
// by the other page only) at each place amid text that each page holds, holds
// above 0x7F or drops; then every special unit in every lane, densely and
// sparsely. Every byte goes to every place of the decoder's blocks.
TEST(CodePageKernels, EveryLaneOfEveryBlockEqualsTheOneUnitVersion) {
  std::vector<uint16_t> specials = {0,    0x7F, 0x80, 0x81,  0x8D,   0x8F,   0x90,   0x9D,  0x9F,
                                    0xA0, 0xFF, 0x100, 0xD83D, 0xDE00, 0xFFFF, 0x0101, 0x2000};
  for (int b = 0x80; b <= 0x9F; ++b) {
    if (ztk::codepage::escapecharsCP1252[b] > 0xFF) specials.push_back(ztk::codepage::escapecharsCP1252[b]);
  }
  ztk::codepage::Table other = ztk::codepage::escapecharsCP1252;  // entries above 0xFF of its own
  other[0x81] = 0x20AC;
  other[0x8D] = 0x0101;
  const ztk::codepage::Table *tables[] = {&ztk::codepage::escapecharsISO8859, &ztk::codepage::escapecharsCP1252,
                                          &other};
  const uint16_t kKinds[] = {0x81, 0x9D, 0x20AC, 0x0178, 0x100, 0x0101, 0xDE00};
  const uint16_t kFillers[] = {u'x', 0xE9, 0x3000};
  std::vector<size_t> lengths;
  for (size_t n = 1; n <= 20; ++n) lengths.push_back(n);
  lengths.insert(lengths.end(), {31, 32, 33, 47, 48, 49, 63, 64, 65});
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n : lengths) {
      GuardedBytes g(std::string(2 * n, '\0'));
      auto *units = static_cast<uint16_t *>(static_cast<void *>(g.bytes()));
      const ztk::U16View view{units, n};
      std::vector<uint8_t> got(n), expect(n);
      const auto check = [&](const char *what, size_t k) {
        for (const auto *table : tables) {
          const size_t written = ztk::codepage::encode(*table, view, got.data());
          const size_t expected = ztk::codepage::encode_reference(*table, view, expect.data());
          ASSERT_EQ(std::vector<uint8_t>(got.begin(), got.begin() + written),
                    std::vector<uint8_t>(expect.begin(), expect.begin() + expected))
              << what << " length " << n << " case " << k << " page " << (table - tables[0]);
        }
      };
      for (uint16_t filler : kFillers) {
        for (uint16_t kind : kKinds) {
          for (size_t at = 0; at < n; ++at) {
            for (size_t i = 0; i < n; ++i) units[i] = filler;
            units[at] = kind;
            ASSERT_NO_FATAL_FAILURE(check("one unit", at));
          }
        }
      }
      for (size_t density : {1, 2, 7}) {
        for (size_t k = 0; k < specials.size(); ++k) {
          for (size_t i = 0; i < n; ++i) units[i] = (i + k) % density == 0 ? specials[(k + 5 * i) % specials.size()] : u'x';
          ASSERT_NO_FATAL_FAILURE(check("specials", k));
        }
      }
    }
    for (size_t n : {1, 15, 16, 17, 31, 32, 33, 48, 63, 64, 65}) {
      GuardedBytes g(std::string(n, 'x'));
      std::vector<uint16_t> got(n), expect(n);
      for (int k = 0; k < 256; ++k) {
        for (size_t i = 0; i < n; ++i) g.bytes()[i] = static_cast<uint8_t>(k + 3 * i);
        for (const auto *table : tables) {
          ztk::codepage::decode(*table, g.view(), got.data());
          ztk::codepage::decode_reference(*table, g.view(), expect.data());
          ASSERT_EQ(got, expect) << "length " << n << " first byte " << k;
        }
      }
    }
  });
}

// Accented prose (a few letters outside ASCII in every block, a euro sign now
// and then) both ways through both pages at every level, from several starts,
// ending right before an unreadable page.
TEST(CodePageKernels, AccentedProseEqualsTheOneUnitVersion) {
  const std::string utf8 = ztk_bench::accented_prose(3000);
  std::u16string text;
  for (size_t i = 0; i < utf8.size();) {
    const auto b = static_cast<uint8_t>(utf8[i]);
    const size_t len = b < 0x80 ? 1 : b < 0xE0 ? 2 : 3;
    if (i + len > utf8.size()) break;
    uint32_t cp = len == 1 ? b : len == 2 ? b & 0x1F : b & 0x0F;
    for (size_t k = 1; k < len; ++k) cp = cp << 6 | (static_cast<uint8_t>(utf8[i + k]) & 0x3F);
    text += static_cast<char16_t>(cp);
    i += len;
  }
  const std::string latin1 = ztk_bench::latin1_prose(3000);
  for_each_level([&](ztk::cpu::Level) {
    for (size_t start : {0, 1, 7, 31}) {
      const size_t n = text.size() - start;
      const GuardedBytes units(std::string_view(reinterpret_cast<const char *>(text.data() + start), 2 * n));
      const ztk::U16View view{static_cast<const uint16_t *>(static_cast<const void *>(units.view().data)), n};
      const GuardedBytes raw(std::string_view(latin1).substr(start));
      for (const auto *table : {&ztk::codepage::escapecharsISO8859, &ztk::codepage::escapecharsCP1252}) {
        std::vector<uint8_t> got(n), expect(n);
        got.resize(ztk::codepage::encode(*table, view, got.data()));
        expect.resize(ztk::codepage::encode_reference(*table, view, expect.data()));
        ASSERT_EQ(got, expect) << "start " << start;
        std::vector<uint16_t> wide(raw.view().size), expectWide(raw.view().size);
        ztk::codepage::decode(*table, raw.view(), wide.data());
        ztk::codepage::decode_reference(*table, raw.view(), expectWide.data());
        ASSERT_EQ(wide, expectWide) << "start " << start;
      }
    }
  });
}

namespace {
// UTF-8 to UTF-16 as the standard defines it, or false for bytes that are
// not well-formed (RFC 3629): the units a host converting the text gives.
bool utf16_of(const std::string &utf8, std::u16string &units) {
  units.clear();
  for (size_t i = 0; i < utf8.size();) {
    const auto b = static_cast<uint8_t>(utf8[i]);
    const size_t len = b < 0x80 ? 1 : (b >= 0xC2 && b <= 0xDF) ? 2 : (b >= 0xE0 && b <= 0xEF) ? 3 : (b >= 0xF0 && b <= 0xF4) ? 4 : 0;
    if (len == 0 || i + len > utf8.size()) return false;
    uint32_t cp = len == 1 ? b : b & (0x7F >> len);
    for (size_t k = 1; k < len; ++k) {
      const auto c = static_cast<uint8_t>(utf8[i + k]);
      if ((c & 0xC0) != 0x80) return false;
      cp = cp << 6 | (c & 0x3F);
    }
    static const uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < kLeast[len] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    if (cp >= 0x10000) {
      units += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      units += static_cast<char16_t>(cp);
    }
    i += len;
  }
  return true;
}
}  // namespace

// UTF-8 text encoded from its bytes equals its UTF-16 units encoded, at every
// level, and bytes that are not well-formed UTF-8 are refused at every level:
// prose, and pieces of every length class of sequence (and of every way one
// can be malformed) at every place across the blocks, ending right before an
// unreadable page.
TEST(CodePageKernels, UTF8TextEqualsItsUnitsEncoded) {
  std::mt19937 rng(37);
  const std::vector<std::string> pieces = {
      "\xC3\xA9", "\xC2\x80", "\xC2\x9F", "\xC2\xA0", "\xC3\xBF", "\xC4\x80", "\xE2\x82\xAC", "\xC5\xB8", "\xE2\x84\xA2",
      "\xEF\xBF\xBF", "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF", std::string("\0", 1), "\x7F",
      // not well-formed: stray continuation, overlongs, surrogate, beyond U+10FFFF, cut sequences
      "\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80",
      "\xF5\x80\x80\x80", "\xFF", "\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xC3\x28"};
  std::vector<std::string> inputs = token_inputs(rng, pieces, 150);
  inputs.push_back(ztk_bench::accented_prose(5000));
  // Half the malformed inputs give way to prose of their length (cut
  // anywhere, so its last character may be cut too).
  std::u16string scratch;
  for (auto &s : inputs) {
    if (rng() % 2 == 0 && !utf16_of(s, scratch)) s = ztk_bench::accented_prose(s.size());
  }
  ztk::codepage::Table other = ztk::codepage::escapecharsCP1252;  // an entry in 0xA0-0xFF, one held twice
  other[0x81] = 0x00E9;
  other[0x8D] = 0x20AC;
  for_each_level([&](ztk::cpu::Level) {
    for (const std::string &s : inputs) {
      std::u16string units;
      const bool formed = utf16_of(s, units);
      const GuardedBytes in(s);
      for (const auto *table : {&ztk::codepage::escapecharsISO8859, &ztk::codepage::escapecharsCP1252,
                                static_cast<const ztk::codepage::Table *>(&other)}) {
        GuardedBytes got(std::string(s.size(), '\0'));
        size_t written = 0;
        ASSERT_EQ(ztk::codepage::encode_utf8(*table, in.view(), got.bytes(), written), formed) << testing::PrintToString(s);
        size_t referenceWritten = 0;
        std::vector<uint8_t> reference(s.size());
        ASSERT_EQ(ztk::codepage::encode_utf8_reference(*table, in.view(), reference.data(), referenceWritten), formed);
        if (!formed) continue;
        std::vector<uint8_t> expect(units.size());
        expect.resize(ztk::codepage::encode_reference(
            *table, {reinterpret_cast<const uint16_t *>(units.data()), units.size()}, expect.data()));
        ASSERT_EQ(std::vector<uint8_t>(got.bytes(), got.bytes() + written), expect) << testing::PrintToString(s);
        reference.resize(referenceWritten);
        ASSERT_EQ(reference, expect);
      }
    }
  });
}

// The methods take UTF-8 text from its bytes, and give what the host's
// UTF-16 gives: characters above U+FFFF dropped, malformed bytes converted by
// the host as before.
TEST_P(EncodingToCP1252ZTK, UTF8TextGivesWhatItsUnitsGive) {
  const struct {
    std::string text, cp1252, iso;
  } cases[] = {
      {"caf\xC3\xA9 \xE2\x82\xAC 5", "caf\xE9 \x80 5", "caf\xE9  5"},
      {"a\xF0\x9F\x98\x80z", "az", "az"},
      {std::string(40, 'x') + "\xC5\xB8\xC2\x85", std::string(40, 'x') + "\x9F", std::string(40, 'x') + "\x85"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(call("EncodingToCP1252ZTK", {S(c.text)}).bytes, c.cp1252);
    EXPECT_EQ(call("EncodingToISO8859ZTK", {S(c.text)}).bytes, c.iso);
  }
}
