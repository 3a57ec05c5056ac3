#include "codecs/yenc.h"

#include "host_test.h"
#include "kernel_levels.h"
#include "reference_codecs.h"
#include "../../bench/bench_inputs.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(yDecodeZTK);

TEST_P(yDecodeZTK, DecodesEveryByteIncludingLineBreaks) {
  struct Case {
    const char *name;
    std::string in, out;
    uint32_t encoding;
  } cases[] = {
      {"letters", "kl", "AB", enc::kASCII},
      {"star is zero", "*", std::string(1, '\0'), enc::kASCII},
      {"zero wraps", std::string(1, '\0'), "\xD6", enc::kNone},
      {"escaped pair", "=@", "\xD6", enc::kNone},
      {"escape equals LF", "=J\n", "\xE0\xE0", enc::kNone},
      {"CR decodes too", "\r", "\xE3", enc::kNone},
      {"trailing escape dropped", "k=", "A", enc::kASCII},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    Result s = call("_yDecodeStringZTK", {S(c.in, enc::kNone)});
    EXPECT_EQ(s.bytes, c.out);
    EXPECT_EQ(s.encoding, c.encoding);
    Result m = call("_yDecodeMemoryZTK", {MB(c.in)});
    EXPECT_FALSE(m.null);
    EXPECT_EQ(m.bytes, c.out);
  }
}

TEST_P(yDecodeZTK, EmptyInputGivesNoResultAndNoException) {
  for (Value v : {NullBlock(), Value(MB(""))}) {
    Result r = call("_yDecodeMemoryZTK", {v});
    EXPECT_TRUE(r.null);
    EXPECT_EQ(r.exceptionClass, "");
  }
  EXPECT_TRUE(call("_yDecodeStringZTK", {NullString()}).null);
  EXPECT_TRUE(call("_yDecodeStringZTK", {Empty()}).null);
}

TEST_P(yDecodeZTK, MissingResultBlockRaisesOutOfMemory) {
  REALobject in = MB("klm=@");
  host.failures["newMemoryBlock"].always = true;
  Result r = call("_yDecodeMemoryZTK", {in});
  EXPECT_TRUE(r.null);
  EXPECT_EQ(r.exceptionClass, "OutOfMemoryException");
  EXPECT_EQ(r.exceptionMessage, "Failed to allocate a memoryblock with 4 bytes in size.");
  EXPECT_EQ(r.errorNumber, 0);

  host.failures["PluginNewInstance"].onCall = 1;  // falls back to RuntimeException
  r = call("_yDecodeMemoryZTK", {in});
  EXPECT_EQ(r.exceptionClass, "RuntimeException");
  EXPECT_EQ(r.exceptionMessage, "Failed to allocate a memoryblock with 4 bytes in size.");

  host.failures["PluginNewInstance"].always = true;
  r = call("_yDecodeMemoryZTK", {in});
  EXPECT_TRUE(r.null);
  EXPECT_EQ(r.exceptionClass, "");
}

TEST_P(yDecodeZTK, WorkBufferFailureGivesNoResultWithoutException) {
  // A work buffer of up to 4 KiB is on the stack; a longer one that cannot be
  // had gives no result and no exception.
  plugin->fail_allocation(1);
  Result r = call("_yDecodeMemoryZTK", {MB(std::string(5000, 'k'))});
  EXPECT_TRUE(r.null);
  EXPECT_EQ(r.exceptionClass, "");
  plugin->fail_allocation(1);
  EXPECT_EQ(call("_yDecodeMemoryZTK", {MB("kl")}).bytes, "AB");
  plugin->fail_allocation(0);
}

TEST_P(yDecodeZTK, MissingMemoryBlockServicesReadAsEmpty) {
  for (const char *service : {"memoryBlockGetPtr", "memoryBlockGetSize"}) {
    SCOPED_TRACE(service);
    subhost::Settings s = default_settings();
    s.withheld = {service};
    start(s);
    Result r = call("_yDecodeMemoryZTK", {MB("kl")});
    EXPECT_TRUE(r.null);
  }
}

// Each input decoded at every level, into an output that ends right before
// an unreadable page, against the one-byte rule.
static void expect_every_level_decodes_as_one_byte_rule(const std::vector<std::string> &inputs) {
  expect_equal_at_every_level(
      inputs,
      [](ztk::ByteView in) {
        GuardedBytes out(std::string(in.size, '\0'));
        return std::string(out.bytes(), out.bytes() + ztk::yenc::decode(in, out.bytes()));
      },
      [](const std::string &in) { return reference::ydecode(in); });
}

