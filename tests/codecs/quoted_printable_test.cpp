#include "codecs/quoted_printable.h"

#include <climits>
#include <random>

#include "../../bench/bench_inputs.h"

#include "codecs/quoted_printable/levels.h"
#include "host_test.h"
#include "kernel_levels.h"
#include "reference_codecs.h"
#include "text/byte_sink.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(EncodingToQuotedPrintableZTK);
ZTK_GENERATION_SUITE(DecodingFromQuotedPrintableZTK);

TEST_P(EncodingToQuotedPrintableZTK, EscapesAndBreaksLines) {
  expect_cases("EncodingToQuotedPrintableZTK", {
      {"soft break closes output", "abc", "abc=\r\n", enc::kASCII},
      {"CR LF kept", "abc\r\n", "abc\r\n", enc::kASCII},
      {"LF alone becomes CR LF", "abc\n", "abc\r\n", enc::kASCII},
      {"LF CR is one break", "abc\n\r", "abc\r\n", enc::kASCII},
      {"CR CR is two breaks", "a\r\rb", "a\r\n\r\nb=\r\n", enc::kASCII},
      {"equals sign escaped", "a=b", "a=3Db=\r\n", enc::kASCII},
      {"space before line end escaped", "a \r\n", "a=20\r\n", enc::kASCII},
      {"tab before line end escaped", "a\t\n", "a=09\r\n", enc::kASCII},
      {"space at end of input kept", "a ", "a =\r\n", enc::kASCII},
      {"tab between letters literal", "a\tb", "a\tb=\r\n", enc::kASCII},
      {"non-ASCII escaped", "\xC3\xA9", "=C3=A9=\r\n", enc::kASCII},
      {"DEL escaped", "\x7F", "=7F=\r\n", enc::kASCII},
      {"specials literal", "!\"#$@[\\]^`{|}~", "!\"#$@[\\]^`{|}~=\r\n", enc::kASCII},
  }, enc::kNone);
}

TEST_P(EncodingToQuotedPrintableZTK, LineLengthPersistsUntilTheOneArgumentForm) {
  const std::string letters(100, 'x');
  EXPECT_EQ(call("EncodingToQuotedPrintableZTK", {S(letters)}).bytes,
            std::string(70, 'x') + "=\r\n" + std::string(30, 'x') + "=\r\n");
  const std::string at10 = std::string(8, 'x') + "=\r\n";
  EXPECT_EQ(call("EncodingToQuotedPrintableZTK", {S(std::string(8, 'x')), I(10)}).bytes, at10);
  EXPECT_EQ(call("EncodingToQuotedPrintableZTK", {S(std::string(9, 'x')), I(0)}).bytes,
            std::string(8, 'x') + "=\r\nx=\r\n")
      << "0 keeps the last length (10)";
  EXPECT_EQ(call("EncodingToQuotedPrintableZTK", {NullString(), I(2)}).null, true);
  EXPECT_EQ(call("EncodingToQuotedPrintableZTK", {S("ab"), I(-5)}).bytes, "=\r\na=\r\nb=\r\n")
      << "set to 2 even by a call with no text";
  EXPECT_EQ(call("EncodingToQuotedPrintableZTK", {S("ab"), I(3)}).bytes, "a=\r\nb=\r\n");
  EXPECT_EQ(call("EncodingToQuotedPrintableZTK", {S(letters)}).bytes.substr(0, 73), std::string(70, 'x') + "=\r\n")
      << "the one-argument form restores 72";
  if (fits(int64_t{1} << 40)) {
    EXPECT_EQ(call("EncodingToQuotedPrintableZTK", {S("abc"), I(int64_t{1} << 40)}).bytes, "abc=\r\n");
  }
}

TEST_P(EncodingToQuotedPrintableZTK, NoLineExceedsTheLimit) {
  std::mt19937 rng(5);
  std::string bytes(2000, '\0');
  for (char &b : bytes) b = static_cast<char>(rng());
  for (int lineLength = 2; lineLength <= 200; lineLength += 9) {
    SCOPED_TRACE(lineLength);
    const std::string encoded = call("EncodingToQuotedPrintableZTK", {S(bytes, enc::kNone), I(lineLength)}).bytes;
    size_t start = 0;
    for (size_t end; (end = encoded.find("\r\n", start)) != std::string::npos; start = end + 2) {
      // Below 5 a line still holds one escape and its soft break.
      ASSERT_LE(static_cast<int>(end - start), std::max(lineLength - 1, 4));
    }
    EXPECT_EQ(start, encoded.size()) << "output ends with CR LF";
  }
}

