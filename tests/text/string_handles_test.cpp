#include "text/string_handles.h"

#include "in_process.h"
#include "text/byte_sink.h"

using namespace ztk_test;

using GrowableBuffers = InProcessTest;

TEST_F(GrowableBuffers, AsciiBufferGrowsByNeedPlusSlack) {
  AsciiStringHandle b(4096);
  const std::string chunk(4092, 'x');
  AddBinary(b, chunk.data(), 4092);
  EXPECT_EQ(b.capacity, 4096);
  AddBinary(b, "y", 1);
  EXPECT_EQ(b.capacity, 8194);
  EXPECT_EQ(b.used, 4093);
  AddBinary(b, "z", 0);
  AddBinary(b, "z", -4);
  EXPECT_EQ(b.used, 4093);
  uint32_t tag = 0;
  EXPECT_EQ(take(b.Finish(enc::kUTF8), &tag), chunk + "y");
  EXPECT_EQ(tag, enc::kUTF8);
  EXPECT_FALSE(b.alive());
}

TEST_F(GrowableBuffers, EntityReferenceIsAmpersandNameSemicolon) {
  AsciiStringHandle b(16);
  Add(b, "amp");
  EXPECT_EQ(b.used, 5);
  EXPECT_EQ(take(b.Finish(enc::kASCII)), "&amp;");
}

TEST_F(GrowableBuffers, UnicodeBufferKeepsEightBytesSpare) {
  UnicodeStringHandle b(10);
  Add(b, 'a');
  EXPECT_EQ(b.capacity, 10);
  Add(b, 0xE9);
  EXPECT_EQ(b.capacity, 2 + 4107);
  EXPECT_EQ(take(b.Finish()), "a\xC3\xA9");
}

TEST_F(GrowableBuffers, AFailedGrowthKillsTheBuffer) {
  AsciiStringHandle b(8);
  AddBinary(b, "abc", 3);
  ZTKTestingFailAllocation(1);
  AddBinary(b, "defgh", 5);
  EXPECT_FALSE(b.alive());
  AddBinary(b, "abc", 3);
  EXPECT_EQ(b.used, 0);
  EXPECT_EQ(b.Finish(enc::kASCII), nullptr);

  AsciiStringHandle dead(-1);
  EXPECT_FALSE(dead.alive());
  ZTKTestingFailAllocation(1);
  UnicodeStringHandle none(64);
  EXPECT_FALSE(none.alive());
  Add(none, 'x');
  EXPECT_EQ(none.Finish(), nullptr);
}

TEST_F(GrowableBuffers, ByteSinkGrowsAndDropsOnFailure) {
  ztk::ByteSink sink(2);
  sink.put("abcdef", 6);
  EXPECT_EQ(sink.size(), 6);
  EXPECT_EQ(take(sink.build(enc::kASCII)), "abcdef");
  ZTKTestingFailAllocation(1);
  sink.put(std::string(2000, 'x').data(), 2000);
  EXPECT_FALSE(sink.alive());
  EXPECT_EQ(sink.build(enc::kASCII), nullptr);
}