TEST(YencKernel, OutputLengthIsInputLessEscapes) {
  std::string in;
  for (int b = 0; b < 256; ++b) in += static_cast<char>(b);
  uint8_t out[256];
  const size_t n = ztk::yenc::decode({reinterpret_cast<const uint8_t *>(in.data()), in.size()}, out);
  EXPECT_EQ(n, 255u) << "one escape consumed";
  EXPECT_EQ(out[0], static_cast<uint8_t>(0 - 42));
  EXPECT_EQ(out[0x3D], static_cast<uint8_t>(0x3E - 106)) << "escape applies to the following byte";
}

TEST(YencKernel, EveryLevelGivesTheOneByteRules) {
#ifdef ZTK_EMULATED_TARGET
  constexpr size_t kLongest = 100;
#else
  constexpr size_t kLongest = 300;
#endif
  std::mt19937 rng(9);
  expect_every_level_decodes_as_one_byte_rule(token_inputs(rng, {"=", "=J", "=M", "\r\n", "=="}, kLongest));
}

// Articles of 128-character lines and escape-dense bytes at every level
// against the one-byte rule: many blocks of every width, escapes at every
// place of a block (a final one, one before CR LF, "==" pairs), each input
// ending right before an unreadable page.
TEST(YencKernel, EveryLevelGivesTheOneByteRulesOnArticlesAndDenseEscapes) {
  std::mt19937 rng(23);
  std::vector<std::string> inputs;
  const std::string article = ztk_bench::yenc_article(70000);
  for (size_t n : {size_t{1}, size_t{130}, size_t{4099}, article.size()}) inputs.push_back(article.substr(0, n));
  for (size_t n = 100; n <= 200; ++n) inputs.push_back(article.substr(0, n));
  inputs.push_back(ztk_bench::yenc_all_escaped(5000));
  // Long stretches with no escape, then escapes: loops that store such
  // stretches whole must notice the next escape at any place of a block.
  std::string stretches = random_text(rng, 20000, "abcdefghijklmnopqrstuvwxyz");
  for (size_t at = 0; at + 1 < stretches.size(); at += 257 + rng() % 700) stretches.replace(at, 2, "=J");
  inputs.push_back(stretches);
  for (size_t n : {31, 32, 33, 63, 64, 65, 127, 128, 129, 1000, 5000}) {
    inputs.push_back(random_text(rng, n, "===\r\n@JM"));
    inputs.push_back(random_text(rng, n, "=abcdefghijklmnopqrstuvwxyz0123456789"));
    std::string s = random_text(rng, n, "abcdefgh");
    s.back() = '=';  // a final escape after whole blocks
    inputs.push_back(s);
  }
  expect_every_level_decodes_as_one_byte_rule(inputs);
}

// An escape at every place of the first blocks, after long clean stretches
// too: the packing levels move the escape's offset across lanes and halves,
// and one in a block's last lane takes its byte from the next block.
TEST(YencKernel, EveryLevelTakesAnEscapeAtEveryPlaceOfABlock) {
  std::vector<std::string> inputs;
  for (size_t lead : {size_t{0}, size_t{600}}) {
    for (const char *token : {"=J", "==", "=\r\n"}) {
      for (size_t at = 0; at < 140; ++at) {
        std::string s(lead + 150, 'k');
        s.replace(lead + at, std::strlen(token), token);
        inputs.push_back(s);
        inputs.push_back(s.substr(0, lead + at + 1));  // a final escape
      }
    }
  }
  expect_every_level_decodes_as_one_byte_rule(inputs);
}

// Two escapes at every pair of places of a block, and a third beside them:
// blocks with up to two escapes are written in segments whose places come
// from the escapes, the others packed. Each lead puts the loop in another
// state: from the start, after clean text, after article blocks.
TEST(YencKernel, EveryLevelTakesEscapesAtEveryPairOfPlacesOfABlock) {
  const std::string article = ztk_bench::yenc_article(4096);
  std::vector<std::string> inputs;
  for (const std::string &lead : {std::string(), std::string(640, 'k'), article.substr(0, 512)}) {
    for (size_t a = 0; a < 66; ++a) {
      for (size_t b = a + 2; b < 67; ++b) {
        std::string s = lead + std::string(200, 'k');
        s[lead.size() + a] = '=';
        s[lead.size() + b] = '=';
        inputs.push_back(s);
        if ((a + b) % 5 == 0) {
          s[lead.size() + (b + 9) % 66] = '=';
          inputs.push_back(s);
        }
      }
    }
  }
  expect_every_level_decodes_as_one_byte_rule(inputs);
}