TEST_P(DecodingFromQuotedPrintableZTK, UndoesEscapesAndSoftBreaks) {
  expect_cases("DecodingFromQuotedPrintableZTK", {
      {"escape", "a=3Db", "a=b", enc::kASCII},
      {"lower-case digits", "=c3=a9", "\xC3\xA9", enc::kASCII},
      {"soft break CR LF", "abc=\r\ndef", "abcdef", enc::kASCII},
      {"soft break LF", "abc=\ndef", "abcdef", enc::kASCII},
      {"soft break with white space", "abc=  \t\r\ndef", "abcdef", enc::kASCII},
      {"stray bytes after white space", "abc= x\r\ndef", "abcdef", enc::kASCII},
      {"white space to the end", "abc= x", "abc", enc::kASCII},
      {"hard break becomes LF", "a\r\nb\rc\n\rd", "a\nb\nc\nd", enc::kASCII},
      {"bad escapes dropped", "=4Gx=G4y", "xy", enc::kASCII},
      {"short escape at end", "a=Z", "a", enc::kASCII},
      {"equals at end", "abc=", "abc", enc::kASCII},
      {"high bytes pass", "\x80\xFFz", "\x80\xFFz", enc::kASCII},
      {"blank line after padded break kept", "a= \r\n\nb", "a\nb", enc::kASCII},
  }, enc::kNone);
}

TEST_P(DecodingFromQuotedPrintableZTK, UndoesEncodingAtEveryLineLength) {
  std::mt19937 rng(9);
  for (int lineLength = 2; lineLength <= 200; ++lineLength) {
    std::string bytes(1 + rng() % 300, '\0');
    // Line ends are normalised by both directions, so leave them out.
    for (char &b : bytes) {
      do b = static_cast<char>(rng());
      while (b == '\r' || b == '\n');
    }
    const std::string encoded = call("EncodingToQuotedPrintableZTK", {S(bytes, enc::kNone), I(lineLength)}).bytes;
    ASSERT_EQ(call("DecodingFromQuotedPrintableZTK", {S(encoded, enc::kASCII)}).bytes, bytes) << lineLength;
  }
}

TEST_P(DecodingFromQuotedPrintableZTK, EmptyAndFailuresGiveEmptyString) {
  EXPECT_TRUE(call("DecodingFromQuotedPrintableZTK", {NullString()}).null);
  EXPECT_TRUE(call("DecodingFromQuotedPrintableZTK", {Empty()}).null);
  EXPECT_TRUE(call("EncodingToQuotedPrintableZTK", {Empty()}).null);
  const std::string big(3000, 'x');
  REALstring s = S(big);
  const std::string whole = call("EncodingToQuotedPrintableZTK", {s}).bytes;
  ASSERT_GT(whole.size(), big.size());
  expect_failures_give_empty("EncodingToQuotedPrintableZTK", {s}, whole, 3);
  expect_failures_give_empty("DecodingFromQuotedPrintableZTK", {S(whole, enc::kASCII)}, big, 3);
}

