#include "binary/hex_dump.h"

#include <cstdio>
#include <random>

#include "host_test.h"
#include "kernel_levels.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(HexstringZTK);

namespace {
struct Case {
  const char *name;
  int64_t hexlen, linelen;
  const char *linestart, *lineend, *spacer, *filler; // null: a null handle
  std::string out;
};
} // namespace

TEST_P(HexstringZTK, LaysOutGroupsLinesAndFiller) {
  const Case cases[] = {
      {"two groups a line", 2, 2, "", "\n", " ", ".", "41 42\n43 ..\n"},
      {"null filler is zero", 2, 2, "", "\n", " ", nullptr, "41 42\n43 00\n"},
      {"empty filler is zero", 2, 2, "", "\n", " ", "", "41 42\n43 00\n"},
      {"four digit groups", 4, 1, "", "\n", " ", nullptr, "4142\n4300\n"},
      {"groups split bytes", 3, 2, "", "", "-", nullptr, "414-243"},
      {"filler cycles", 2, 4, "", "", " ", "ab", "41 42 43 ab"},
      {"filler cycles on", 2, 5, "", "", " ", "ab", "41 42 43 ab ab"},
      {"line start and end on every line", 2, 1, "[", "]", " ", nullptr, "[41][42][43]"},
      {"null layout texts", 2, 3, nullptr, nullptr, nullptr, nullptr, "414243"},
      {"zero in line start", 2, 1, "\0", "\n", " ", nullptr, ""},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    auto text = [&](const char *t) -> Value {
      if (t == nullptr)
        return NullString();
      if (std::string(c.name) == "zero in line start" && t == c.linestart)
        return S(std::string(1, '\0'));
      return S(t);
    };
    Result r = call("HexstringZTK", {S("ABC"), I(c.hexlen), I(c.linelen), text(c.linestart), text(c.lineend),
                                     text(c.spacer), text(c.filler)});
    EXPECT_EQ(r.bytes, c.out);
    if (!r.null) {
      EXPECT_EQ(r.encoding, enc::kASCII);
    }
  }
}

TEST_P(HexstringZTK, LongSpacerOnOneByteKeepsWholeLine) {
  Result r = call("HexstringZTK", {S("\x01"), I(2), I(4), S(">"), S("<"), S(" -- "), S(".")});
  EXPECT_EQ(r.bytes, ">01 -- .. -- .. -- ..<");
}

TEST_P(HexstringZTK, BadNumbersAndEmptyInputGiveEmptyString) {
  REALstring in = S("ABC");
  for (auto [hexlen, linelen] : {std::pair<int64_t, int64_t>{0, 1},
                                 {1, 0},
                                 {-1, 4},
                                 {4, -1},
                                 {(int64_t{1} << 32) + 2, 1},
                                 {2, (int64_t{1} << 32) + 1},
                                 {1 << 30, 1 << 30}}) {
    if (!fits(hexlen) || !fits(linelen))
      continue;
    SCOPED_TRACE(hexlen);
    EXPECT_TRUE(call("HexstringZTK", {in, I(hexlen), I(linelen), S(""), S(""), S(""), S("")}).null);
  }
  EXPECT_TRUE(call("HexstringZTK", {NullString(), I(2), I(2), S(""), S(""), S(""), S("")}).null);
  EXPECT_TRUE(call("HexstringZTK", {Empty(), I(2), I(2), S(""), S(""), S(""), S("")}).null);
  // A failed allocation gives the empty string: the output's, and the hex
  // text's, where each needs more than a short call's buffer.
  REALstring longer = S(std::string(300, 'A'));
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("HexstringZTK", {longer, I(2), I(2), S(""), S(""), S(""), S("")}).null);
  plugin->fail_allocation(2);
  EXPECT_TRUE(call("HexstringZTK", {longer, I(2), I(300), S(""), S(""), S(""), S("")}).null);
  plugin->fail_allocation(0);
  EXPECT_EQ(call("HexstringZTK", {in, I(2), I(2), S(""), S(""), S(""), S("")}).bytes, "41424300");
}

