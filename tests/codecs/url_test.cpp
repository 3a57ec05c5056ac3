#include "codecs/url.h"

#include <random>

#include "host_test.h"
#include "kernel_levels.h"
#include "reference_codecs.h"
#include "../../bench/bench_inputs.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(EncodingToURLZTK);
ZTK_GENERATION_SUITE(DecodingFromURLZTK);

namespace {

ztk::ByteView view(const std::string &s) { return {reinterpret_cast<const uint8_t *>(s.data()), s.size()}; }

// The encoder on `toEncode` and the decoder on `toDecode`, at every level and
// in every mode, against `encodeRef` and `decodeRef` (by default the one-byte
// rules). Each input ends right before an unreadable page, and so does the
// encoder's output room, exactly what it promises: a block loop that stops
// too late faults.
template <class EncodeRef, class DecodeRef>
void expect_every_level(const std::vector<std::string> &toEncode, const std::vector<std::string> &toDecode,
                        EncodeRef encodeRef, DecodeRef decodeRef) {
  for (int64_t options = 0; options < 4; ++options) {
    SCOPED_TRACE(options);
    expect_equal_at_every_level(
        toEncode,
        [&](ztk::ByteView in) {
          GuardedBytes out(std::string(ztk::url::max_encoded_size(in.size), '\0'));
          const size_t n = ztk::url::encode(in, options, reinterpret_cast<char *>(out.bytes()));
          return std::string(out.bytes(), out.bytes() + n);
        },
        [&](const std::string &in) { return encodeRef(in, options); });
    expect_equal_at_every_level(
        toDecode,
        [&](ztk::ByteView in) {
          GuardedBytes out(std::string(in.size, '\0'));
          return std::string(out.bytes(), out.bytes() + ztk::url::decode(in, options, out.bytes()));
        },
        [&](const std::string &in) { return decodeRef(in, options); });
  }
}

void expect_every_level(const std::vector<std::string> &toEncode, const std::vector<std::string> &toDecode) {
  expect_every_level(
      toEncode, toDecode, [](const std::string &in, int64_t options) { return reference::url_encode(in, options); },
      [](const std::string &in, int64_t options) { return reference::url_decode(in, options); });
}

}  // namespace

TEST_P(EncodingToURLZTK, OptionsChooseSpaceAndPlus) {
  const char *expected[] = {"a%20b+c", "a+b%2Bc", "a%20b%2Bc", "a%20b+c"};
  for (int64_t options : {int64_t{0}, int64_t{1}, int64_t{2}, int64_t{3}, int64_t{5}, (int64_t{1} << 32) + 2, int64_t{-1}}) {
    if (!fits(options)) continue;
    SCOPED_TRACE(options);
    EXPECT_EQ(call("EncodingToURLZTK", {S("a b+c"), I(options)}).bytes, expected[options & 3]);
  }
  EXPECT_EQ(call("EncodingToURLZTK", {S("a b+c")}).bytes, "a%20b+c");
}

TEST_P(EncodingToURLZTK, KeepsOnlyAlphanumericsAndSixMarks) {
  struct Case {
    std::string in, out;
  } cases[] = {{"~'()", "%7E%27%28%29"},
               {"!*-._@", "!*-._@"},
               {"\"/:\n", "%22%2F%3A%0A"},
               {"\xC3\xA9", "%C3%A9"},
               {"\xFF", "%FF"},
               {"Az09", "Az09"}};
  for (const Case &c : cases) {
    Result r = call("EncodingToURLZTK", {S(c.in, enc::kNone)});
    EXPECT_EQ(r.bytes, c.out);
    EXPECT_EQ(r.encoding, enc::kASCII);
  }
  EXPECT_EQ(call("EncodingToURLZTK", {U16(u"A")}).bytes, "A%00") << "UTF-16 is encoded as stored";
}

TEST_P(EncodingToURLZTK, EveryByteHasOneEscapeOrItself) {
  std::string all;
  for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
  const std::string out = call("EncodingToURLZTK", {S(all, enc::kNone), I(2)}).bytes;
  std::string expected;
  const std::string kept = "!*-._@";
  for (int b = 0; b < 256; ++b) {
    if (isalnum(b) && b < 0x80) {
      expected += static_cast<char>(b);
    } else if (kept.find(static_cast<char>(b)) != std::string::npos) {
      expected += static_cast<char>(b);
    } else {
      char esc[4];
      snprintf(esc, sizeof esc, "%%%02X", b);
      expected += esc;
    }
  }
  EXPECT_EQ(out, expected);
}