namespace {
std::string drained(ztk::ByteSink &sink) {
  return sink.size() > 0 ? std::string(sink.data(), sink.data() + sink.size()) : std::string();
}

std::string encoded_by(void (*encode)(ztk::ByteView, int32_t, ztk::ByteSink &), ztk::ByteView in, int32_t lineLength) {
  ztk::ByteSink out(int64_t(in.size) + 1024);
  encode(in, lineLength, out);
  return drained(out);
}

// The room promised is the input's length, up to an unreadable page.
std::string decoded_by(size_t (*decode)(ztk::ByteView, uint8_t *), ztk::ByteView in) {
  GuardedBytes out(std::string(in.size, '\0'));
  const size_t n = decode(in, out.bytes());
  return std::string(out.bytes(), out.bytes() + n);
}

// Where two outputs part, with a little of each from there: the outputs of
// long inputs are too long to print whole.
std::string difference(const std::string &got, const std::string &want) {
  size_t at = 0;
  while (at < got.size() && at < want.size() && got[at] == want[at]) ++at;
  return "outputs of " + std::to_string(got.size()) + " and " + std::to_string(want.size()) + " bytes part at " +
         std::to_string(at) + ": \"" + got.substr(at, 24) + "\" instead of \"" + want.substr(at, 24) + "\"";
}

// Each level's output against the plain kernel's, which is the one-byte rules
// with the runs copied by the byte scans, on inputs that end right before an
// unreadable page.
void expect_levels_equal_plain_kernel(const std::vector<std::string> &inputs, const std::vector<int32_t> &lineLengths) {
  for_each_level([&](ztk::cpu::Level) {
    for (const std::string &in : inputs) {
      const GuardedBytes guarded(in);
      for (int32_t lineLength : lineLengths) {
        const std::string got = encoded_by(ztk::qp::encode, guarded.view(), lineLength);
        const std::string want = encoded_by(ztk::qp::encode_reference, guarded.view(), lineLength);
        ASSERT_TRUE(got == want) << "encoding " << in.size() << " bytes at line length " << lineLength << ": "
                                 << difference(got, want);
      }
      const std::string got = decoded_by(ztk::qp::decode, guarded.view());
      const std::string want = decoded_by(ztk::qp::decode_reference, guarded.view());
      ASSERT_TRUE(got == want) << "decoding " << in.size() << " bytes: " << difference(got, want);
    }
  });
}

// `filler` up to `at`, then `tail`: puts tail's first byte at each offset
// around the block edges of every level and a stretch's end.
std::vector<std::string> placed_at_block_edges(const std::string &tail, char filler) {
  std::vector<std::string> inputs;
  for (size_t at : {0, 1, 13, 14, 15, 16, 17, 18, 29, 30, 31, 32, 33, 34, 46, 47, 48, 61, 62, 63, 64, 65, 66, 127, 128}) {
    inputs.push_back(std::string(at, filler) + tail);
    inputs.push_back(std::string(at, filler) + tail + std::string(40, filler));
  }
  return inputs;
}
}  // namespace

TEST(QuotedPrintableKernel, EveryLevelGivesTheOneByteRules) {
#ifdef ZTK_EMULATED_TARGET
  constexpr size_t kLongest = 100;
#else
  constexpr size_t kLongest = 300;
#endif
  std::mt19937 rng(13);
  auto inputs = token_inputs(rng, {"=", "=4", "=41", "=\r\n", "= \r\n", " \r\n", "\t\n", "\r", "\n\r", " ", "\t", "=zz"}, kLongest);
  // The encoder works in stretches: runs, held white space and line ends
  // with their partners cut by a stretch's end.
  for (size_t at = ztk::qp::kStretch - 3; at <= ztk::qp::kStretch + 1; ++at) {
    for (const char *cut : {" \r\n", "\r\n", "\t", " x", "=\n"}) {
      inputs.push_back(std::string(at, 'a') + cut + std::string(50, 'b'));
    }
  }
  inputs.push_back(random_text(rng, 40000));
  inputs.push_back(random_text(rng, 40000, "ab \r\n=\t"));
  // Line lengths around the run lengths, the shortest, and ones no line reaches.
  for (int32_t lineLength : {2, 3, 4, 5, 17, 72, 76, 1000, INT32_MAX}) {
    SCOPED_TRACE(lineLength);
    expect_equal_at_every_level(
        inputs,
        [&](ztk::ByteView in) {
          ztk::ByteSink out(int64_t(in.size) + 1024);
          ztk::qp::encode(in, lineLength, out);
          return drained(out);
        },
        [&](const std::string &in) { return reference::qp_encode(in, lineLength); });
  }
  expect_equal_at_every_level(
      inputs,
      [](ztk::ByteView in) {
        // The room promised is the input's length, up to an unreadable page.
        GuardedBytes out(std::string(in.size, '\0'));
        const size_t n = ztk::qp::decode(in, out.bytes());
        return std::string(out.bytes(), out.bytes() + n);
      },
      [](const std::string &in) { return reference::qp_decode(in); });
}

TEST(QuotedPrintableKernel, EveryLevelEqualsThePlainKernelOnMailAndProse) {
#ifdef ZTK_EMULATED_TARGET
  constexpr size_t kLong = 20000;
#else
  constexpr size_t kLong = 200000;
#endif
  std::vector<std::string> inputs;
  for (auto make : {ztk_bench::qp_mail, ztk_bench::qp_paragraphs, ztk_bench::crlf_prose, ztk_bench::accented_prose}) {
    // Every length up to a few blocks, so that each token meets the input's end.
    for (size_t n = 0; n <= 200; ++n) inputs.push_back(make(n));
    inputs.push_back(make(kLong));
  }
  // Mail bodies as the encoder's input: escapes and =20 of an earlier pass.
  expect_levels_equal_plain_kernel(inputs, {2, 3, 4, 5, 17, 40, 72, 76, 1000, INT32_MAX});
}