// The lines written group by group with nothing special about any layout.
TEST(HexDumpLines, EveryLayoutEqualsTheGroupByGroupLines) {
  std::mt19937 rng(17);
  auto view = [](const std::string &t) { return ztk::ByteView{reinterpret_cast<const uint8_t *>(t.data()), t.size()}; };
  // Texts up to and past what one vector holds; lines up to and past the
  // widest the permuted lines take, and past two of the widest interleaving
  // stores with a shorter one and single groups after them.
  const std::string texts[] = {"", ".", " ", "--", "\r\n", std::string(64, '<'), std::string(65, '>')};
  for_each_level([&](ztk::cpu::Level) {
    for (int round = 0; round < 2000; ++round) {
      const bool common = rng() % 2 == 0; // groups of one byte, a spacer of one or two bytes
      const uint64_t hexlen = common ? 2 : 1 + rng() % 4, linelen = 1 + rng() % (common ? 44 : 6);
      const std::string &start = texts[rng() % 7], &end = texts[rng() % 7];
      const std::string &spacer = common ? texts[1 + rng() % 4] : texts[rng() % 7];
      const ztk::hexdump::Layout layout{hexlen, linelen, view(start), view(end), view(spacer), {}};
      const size_t bytes = rng() % 100;
      std::string hex;
      for (size_t k = 0; k < 2 * bytes + hexlen * linelen; ++k)
        hex += "0123456789ABCDEF"[rng() % 16];
      std::string expected;
      for (uint64_t p = 0; p < 2 * bytes; p += hexlen * linelen) {
        expected += start;
        for (uint64_t g = 0; g < linelen; ++g) {
          expected += hex.substr(p + g * hexlen, hexlen);
          if (g + 1 < linelen)
            expected += spacer;
        }
        expected += end;
      }
      // Digits and output end right before unreadable pages.
      GuardedBytes digits(hex), out(std::string(expected.size(), '\0'));
      const size_t n = ztk::hexdump::write_lines(reinterpret_cast<const char *>(digits.bytes()), 2 * bytes, layout,
                                                 reinterpret_cast<char *>(out.bytes()));
      ASSERT_EQ(std::string(out.bytes(), out.bytes() + n), expected)
          << "hexlen " << hexlen << " linelen " << linelen << " spacer '" << spacer << "'";
    }
  });
}

// Every level's digits against the plain ones, on every length up to 300,
// the input and the digits each ending right before an unreadable page.
TEST(HexDumpDigits, EveryLevelEqualsThePlainDigits) {
  std::mt19937 rng(23);
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n = 0; n <= 300; ++n) {
      SCOPED_TRACE(n);
      const GuardedBytes in(random_text(rng, n));
      std::string want(2 * n, '\0');
      ztk::hexdump::digits_reference(in.view(), want.data());
      GuardedBytes got(std::string(2 * n, '\0'));
      ztk::hexdump::write_digits(in.view(), reinterpret_cast<char *>(got.bytes()));
      ASSERT_EQ(std::string(got.view().data, got.view().data + 2 * n), want);
    }
  });
  // The plain digits themselves: every byte, high digit first, upper case.
  uint8_t all[256];
  for (int b = 0; b < 256; ++b) all[b] = static_cast<uint8_t>(b);
  char digits[512];
  ztk::hexdump::digits_reference({all, 256}, digits);
  for (int b = 0; b < 256; ++b) {
    char want[3];
    snprintf(want, sizeof want, "%02X", b);
    ASSERT_EQ(std::string(digits + 2 * b, 2), want);
  }
}