TEST_P(DecodingFromURLZTK, DecodesEscapesLeniently) {
  struct Case {
    const char *name;
    std::string in;
    int64_t options;
    std::string out;
    uint32_t encoding;
  } cases[] = {
      {"plus kept in mode 0", "a%20b+c", 0, "a b+c", enc::kASCII},
      {"plus kept in mode 2", "a%20b+c", 2, "a b+c", enc::kASCII},
      {"plus is space in mode 1", "a%20b+c", 1, "a b c", enc::kASCII},
      {"plus is space in mode 3", "a%20b+c", 3, "a b c", enc::kASCII},
      {"escaped plus stays", "%2B", 1, "+", enc::kASCII},
      {"either case digits", "%c3%A9", 0, "\xC3\xA9", enc::kNone},
      {"ascii escape", "%41", 0, "A", enc::kASCII},
      {"bad digits are zero", "%zz", 0, std::string(1, '\0'), enc::kASCII},
      {"half bad", "%4G", 0, "@", enc::kASCII},
      {"cut short at end", "100%", 0, std::string("100\0", 4), enc::kASCII},
      {"one digit at end", "%4", 0, "@", enc::kASCII},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    Result r = call("DecodingFromURLZTK", {S(c.in, enc::kASCII), I(c.options)});
    EXPECT_EQ(r.bytes, c.out);
    EXPECT_EQ(r.encoding, c.encoding);
  }
}

TEST_P(DecodingFromURLZTK, EmptyInputAndFailuresGiveEmptyString) {
  EXPECT_TRUE(call("DecodingFromURLZTK", {NullString()}).null);
  EXPECT_TRUE(call("DecodingFromURLZTK", {Empty()}).null);
  EXPECT_TRUE(call("EncodingToURLZTK", {Empty()}).null);
  EXPECT_TRUE(call("EncodingToURLZTK", {NullString(), I(1)}).null);
  // Results of up to 4 KiB are made on the stack; a longer one's block that
  // cannot be had gives the empty result.
  REALstring s = S("a b"), longer = S(std::string(5000, 'a'));
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("EncodingToURLZTK", {S(std::string(1400, ' '))}).null);
  plugin->fail_allocation(1);
  EXPECT_TRUE(call("DecodingFromURLZTK", {longer}).null);
  plugin->fail_allocation(1);
  EXPECT_EQ(call("EncodingToURLZTK", {s}).bytes, "a%20b") << "a short result needs no memory";
  plugin->fail_allocation(1);
  EXPECT_EQ(call("DecodingFromURLZTK", {s}).bytes, "a b");
  plugin->fail_allocation(0);
  host.failures["REALBuildString"].always = true;
  EXPECT_TRUE(call("EncodingToURLZTK", {s}).null);
}

TEST_P(EncodingToURLZTK, DecodingUndoesEncodingInEveryMode) {
  std::mt19937 rng(11);
  for (int options = 0; options < 4; ++options) {
    for (int len : {1, 7, 300}) {
      std::string bytes(len, '\0');
      for (char &b : bytes) b = static_cast<char>(rng());
      const std::string encoded = call("EncodingToURLZTK", {S(bytes, enc::kNone), I(options)}).bytes;
      // Option 3 encodes as option 0 does (a plus stays a plus), so it is undone by option 0.
      const int decodeOptions = options == 3 ? 0 : options;
      EXPECT_EQ(call("DecodingFromURLZTK", {S(encoded, enc::kASCII), I(decodeOptions)}).bytes, bytes);
    }
  }
}

TEST(UrlKernel, EveryBytePairRoundTrips) {
  char out[6];
  uint8_t back[6];
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const uint8_t in[2] = {static_cast<uint8_t>(a), static_cast<uint8_t>(b)};
      for (int options = 0; options < 4; ++options) {
        const size_t n = ztk::url::encode({in, 2}, options, out);
        ASSERT_LE(n, ztk::url::max_encoded_size(2));
        ASSERT_EQ(ztk::url::decode({reinterpret_cast<uint8_t *>(out), n}, options == 3 ? 0 : options, back), 2u);
        ASSERT_EQ(back[0], in[0]);
        ASSERT_EQ(back[1], in[1]);
      }
    }
  }
}

TEST(UrlKernel, EveryLevelGivesTheOneByteRules) {
#ifdef ZTK_EMULATED_TARGET
  constexpr size_t kLongest = 100;
#else
  constexpr size_t kLongest = 300;
#endif
  std::mt19937 rng(3);
  auto inputs = token_inputs(rng, {"%", "%4", "%41", "%zz", "+", " ", "~", "@", "_-.!*"}, kLongest);
  // Whole blocks that need no escaping, one byte that does at a block's edges.
  for (size_t at : {0, 63, 64, 65, 127, 128, 250, 399}) {
    std::string s(400, 'q');
    s[at] = at % 2 ? ' ' : '+';
    inputs.push_back(s);
  }
  expect_every_level(inputs, inputs);
}