TEST(QuotedPrintableKernel, TextThatChangesKindOnTheWayDecodesAsThePlainKernel) {
  // The wide levels take long inputs in stretches, each by the decoder that
  // suited the one before: mail, escapes alone, random bytes and text one
  // after another, from every start in a block, so that each decoder hands
  // over in the middle of tokens of every kind.
#ifdef ZTK_EMULATED_TARGET
  constexpr size_t kPart = 3000, kStarts = 4;
#else
  constexpr size_t kPart = 40000, kStarts = 40;
#endif
  const std::string mixed = ztk_bench::qp_mail(kPart) + ztk_bench::repeat("=41=\r\n", kPart / 2) +
                            ztk_bench::random_bytes(kPart / 2) + ztk_bench::qp_paragraphs(kPart) +
                            ztk_bench::clean_text(kPart / 2) + ztk_bench::qp_mail(kPart) +
                            ztk_bench::escaped_bytes(kPart / 2, "=") + ztk_bench::qp_mail(kPart);
  for_each_level([&](ztk::cpu::Level) {
    for (size_t start = 0; start < kStarts; ++start) {
      const GuardedBytes guarded(mixed.substr(start));
      const std::string got = decoded_by(ztk::qp::decode, guarded.view());
      const std::string want = decoded_by(ztk::qp::decode_reference, guarded.view());
      ASSERT_TRUE(got == want) << "decoding from " << start << ": " << difference(got, want);
    }
  });
}

TEST(QuotedPrintableKernel, EveryLevelEqualsThePlainKernelOnTheSpecialBytes) {
#ifdef ZTK_EMULATED_TARGET
  constexpr size_t kLongest = 100;
#else
  constexpr size_t kLongest = 260;
#endif
  std::mt19937 rng(21);
  std::vector<std::string> inputs;
  // Bytes every rule of both directions looks at: escape starts, hex digits
  // of both cases, bytes that are none, white space, line ends, DEL, controls
  // and non-ASCII.
  for (const char *alphabet : {"=\r\n \tA9fG", "=\r\n \tab", "= \t\r\n", "ab \r\n\x7F\x01\xC3\xA9=", "x \r\n\t"}) {
    for (size_t n = 0; n <= kLongest; ++n) inputs.push_back(random_text(rng, n, alphabet));
  }
  // Long runs with a special byte now and then, at every offset in a block.
  for (int k = 0; k < 200; ++k) {
    std::string s = random_text(rng, 1 + rng() % 400, "abcdefghij klmnop");
    const size_t specials = rng() % 6;
    for (size_t j = 0; j < specials; ++j) {
      static const char *const kTokens[] = {"=", "\r", "\n", "\r\n", "\n\r", " \r\n", "\t\n", "=41", "=\r\n", "= \r\n", "\xE2\x82\xAC"};
      s.insert(rng() % (s.size() + 1), kTokens[rng() % 11]);
    }
    inputs.push_back(s);
  }
  expect_levels_equal_plain_kernel(inputs, {2, 3, 4, 5, 6, 17, 31, 33, 72, 76, INT32_MAX});
}

TEST(QuotedPrintableKernel, TokensAtEveryBlockEdgeGiveThePlainKernelsBytes) {
  std::vector<std::string> inputs;
  for (const char *tail : {" \r\n", "\t\r\n", "  \n", " \r", "\r\n", "\n\r", "\r\r", "\n\n", "=", "=4", "=41", "=4G",
                           "=\r", "=\r\n", "=\n\r", "= ", "= \r\n", "=\t x\n", "\xC3\xA9", "\t", " ", "=3D=3D"}) {
    for (const std::string &s : placed_at_block_edges(tail, 'a')) inputs.push_back(s);
    for (const std::string &s : placed_at_block_edges(tail, ' ')) inputs.push_back(s);
  }
  expect_levels_equal_plain_kernel(inputs, {2, 3, 5, 16, 17, 18, 33, 64, 66, 72});
}

TEST(QuotedPrintableKernel, EscapesAndLiteralsStraddlingTheLineLimitBreakAsThePlainKernel) {
  std::vector<std::string> inputs;
  // A line of k letters and then an escape, white space, a tab or a line end,
  // for k around every line length below: the break falls before, inside or
  // after the last block of the line.
  for (size_t k = 0; k <= 140; ++k) {
    for (const char *then : {"\xC3\xA9z", "=", " \r\n", " x", "\tx", "\r\n", "\x01\x02\x03\x04"}) {
      inputs.push_back(std::string(k, 'w') + then + std::string(k % 37, 'v'));
    }
  }
  expect_levels_equal_plain_kernel(inputs, {2, 3, 4, 5, 6, 7, 15, 16, 17, 18, 31, 32, 33, 34, 63, 64, 65, 66, 72, 76, 100});
}

