#include "codecs/code_pages.h"

#include <algorithm>
#include <iterator>
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
  // Copies of the two pages: known by their entries, not by their address.
  const ztk::codepage::Table latin1Copy = ztk::codepage::escapecharsISO8859;
  const ztk::codepage::Table windowsCopy = ztk::codepage::escapecharsCP1252;
  const ztk::codepage::Table *tables[] = {&ztk::codepage::escapecharsISO8859, &ztk::codepage::escapecharsCP1252,
                                          &other, &latin1Copy, &windowsCopy};
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
        for (size_t t = 0; t < std::size(tables); ++t) {
          const size_t written = ztk::codepage::encode(*tables[t], view, got.data());
          const size_t expected = ztk::codepage::encode_reference(*tables[t], view, expect.data());
          ASSERT_EQ(std::vector<uint8_t>(got.begin(), got.begin() + written),
                    std::vector<uint8_t>(expect.begin(), expect.begin() + expected))
              << what << " length " << n << " case " << k << " page " << t;
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

// ASCII text (tagged UTF-8 or ASCII) is its own encoding in both pages,
// however long, and one byte from 0x80 on anywhere sends it through the
// page's rules.
TEST_P(EncodingToCP1252ZTK, ASCIITextIsItsOwnEncoding) {
  for (size_t n : {size_t{1}, size_t{20}, size_t{100}, size_t{5000}}) {
    const std::string ascii = ztk_bench::clean_text(n);
    for (uint32_t tag : {enc::kUTF8, enc::kASCII}) {
      Result r = call("EncodingToCP1252ZTK", {S(ascii, tag)});
      EXPECT_EQ(r.bytes, ascii);
      EXPECT_EQ(r.encoding, enc::kASCII);
      EXPECT_EQ(call("EncodingToISO8859ZTK", {S(ascii, tag)}).bytes, ascii);
    }
    const std::string euroLast = ascii + "\xE2\x82\xAC";
    EXPECT_EQ(call("EncodingToCP1252ZTK", {S(euroLast)}).bytes, ascii + "\x80");
    EXPECT_EQ(call("EncodingToISO8859ZTK", {S(euroLast)}).bytes, ascii);
  }
}

// Outputs that start at every unit of a 64-byte line, for texts either side of
// a block and a head: the AVX-512 decoder writes the units before the output's
// first line boundary apart, a head of any length from 0 to 31 units, then
// whole lines; each unit is written once, none outside the output.
TEST(CodePageKernels, DecodingToEveryPlaceOfALineEqualsTheOneUnitVersion) {
  std::mt19937 rng(5);
  std::string bytes(200, '\0');
  for (char &b : bytes) b = static_cast<char>(rng());
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n : {31, 32, 33, 47, 48, 63, 64, 65, 80, 95, 96, 97, 200}) {
      const GuardedBytes raw(std::string_view(bytes).substr(0, n));
      for (const auto *table : {&ztk::codepage::escapecharsISO8859, &ztk::codepage::escapecharsCP1252}) {
        std::vector<uint16_t> expect(n);
        ztk::codepage::decode_reference(*table, raw.view(), expect.data());
        for (size_t at = 0; at < 32; ++at) {
          // Sentinels either side of the output show a unit written out of place.
          alignas(64) uint16_t room[32 + 200 + 32];
          std::fill(std::begin(room), std::end(room), uint16_t{0xBEEF});
          ztk::codepage::decode(*table, raw.view(), room + at);
          const std::vector<uint16_t> got(room + at, room + at + n);
          ASSERT_EQ(got, expect) << "n " << n << " at " << at;
          ASSERT_TRUE(std::all_of(room, room + at, [](uint16_t u) { return u == 0xBEEF; })) << "before, at " << at;
          ASSERT_TRUE(std::all_of(room + at + n, std::end(room), [](uint16_t u) { return u == 0xBEEF; }))
              << "after, n " << n << " at " << at;
        }
      }
    }
  });
}
