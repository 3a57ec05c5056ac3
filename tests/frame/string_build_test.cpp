#include "frame/string_build.h"

#include <cstring>
#include <vector>

#include "frame/byte_checks.h"
#include "in_process.h"
#include "kernel_levels.h"

using namespace ztk_test;

using BuildUnicodeString = InProcessTest;

TEST_F(BuildUnicodeString, SingleByteTextIsTaggedASCIIWhenSevenBit) {
  struct Case {
    std::string bytes;
    uint32_t in, out;
  } cases[] = {{"abc", enc::kWindows1252, enc::kASCII},   {"ab\xE9", enc::kWindows1252, enc::kWindows1252},
               {"ab\xE9", enc::kNone, enc::kNone},        {"abc", enc::kMacRoman, enc::kASCII},
               {"abc", enc::kUTF8, enc::kUTF8},           {"abc", enc::kISOLatin1, enc::kISOLatin1},
               {"abc", 0x80000000u, 0x80000000u}};
  for (const Case &c : cases) {
    uint32_t tag = 0;
    EXPECT_EQ(take(REALBuildUnicodeString(c.bytes.data(), 3, c.in), &tag), c.bytes);
    EXPECT_EQ(tag, c.out) << std::hex << c.in;
  }
}

TEST_F(BuildUnicodeString, BadArgumentsGiveNull) {
  EXPECT_EQ(REALBuildUnicodeString(nullptr, 3, enc::kUTF8), nullptr);
  EXPECT_EQ(REALBuildUnicodeString("abc", 0, enc::kUTF8), nullptr);
  EXPECT_EQ(REALBuildUnicodeString("abc", -1, enc::kUTF8), nullptr);
  EXPECT_EQ(REALBuildUnicodeString("abc", int64_t{1} << 31, enc::kUTF8), nullptr);
}

TEST_F(BuildUnicodeString, UTF16AndUTF32BecomeUTF8) {
  const char16_t u16[] = u"h\u00E9";
  uint32_t tag = 0;
  EXPECT_EQ(take(REALBuildUnicodeString(u16, 4, enc::kUTF16), &tag), "h\xC3\xA9");
  EXPECT_EQ(tag, enc::kUTF8);
  const uint32_t u32[] = {'h', 0xE9, 0x1F600};
  EXPECT_EQ(take(REALBuildUnicodeString(u32, 12, enc::kUTF32)), "h\xC3\xA9\xEF\x98\x80") << "U+1F600 keeps 0xF600";
  EXPECT_EQ(take(REALBuildUnicodeString(u32, 3, enc::kUTF32), &tag), "") << "no whole unit";
  EXPECT_EQ(tag, enc::kUTF8);
}

// Short texts are narrowed on the stack, long ones in a heap block: both give
// the same text, and a long one whose block cannot be had gives none.
TEST_F(BuildUnicodeString, LongUTF32GivesWhatShortUTF32Gives) {
  std::vector<uint32_t> units(250);
  for (size_t i = 0; i < units.size(); ++i) units[i] = 'a' + i % 26;
  for (int64_t bytes : {4, 796, 799, 800, 1000}) {
    SCOPED_TRACE(bytes);
    const std::string s = take(REALBuildUnicodeString(units.data(), bytes, enc::kUTF32));
    EXPECT_EQ(s.size(), static_cast<size_t>(bytes / 4));
    for (size_t i = 0; i < s.size(); ++i) ASSERT_EQ(s[i], static_cast<char>('a' + i % 26));
  }
  ZTKTestingFailAllocation(1);
  EXPECT_EQ(REALBuildUnicodeString(units.data(), 1000, enc::kUTF32), nullptr);
}

TEST_F(BuildUnicodeString, FailedIntermediateBuildGivesConversionOfNothing) {
  const uint32_t u32[] = {'a'};
  host.failures["REALBuildString"].onCall = 1;
  EXPECT_EQ(REALBuildUnicodeString(u32, 4, enc::kUTF32), nullptr) << "the host converts a null string to null";
  host.failures["REALBuildString"].onCall = 1;
  EXPECT_EQ(REALBuildUnicodeString(u"a", 2, enc::kUTF16), nullptr);
}

TEST_F(BuildUnicodeString, RawBytesTagFollowsTheHighestByte) {
  for (int b = 0; b < 256; ++b) {
    const uint8_t bytes[3] = {'a', static_cast<uint8_t>(b), 'z'};
    EXPECT_EQ(ztk::RawBytesTag({bytes, 3}), b < 0x80 ? enc::kASCII : enc::kNone);
  }
}

// Results of up to 32 bytes are tagged by a few overlapping word loads instead
// of the kernel table: each length, with one high byte at each position (or
// none), ending right before an unreadable page, against the byte loop.
TEST_F(BuildUnicodeString, RawBytesTagOfShortResultsEqualsTheByteLoop) {
  for (size_t n = 1; n <= 40; ++n) {
    for (size_t at = 0; at <= n; ++at) {
      for (uint8_t high : {0x80, 0xC3, 0xFF}) {
        std::string bytes(n, 'a');
        if (at < n) bytes[at] = static_cast<char>(high);
        GuardedBytes guarded(bytes);
        const bool ascii = ztk::byte_checks::all_in_class_reference(guarded.view(), ztk::byte_checks::Class::Ascii);
        ASSERT_EQ(ztk::RawBytesTag(guarded.view()), ascii ? enc::kASCII : enc::kNone) << n << " " << at;
        ASSERT_EQ(ascii, at == n);
      }
    }
  }
  EXPECT_EQ(ztk::RawBytesTag({nullptr, 0}), enc::kASCII) << "no bytes are all ASCII";
}