TEST(QuotedPrintableKernel, TokensInEveryLaneAndNearTheInputsEndGiveThePlainKernelsBytes) {
  // Each token at every lane of the first windows, followed by so few bytes
  // that the windows' last one falls before, on or after it: escapes and line
  // ends that pass a window's end, soft breaks whose CR and LF are tokens of
  // the same window, soft breaks after white space that run past it, and
  // control bytes that some levels look at but copy.
  static const char *const kTokens[] = {"=C3=A9", "=\r\n", "\r\n",  "=20\r\n", "= \t\r\nz", "\x01", "\t",  "\x0B=41",
                                        "=\n",    "\n\r",  " \r\n", "\xE2\x82\xAC", "=4",       "=\r",  "\t\r\n", "=3d=\r\n"};
  std::vector<std::string> inputs;
  for (const char *token : kTokens) {
    for (size_t at = 0; at < 40; ++at) {
      for (size_t after : {0, 1, 2, 3, 14, 15, 16, 17, 18, 19, 33}) {
        inputs.push_back(std::string(at, 'x') + token + std::string(after, 'y'));
      }
    }
  }
  // Tokens in twos at every pair of lanes of a window: the second found from
  // the same mask after the first moved the output.
  for (size_t first = 0; first < 18; ++first) {
    for (size_t gap = 0; gap < 18; ++gap) {
      for (const char *pair : {"=C3", "\r\n", "=\r\n", "\xC3"}) {
        inputs.push_back(std::string(first, 'a') + pair + std::string(gap, 'b') + "=A9" + std::string(40, 'c'));
        inputs.push_back(std::string(first, 'a') + pair + std::string(gap, 'b') + "\r\n" + std::string(40, 'c'));
      }
    }
  }
  expect_levels_equal_plain_kernel(inputs, {2, 3, 5, 16, 17, 20, 76});
}

TEST(QuotedPrintableKernel, LinesLongerThanAMebibyteBreakAsThePlainKernel) {
  // Line lengths around and above what the vector levels keep as an address
  // in the output (their room is cut at 1 MiB and the column found from the
  // output): lines that end before, near and past a mebibyte, across many
  // stretches.
  std::mt19937 rng(31);
  std::string text = random_text(rng, (size_t{5} << 20) / 2, "abcdefgh =\xC3");
  text.insert(size_t{3} << 19, "\r\n");
  text.insert(size_t{1} << 16, " \r\n");
  expect_levels_equal_plain_kernel({text}, {(1 << 20) - 70000, (1 << 20) + 3, (1 << 20) + 100000, 3 << 20, INT32_MAX});
}

TEST(QuotedPrintableKernel, AdjacentTokensAtEveryLaneAndNearTheInputsEndGiveThePlainKernelsBytes) {
  // Runs of tokens that the windows take one after another without a new
  // mask: escapes of a UTF-8 character, the CR LF after them, a soft break
  // and the escapes after it, and runs the rules cut short (an invalid or
  // lower-case pair, a soft break inside the run, a fourth escape). Each
  // starts at every lane of the first windows, so that the run passes the
  // window's end by every amount, and is followed by so few bytes that it
  // reaches the last window and the input's end. The encoder sees the
  // UTF-8 bytes as such runs.
  static const char *const kRuns[] = {"=C3=A9",           "=E2=82=AC",      "=E2=82=AC=C3=A9", "=C3=A9\r\n",
                                      "=E2=82=AC\r\nx",   "=20\r\n",        "=\r\n=C3=A9",     "=\r\n=E2=82=AC\r\n",
                                      "=C3=a9=3d",        "=C3=G9=A9",      "=C3=\r\n=A9",     "=C3=A9\r\r\n",
                                      "=C3=A9\n\r",       "=\r\n\r\n",      "=\r\n=\r\n=41",   "\xC3\xA9\xE2\x82\xAC",
                                      "\xE2\x82\xAC\xC3", "\xC3\xA9\r\n",   "\xC3 \xA9\t\xE2", "=C3=A9="};
  std::vector<std::string> inputs;
  for (const char *run : kRuns) {
    for (size_t at = 0; at < 50; ++at) {
      for (size_t after : {0, 1, 2, 3, 5, 8, 13, 16, 17, 20, 29, 30, 31, 33, 45}) {
        inputs.push_back(std::string(at, 'x') + run + std::string(after, 'y'));
      }
    }
  }
  // Runs across the encoder's stretches and its line room.
  for (size_t at = ztk::qp::kStretch - 7; at <= ztk::qp::kStretch + 2; ++at) {
    inputs.push_back(std::string(at, 'a') + "\xE2\x82\xAC\xC3\xA9" + std::string(60, 'b'));
  }
  expect_levels_equal_plain_kernel(inputs, {2, 4, 5, 7, 8, 10, 16, 17, 40, 76});
}

