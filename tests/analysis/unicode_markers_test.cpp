#include "host_test.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(DetectUnicodeMarkersZTK);
ZTK_GENERATION_SUITE(GetUnicodeMarkersZTK);
ZTK_GENERATION_SUITE(UnicodeStringZTK);

TEST_P(DetectUnicodeMarkersZTK, RecognisesMarksByTheirStoredBytes) {
  struct Case {
    std::string bytes;
    int kind;
  } cases[] = {{"\xEF\xBB\xBF\x41", 1},
               {std::string("\xFE\xFF\x00\x41", 4), 3},
               {std::string("\xFF\xFE\x41\x00", 4), 4},
               {std::string("\xFF\xFE\x00\x00", 4), 7},
               {std::string("\xFF\xFE\x00\x41", 4), 4},
               {std::string("\x00\x00\xFE\xFF", 4), 6},
               {std::string("\x00\x00\xFF\xFE", 4), 0},
               {"\xEF\xBB", 0},
               {"\xFF", 0}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.kind);
    EXPECT_EQ(call("DetectUnicodeMarkersZTK", {S(c.bytes, enc::kNone)}).integer, c.kind);
  }
  EXPECT_EQ(call("DetectUnicodeMarkersZTK", {U16(u"\uFEFFabc")}).integer, 4);
  EXPECT_EQ(call("DetectUnicodeMarkersZTK", {NullString()}).integer, 0);
  EXPECT_EQ(call("DetectUnicodeMarkersZTK", {Empty()}).integer, 0);
}

TEST_P(GetUnicodeMarkersZTK, GivesTheMarkAsUTF8Text) {
  struct Case {
    int64_t kind;
    std::string bytes;
  } cases[] = {{1, "\xEF\xBB\xBF"}, {2, "\xEF\xBB\xBF"}, {4, "\xEF\xBB\xBF"}, {5, "\xEF\xBB\xBF"},
               {7, "\xEF\xBB\xBF"}, {3, "\xEF\xBF\xBE"}, {6, "\xEF\xBF\xBE"}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.kind);
    Result r = call("GetUnicodeMarkersZTK", {I(c.kind)});
    EXPECT_EQ(r.bytes, c.bytes);
    EXPECT_EQ(r.encoding, enc::kUTF8);
  }
  for (int64_t kind : {int64_t{0}, int64_t{8}, int64_t{-1}, (int64_t{1} << 32) + 1}) {
    if (fits(kind)) {
      EXPECT_TRUE(call("GetUnicodeMarkersZTK", {I(kind)}).null) << kind;
    }
  }
}

TEST_P(UnicodeStringZTK, HandsTheStringToTheHostConverter) {
  Result r = call("UnicodeStringZTK", {S("\xC3\xA9")});
  EXPECT_EQ(r.bytes, std::string("\xE9\0", 2));
  EXPECT_EQ(r.encoding, enc::kUTF16);
  r = call("NativeStringZTK", {U16(u"\u00E9")});
  EXPECT_EQ(r.bytes, "\xC3\xA9");
  EXPECT_EQ(r.encoding, enc::kUTF8);
  EXPECT_TRUE(call("NativeStringZTK", {NullString()}).null);
  host.failures["REALConvertString"].always = true;
  EXPECT_TRUE(call("UnicodeStringZTK", {S("a")}).null);
}

TEST_P(UnicodeStringZTK, WithoutConverterGivesEmptyString) {
  subhost::Settings s = default_settings();
  s.withheld = {"REALConvertString"};
  start(s);
  EXPECT_TRUE(call("UnicodeStringZTK", {S("a")}).null);
  EXPECT_TRUE(call("NativeStringZTK", {S("a")}).null);
}