// Whole lines written straight from the bytes equal the start of the dump
// made through the hex text, for every layout and every level; the input and
// the room for the lines end right before unreadable pages.
TEST(HexDumpByteLines, EqualTheStartOfTheDumpThroughTheHexText) {
  std::mt19937 rng(29);
  auto view = [](const std::string &t) { return ztk::ByteView{reinterpret_cast<const uint8_t *>(t.data()), t.size()}; };
  const std::string texts[] = {"", "\n", " ", "\r\n", "0x", std::string(16, '<'), std::string(17, '>')};
  for_each_level([&](ztk::cpu::Level level) {
    for (int round = 0; round < 1500; ++round) {
      const bool common = rng() % 4 != 0;  // groups of one byte, a one-byte spacer
      const uint64_t hexlen = common ? 2 : 1 + rng() % 4, linelen = 1 + rng() % 50;
      const std::string &start = texts[rng() % 7], &end = texts[rng() % 7];
      const std::string &spacer = common ? texts[1 + rng() % 2] : texts[rng() % 7];
      const ztk::hexdump::Layout layout{hexlen, linelen, view(start), view(end), view(spacer), {}};
      const size_t n = rng() % 200;
      const GuardedBytes in(random_text(rng, n));
      std::string hex(ztk::hexdump::hex_text_size(n, layout), '\0');
      ztk::hexdump::digits_reference(in.view(), hex.data());
      std::fill(hex.begin() + 2 * n, hex.end(), '0');
      std::string want(n == 0 ? 0 : ztk::hexdump::output_size(n, layout), '\0');
      want.resize(ztk::hexdump::lines_reference(hex.data(), 2 * n, layout, want.data()));

      const size_t whole = n / linelen * linelen;
      GuardedBytes out(std::string(whole == 0 ? 0 : ztk::hexdump::output_size(whole, layout), '\0'));
      const size_t taken = ztk::hexdump::write_byte_lines(in.view(), layout, reinterpret_cast<char *>(out.bytes()));
      ASSERT_TRUE(taken == 0 || taken == whole) << "taken " << taken << " of " << n;
      if (common && level >= ztk::cpu::kAVX2) {
        EXPECT_EQ(taken, whole);  // the vector form ran
      }
      const size_t written = taken == 0 ? 0 : ztk::hexdump::output_size(taken, layout);
      ASSERT_EQ(std::string(out.bytes(), out.bytes() + written), want.substr(0, written))
          << "n " << n << " hexlen " << hexlen << " linelen " << linelen << " spacer '" << spacer << "'";
    }
  });
}

// The method on dumps of many lines (the bench's layout among them) gives
// the dump made through the plain hex text and lines.
TEST_P(HexstringZTK, ManyLinesEqualThePlainDump) {
  std::mt19937 rng(31);
  for (size_t n : {size_t{15}, size_t{16}, size_t{17}, size_t{20}, size_t{255}, size_t{1000}}) {
    for (int64_t linelen : {1, 5, 16, 21, 33}) {
      const std::string bytes = random_text(rng, n);
      const ztk::hexdump::Layout layout{2, static_cast<uint64_t>(linelen), {}, {reinterpret_cast<const uint8_t *>("\n"), 1},
                                        {reinterpret_cast<const uint8_t *>(" "), 1}, {reinterpret_cast<const uint8_t *>("."), 1}};
      std::string hex(ztk::hexdump::hex_text_size(n, layout), '.');
      ztk::hexdump::digits_reference({reinterpret_cast<const uint8_t *>(bytes.data()), n}, hex.data());
      std::string want(ztk::hexdump::output_size(n, layout), '\0');
      want.resize(ztk::hexdump::lines_reference(hex.data(), 2 * n, layout, want.data()));
      Result r = call("HexstringZTK", {S(bytes), I(2), I(linelen), S(""), S("\n"), S(" "), S(".")});
      ASSERT_EQ(r.bytes, want) << "n " << n << " linelen " << linelen;
    }
  }
}