TEST(QuotedPrintableKernel, RunsBrokenAtTheLineRoomByEveryAmountGiveThePlainKernelsBytes) {
  // A run of letters that passes the line's room by 0 to 70 bytes before an
  // escape or a line end ends it: the rest of the run moves after the soft
  // break by one block or by several.
  std::vector<std::string> inputs;
  for (size_t k = 40; k <= 160; ++k) {
    for (const char *then : {"\xC3\xA9", "\r\n", "=", "\xE2\x82\xAC"}) {
      inputs.push_back(std::string(k, 'w') + then + std::string(k % 23, 'v') + then + std::string(50, 'u'));
    }
  }
  expect_levels_equal_plain_kernel(inputs, {3, 10, 20, 33, 50, 76});
}

TEST(QuotedPrintableKernel, TokenPairsAcrossJoinedWindowsGiveThePlainKernelsBytes) {
  // Windows join the masks of several blocks: a run of tokens ends anywhere
  // in one and the next token lies up to a window or more further, so that
  // the blocks stored after the run stop short of it, reach it or pass the
  // window's end, and the run itself may pass that end.
  static const char *const kFirst[] = {"=C3=A9", "=20\r\n", "=\r\n", "\r\n", "=E2=82=AC"};
  static const char *const kSecond[] = {"=41", "\r\n", "=\r\n"};
  // Text that differs at every offset, so that a byte left where an earlier
  // store put it shows.
  std::string text;
  for (size_t k = 0; k < 80; ++k) text += static_cast<char>('!' + (k * 7 + k / 11) % 90 + ((k * 7 + k / 11) % 90 >= 28));
  std::vector<std::string> inputs;
  for (size_t at = 0; at < 70; at += 3) {
    for (size_t gap = 0; gap < 72; ++gap) {
      for (const char *first : kFirst) {
        for (const char *second : kSecond) {
          inputs.push_back(text.substr(0, at) + first + text.substr(at % 5, gap) + second + text.substr(3, 70));
        }
      }
    }
  }
  expect_levels_equal_plain_kernel(inputs, {76});
}

TEST(QuotedPrintableKernel, TokenRunsInEveryLaneOfTheLastWindowsGiveThePlainKernelsBytes) {
  // The longest runs the windows take in one step, at every lane and followed
  // by every number of bytes up to two windows: the blocks stored after a
  // run in a window's last lanes are what reads furthest past it, and an
  // input that ends right after them ends right before an unreadable page.
  std::vector<std::string> inputs;
  for (const char *run : {"=F0=9F=98=80", "=\r\n=F0=9F=98=80", "=C3=A9\r\n", "=41", "=41=42=43=44=45=46"}) {
    for (size_t at = 0; at < 72; ++at) {
      for (size_t after = 0; after <= 64; ++after) {
        inputs.push_back(std::string(at, 'x') + run + std::string(after, 'y'));
      }
    }
  }
  expect_levels_equal_plain_kernel(inputs, {76});
}

TEST(QuotedPrintableKernel, TokensCutByTheInputsEndAfterMailGiveThePlainKernelsBytes) {
  // Mail of every length up to a few windows and then a token the input's
  // end cuts short, right before an unreadable page: the windows must stop
  // before anything a token could read past the end.
  std::vector<std::string> inputs;
  for (size_t n = 0; n <= 160; ++n) {
    const std::string mail = ztk_bench::qp_mail(n);
    for (const char *cut : {"=", "=4", "=\r", "=C3=", "=C3=A", "=20\r", " =", "\r"}) inputs.push_back(mail + cut);
  }
  expect_levels_equal_plain_kernel(inputs, {76});
}