// Long inputs at every level against the plain kernels: many 64-byte blocks,
// escapes dense, sparse and absent, and the encoder's output room exactly what
// it promises, so that a block loop which stops too late faults.
TEST(UrlKernel, EveryLevelEqualsThePlainKernelsOnLongInputs) {
  std::mt19937 rng(29);
  std::string sparse = random_text(rng, 6000, "abcdefghijklmnopqrstuvwxyz0123456789");
  for (size_t at = 0; at < sparse.size(); at += 1 + rng() % 200) sparse[at] = "% +~\xE9"[rng() % 5];
  const std::vector<std::string> inputs = {random_text(rng, 5000), random_text(rng, 5000, "abcXYZ019 +%~"), sparse,
                                           std::string(4099, 'k'), std::string(4099, ' ')};
  expect_every_level(
      inputs, inputs,
      [&](const std::string &in, int64_t options) {
        std::string out(ztk::url::max_encoded_size(in.size()), '\0');
        out.resize(ztk::url::encode_reference(view(in), options, out.data()));
        return out;
      },
      [&](const std::string &in, int64_t options) {
        std::string out(in.size(), '\0');
        out.resize(ztk::url::decode_reference(view(in), options, reinterpret_cast<uint8_t *>(out.data())));
        return out;
      });
}

// Query strings, escape-dense non-Latin text and bytes drawn from the
// escapes at every level against the one-byte rules, in every mode: many
// blocks of every width, cut at every length around the block edges, each
// input (and the encoder's exact output room) ending right before an
// unreadable page.
TEST(UrlKernel, EveryLevelGivesTheOneByteRulesOnQueriesAndDenseEscapes) {
  std::mt19937 rng(31);
  std::vector<std::string> plainInputs, encodedInputs;
  const std::string values = ztk_bench::query_values(20000), dense = ztk_bench::url_dense_text(20000);
  const std::string query = ztk_bench::url_query(20000), denseQuery = ztk_bench::url_dense(20000);
  for (size_t n : {size_t{1}, size_t{100}, size_t{4099}, size_t{20000}}) {
    plainInputs.push_back(values.substr(0, n));
    plainInputs.push_back(dense.substr(0, n));
    encodedInputs.push_back(query.substr(0, n));
    encodedInputs.push_back(denseQuery.substr(0, n));
  }
  // Long stretches with nothing to decode, then escapes: loops that store
  // such stretches whole must notice the next escape at any place of a block.
  std::string stretches = random_text(rng, 20000, "abcdefghijklmnopqrstuvwxyz");
  for (size_t at = 0; at + 3 < stretches.size(); at += 257 + rng() % 700) {
    stretches.replace(at, 3, rng() % 2 ? "%4a" : "+b+");
  }
  encodedInputs.push_back(stretches);
  for (size_t n = 60; n <= 140; ++n) {
    plainInputs.push_back(values.substr(0, n));
    encodedInputs.push_back(query.substr(0, n));
    encodedInputs.push_back(denseQuery.substr(0, n));
  }
  for (size_t n : {31, 32, 33, 63, 64, 65, 127, 128, 129, 1000, 5000}) {
    plainInputs.push_back(random_text(rng, n, " +%!*-._@~/az09\xE9\x80"));
    plainInputs.push_back(random_text(rng, n));
    encodedInputs.push_back(random_text(rng, n, "%%%++4aF0g "));
    encodedInputs.push_back(random_text(rng, n, "%+abcdefghijklmnopqrstuvwxyz"));
    std::string s = random_text(rng, n, "abcdefgh");
    s[n - 2] = '%';  // an escape cut short after whole blocks
    encodedInputs.push_back(s);
  }
  expect_every_level(plainInputs, encodedInputs);
}

// A token at every place of the first blocks, after long clean stretches
// too: escapes whose digits cross into the next block, overlapping and cut
// escapes for the decoder; a byte to escape in clean text, and a kept byte
// in text that is all escapes, for the encoder.
TEST(UrlKernel, EveryLevelTakesATokenAtEveryPlaceOfABlock) {
  std::vector<std::string> encoded, plainText;
  for (size_t lead : {size_t{0}, size_t{600}}) {
    for (size_t at = 0; at < 140; ++at) {
      for (const char *token : {"%4a", "+", "%%41", "%4+"}) {
        std::string s(lead + 150, 'k');
        s.replace(lead + at, std::strlen(token), token);
        encoded.push_back(s);
        encoded.push_back(s.substr(0, lead + at + 2));  // cut after the token's first two bytes
      }
      std::string clean(lead + 150, 'k'), dense(lead + 150, '\xE9');
      clean[lead + at] = ' ';
      dense[lead + at] = 'k';
      plainText.push_back(clean);
      plainText.push_back(dense);
    }
  }
  expect_every_level(plainText, encoded);
}