namespace {
// The dump of `bytes` made the first way: the hex text (digits, then the
// filler repeated hexlen * linelen times) cut into lines group by group.
std::string reference_dump(const std::string &bytes, const ztk::hexdump::Layout &layout) {
  const size_t n = bytes.size();
  std::string hex(2 * n, '\0');
  ztk::hexdump::digits_reference({reinterpret_cast<const uint8_t *>(bytes.data()), n}, hex.data());
  const std::string filler = layout.filler.empty() ? "0" : std::string(layout.filler.data, layout.filler.data + layout.filler.size);
  for (uint64_t k = 0; k < layout.hexlen * layout.linelen; ++k)
    hex += filler;
  std::string want(n == 0 ? 0 : ztk::hexdump::output_size(n, layout), '\0');
  want.resize(ztk::hexdump::lines_reference(hex.data(), 2 * n, layout, want.data()));
  return want;
}
} // namespace

// Short dumps of one byte a group and a one-byte spacer, written straight
// from the bytes, equal the dump through the hex text: digits on whole
// and cut lines, fillers of every length cycling from the end of the digits,
// line texts past the fixed moves' sizes; the input and the output (with
// its byte to spare) end right before unreadable pages.
TEST(HexDumpPairLines, EqualTheDumpThroughTheHexText) {
  std::mt19937 rng(37);
  auto view = [](const std::string &t) { return ztk::ByteView{reinterpret_cast<const uint8_t *>(t.data()), t.size()}; };
  const std::string texts[] = {"", "\n", "\r\n", "0x:", "[--]", std::string(7, '<'), std::string(8, '>'),
                               std::string(9, '+'), std::string(16, '{'), std::string(17, '}')};
  const std::string fillers[] = {"", ".", "ab", "xyz", "12345", std::string(9, '~')};
  for (int round = 0; round < 4000; ++round) {
    const uint64_t linelen = 1 + rng() % 40;
    const std::string &start = texts[rng() % 10], &end = texts[rng() % 10], &filler = fillers[rng() % 6];
    const std::string spacer(1, "  ,-\0"[rng() % 5]);
    const ztk::hexdump::Layout layout{2, linelen, view(start), view(end), view(spacer), view(filler)};
    const std::string bytes = random_text(rng, 1 + rng() % 130);
    const std::string want = reference_dump(bytes, layout);
    const GuardedBytes in(bytes);
    GuardedBytes out(std::string(want.size() + 1, '\0'));
    const size_t n = ztk::hexdump::pair_lines(in.view(), layout, reinterpret_cast<char *>(out.bytes()));
    ASSERT_EQ(std::string(out.bytes(), out.bytes() + n), want)
        << bytes.size() << " bytes, linelen " << linelen << " filler '" << filler << "' start '" << start << "'";
  }
}

// A short call's dump as the method makes it at every level: whole lines
// from the bytes where the level has a form for them, the rest straight
// from the bytes, equal to the dump through the hex text.
TEST(HexDumpPairLines, AfterTheByteLinesOfEveryLevelEqualTheDumpThroughTheHexText) {
  std::mt19937 rng(41);
  auto view = [](const std::string &t) { return ztk::ByteView{reinterpret_cast<const uint8_t *>(t.data()), t.size()}; };
  const std::string nl = "\n", sp = " ", dot = ".", none;
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n = 1; n <= 100; ++n) {
      for (uint64_t linelen : {1, 3, 8, 16, 17, 32}) {
        const ztk::hexdump::Layout layout{2, linelen, view(none), view(nl), view(sp), view(n % 2 ? dot : none)};
        const std::string bytes = random_text(rng, n);
        const std::string want = reference_dump(bytes, layout);
        const GuardedBytes in(bytes);
        std::string out(want.size() + 1, '\0');
        const size_t taken = ztk::hexdump::write_byte_lines(in.view(), layout, out.data());
        size_t written = taken == 0 ? 0 : ztk::hexdump::output_size(taken, layout);
        written += ztk::hexdump::pair_lines({in.view().data + taken, n - taken}, layout, out.data() + written);
        ASSERT_EQ(out.substr(0, written), want) << n << " bytes, linelen " << linelen;
      }
    }
  });
}