TEST(QuotedPrintableKernel, EveryTwoBytesAfterATokensFirstByteGiveThePlainKernelsBytes) {
  // The decoder's windows look an escape's two digits up as one 16-bit word:
  // every pair of bytes after an "=" that starts a run, after an escape
  // inside a run and after a soft break, and after CR and LF, whose tokens
  // take the same lookup.
  static const char *const kBefore[] = {"ab=", "a=C3=", "=\r\n=", "=41=42=43=", "x\r", "x\n"};
  std::vector<std::string> inputs;
  for (const char *before : kBefore) {
    for (int first = 0; first < 256; ++first) {
      std::string in;
      for (int second = 0; second < 256; ++second) {
        in += before;
        in += static_cast<char>(first);
        in += static_cast<char>(second);
        in += "yz";
      }
      inputs.push_back(in);
    }
  }
  expect_levels_equal_plain_kernel(inputs, {76});
}

TEST(QuotedPrintableKernel, EveryTwoBytesAfterALoneEqualsAmongEscapesDecodeAsThePlainKernel) {
  // Every pair after an "=" with only valid escapes and text in the same
  // 32 bytes: the wide decoder tells digits from other bytes for a whole
  // block at once, and a pair it takes wrongly for digits (or the reverse)
  // is decoded there rather than handed to the one-token steps.
  std::vector<std::string> inputs;
  for (int first = 0; first < 256; ++first) {
    std::string in;
    for (int second = 0; second < 256; ++second) {
      in += "text =41=c3 and ";
      in += '=';
      in += static_cast<char>(first);
      in += static_cast<char>(second);
      in += " more text =0A=Ff to end";
    }
    inputs.push_back(in);
  }
  for_each_level([&](ztk::cpu::Level) {
    for (const std::string &in : inputs) {
      const GuardedBytes guarded(in);
      const std::string got = decoded_by(ztk::qp::decode, guarded.view());
      const std::string want = decoded_by(ztk::qp::decode_reference, guarded.view());
      ASSERT_TRUE(got == want) << "decoding \"=\", byte " << static_cast<int>(static_cast<uint8_t>(in[17])) << ", every byte: "
                               << difference(got, want);
    }
  });
}

TEST(QuotedPrintableKernel, RunsThatPassAWindowsEndBeforeANearTokenGiveThePlainKernelsBytes) {
  // The next window starts where a run that passed its end stopped: runs at
  // every lane of the first windows, then a token or one the input's end cuts
  // short after a few bytes, so that it falls in the lanes the run took, right
  // after them or a little later.
  static const char *const kRuns[] = {"=F0=9F=98=80", "=\r\n=E2=82=AC", "=C3=A9\r\n", "=20\r\n", "=\r\n"};
  static const char *const kNext[] = {"=41", "\r\n", "=\r\n", "\n", "=4", "=", "=\r", "\x01"};
  std::vector<std::string> inputs;
  for (const char *run : kRuns) {
    for (size_t at = 0; at < 70; ++at) {
      for (size_t gap : {0, 1, 2, 3, 5, 8, 13, 17}) {
        for (const char *next : kNext) {
          const std::string in = std::string(at, 'x') + run + std::string(gap, 'y') + next;
          inputs.push_back(in);
          inputs.push_back(in + std::string(40, 'z'));
        }
      }
    }
  }
  expect_levels_equal_plain_kernel(inputs, {76});
}

TEST(QuotedPrintableKernel, EscapedPairsAtEveryLaneAndColumnGiveThePlainKernelsBytes) {
  // The encoder's windows take an escape and the byte after it in one step
  // when that byte is escaped too, and write its escape either way: each pair
  // (and each escape followed by a byte that is not escaped: a line end, a
  // tab, white space before a line end, a literal) starts at every lane of
  // the first two joined windows, so that its second byte lies in the next
  // block or past the window, and is followed by so few bytes that it meets
  // the last window and the input's end. The line lengths put the line's
  // room before, between and after the two escapes.
#ifdef ZTK_EMULATED_TARGET
  constexpr size_t kLanes = 40;
#else
  constexpr size_t kLanes = 70;
#endif
  static const char *const kPairs[] = {"\xC3\xA9", "\xE2\x82\xAC", "\xC3\r\n", "\xC3\n\r", "\xC3\r",  "\xC3\t",
                                       "\xC3 \r\n", "\xC3 x",     "==",         "=\x7F",    "\x01\x02", "\xC3=",
                                       "\xFF\t\n",  "\xC3z"};
  std::vector<std::string> inputs;
  for (const char *pair : kPairs) {
    for (size_t at = 0; at < kLanes; ++at) {
      for (size_t after : {0, 1, 2, 15, 16, 17, 31, 32, 33, 34, 48, 65}) {
        inputs.push_back(std::string(at, 'x') + pair + std::string(after, 'y'));
      }
    }
  }
  expect_levels_equal_plain_kernel(inputs, {4, 5, 6, 7, 8, 9, 10, 19, 20, 21, 34, 35, 36, 76});
}

TEST(QuotedPrintableKernel, ProseOfEscapedPairsBreaksAtEveryColumnAsThePlainKernel) {
  // Lines of letters and UTF-8 characters whose escapes reach the line's room
  // at every column: lines that cross it exactly at a character's first or
  // second escape, at the CR LF after one (which may fall across two blocks)
  // or in a run after them; each ends right before an unreadable page.
  std::mt19937 rng(47);
  std::vector<std::string> inputs;
  for (size_t n = 60; n <= 260; ++n) {
    std::string s;
    while (s.size() < n) {
      const unsigned pick = rng() % 10;
      s += pick < 5 ? std::string(1 + rng() % 6, 'a') : pick < 8 ? "\xC3\xA9" : pick == 8 ? "\xE2\x82\xAC" : "\r\n";
    }
    inputs.push_back(s.substr(0, n));
  }
  expect_levels_equal_plain_kernel(inputs, {5, 6, 7, 8, 9, 10, 11, 12, 16, 17, 18, 33, 34, 35, 75, 76, 77});
}

namespace {
// Where each stretch of an encoding stopped, what it wrote and the state it
// left, with the output after: the stretches' ends decide how the output
// grows, which must not depend on the level.
std::string stretches_of(const ztk::qp::Kernels &k, ztk::ByteView in, int32_t lineLength) {
  ztk::qp::EncoderState state{lineLength};
  std::string trace, out;
  std::vector<uint8_t> room;
  size_t i = 0;
  while (i < in.size) {
    const size_t end = in.size - i > ztk::qp::kStretch ? i + ztk::qp::kStretch : in.size;
    room.assign((end - i) * ztk::qp::kMostPerByte + ztk::qp::kMostAtFinish, 0);
    size_t written;
    i = k.encode_stretch(in, i, end, state, room.data(), written);
    trace += std::to_string(i) + "/" + std::to_string(written) + "/" + std::to_string(state.column) + "/" +
             std::to_string(state.pending) + " ";
    out.append(room.begin(), room.begin() + static_cast<std::ptrdiff_t>(written));
  }
  return trace + out;
}
}  // namespace

TEST(QuotedPrintableKernel, TokensAtEveryLaneBeforeAStretchsEndGiveThePlainKernelsBytes) {
  // The encoder works in stretches, whose last window is cut at the
  // stretch's end: each token at every lane of it and right after it (a line
  // end's partner past the end, white space whose next byte is the next
  // stretch's), after prose that puts the end at many columns, and the input
  // going on for a window or more after it, or ending right there.
  const size_t kEnd = ztk::qp::kStretch;
  // A tab is a token to the windows but may sit in a run of the plain loop,
  // which holds white space at a stretch's end only outside a run.
  static const char *const kTokens[] = {"\xC3\xA9", "\r\n", " \r\n", "\t\r\n", "\t", " ", "=", "\r", "\n",
                                        "=\r\n",    " \t",   "\tx =",  "\t =",    "x\t =", "\tx \r\n"};
  std::mt19937 rng(53);
  std::vector<std::string> inputs;
  for (const char *token : kTokens) {
    for (size_t back = 0; back <= 36; ++back) {
      std::string s = ztk_bench::crlf_prose(kEnd - back + rng() % 3);
      s.resize(kEnd - back, 'p');
      s += token;
      for (size_t after : {0, 1, 33, 70}) inputs.push_back(s + std::string(after, 'q'));
      inputs.push_back(s + ztk_bench::crlf_prose(kEnd + 40));
    }
  }
#ifdef ZTK_EMULATED_TARGET
  const std::vector<int32_t> lineLengths = {17, 72};
#else
  const std::vector<int32_t> lineLengths = {5, 17, 33, 72, 76, 1000};
#endif
  expect_levels_equal_plain_kernel(inputs, lineLengths);
  for_each_level([&](ztk::cpu::Level) {
    for (const std::string &in : inputs) {
      const GuardedBytes guarded(in);
      for (int32_t lineLength : lineLengths) {
        const std::string got = stretches_of(ztk::qp::kernels(), guarded.view(), lineLength);
        const std::string want = stretches_of(ztk::qp::plain::kKernels, guarded.view(), lineLength);
        ASSERT_TRUE(got == want) << "encoding " << in.size() << " bytes at line length " << lineLength << ": "
                                 << difference(got, want);
      }
    }
  });
}
