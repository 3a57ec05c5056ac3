#include "text/string_handles.h"

#include <algorithm>
#include <random>

#include "in_process.h"
#include "text/byte_sink.h"

using namespace ztk_test;

using GrowableBuffers = InProcessTest;

TEST_F(GrowableBuffers, AsciiBufferKeepsItsBytesAcrossGrowth) {
  AsciiStringHandle b(4096);
  const std::string chunk(4092, 'x');
  AddBinary(b, chunk.data(), 4092);
  AddBinary(b, "y", 1);
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

TEST_F(GrowableBuffers, UnicodeBufferGrowsFromAStartTooSmallForOneUnit) {
  UnicodeStringHandle b(10);
  Add(b, 'a');
  Add(b, 0xE9);
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

namespace {
// The growth rule one append at a time, as the buffers have always applied it.
struct OneAtATime {
  int64_t limit;
  bool dead = false;
  void append(int64_t used, int64_t n) {  // an append measured as n bytes
    const int64_t need = used + n + 4;
    if (dead || need <= limit) return;
    limit = need + n + 4096;
    dead = limit >= ztk::growth::kSizeLimit;
  }
  void unit(int64_t used) {
    const int64_t need = 2 * used + 10;
    if (dead || need <= limit) return;
    limit = 2 * used + 4107;
    dead = limit >= ztk::growth::kSizeLimit;
  }
};
}  // namespace

// Runs are counted in steps of about 4 KB; each step must land where the
// one-at-a-time rule grows, and the rule must die at the same append,
// up to the size limit (no memory is involved, so sizes near 2 GiB are cheap).
TEST(GrowthRule, RunsGrowAndDieExactlyLikeOneAppendAtATime) {
  using namespace ztk::growth;
  std::mt19937_64 rng(7);
  for (int trial = 0; trial < 3000; ++trial) {
    const bool nearLimit = trial % 3 == 0;
    const int64_t base = nearLimit ? kSizeLimit - 30000 : 0;
    int64_t used = base + static_cast<int64_t>(rng() % 9000);
    const int64_t limit = used + static_cast<int64_t>(rng() % 9000);
    const int64_t k = 1 + static_cast<int64_t>(rng() % 30000);
    OneAtATime bytes{limit}, units{limit};
    const int64_t each = trial % 2 == 0 ? 1 : 1 + static_cast<int64_t>(rng() % 12);  // a replacement's length
    for (int64_t j = 0; j < k; ++j) bytes.append(used + j * each, each);
    EXPECT_EQ(after_repeated(limit, used, k, each), bytes.dead ? -1 : bytes.limit)
        << "bytes " << used << " " << limit << " " << k << " x " << each;
    const int64_t unitsFrom = nearLimit ? used / 2 : used;
    units.limit = nearLimit ? 2 * unitsFrom + static_cast<int64_t>(rng() % 9000) : limit;
    const int64_t unitsLimit = units.limit;
    for (int64_t j = 0; j < k; ++j) units.unit(unitsFrom + j);
    EXPECT_EQ(after_units(unitsLimit, unitsFrom, k), units.dead ? -1 : units.limit)
        << "units " << unitsFrom << " " << unitsLimit << " " << k;
    OneAtATime one{limit};
    const int64_t n = 1 + static_cast<int64_t>(rng() % 5000);
    one.append(used, n);
    EXPECT_EQ(after_repeated(limit, used, 1, std::max<int64_t>(n, 1)), one.dead ? -1 : one.limit);
  }
}

// Appending a long text a byte at a time resizes the block O(log n) times
// (the old rule did it every 4 KB: 65,536 times for 256 MiB).
TEST_F(GrowableBuffers, OneByteAppendsResizeLogarithmicallyOften) {
#if defined(ZTK_EMULATED_TARGET)
  const int64_t total = int64_t{16} << 20;  // a byte at a time is slow under an emulator
#else
  const int64_t total = sizeof(void *) == 8 ? int64_t{256} << 20 : int64_t{32} << 20;
#endif
  AsciiStringHandle b(16);
  const int64_t before = ZTKTestingAllocationCount();
  for (int64_t i = 0; i < total; ++i) AddBinary(b, "x", 1);
  const int64_t resizes = ZTKTestingAllocationCount() - before;
  ASSERT_TRUE(b.alive());
  EXPECT_EQ(b.used, total);
  EXPECT_LE(resizes, 2 * 28);
  EXPECT_GE(b.limit, total + 4);  // the rule's size still holds what was written

  UnicodeStringHandle u(16);
  const int64_t units = total / 8;
  const int64_t beforeUnits = ZTKTestingAllocationCount();
  for (int64_t i = 0; i < units; ++i) Add(u, static_cast<unsigned short>('a' + i % 26));
  EXPECT_LE(ZTKTestingAllocationCount() - beforeUnits, 2 * 28);
  ASSERT_TRUE(u.alive());
  EXPECT_EQ(u.used, units);
}

// A block of up to 4 KiB shares one allocation with its master pointer; a
// larger one, and any block once resized, has its bytes apart. Either way a
// resize keeps the bytes, a pinned block does not move, and a resize that
// fails leaves the block as it was.
TEST_F(GrowableBuffers, MemoryBlocksKeepTheirBytesInEitherPlace) {
  using namespace ztk::mm;
  for (int64_t size : {0, 1, 100, 4096, 4097, 20000}) {
    SCOPED_TRACE(size);
    const int64_t before = ZTKTestingAllocationCount();
    Handle h = NewHandle(size);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(ZTKTestingAllocationCount() - before, size <= 4096 ? 1 : 2);
    EXPECT_EQ(GetHandleSize(h), size);
    for (int64_t i = 0; i < size; ++i) (*h)[i] = static_cast<char>(i * 7);
    HLock(h);
    char *pinned = *h;
    SetHandleSize(h, size + 10);
    EXPECT_EQ(*h, pinned);
    EXPECT_EQ(GetHandleSize(h), size);
    HUnlock(h);
    ZTKTestingFailAllocation(1);
    SetHandleSize(h, size + 10);
    EXPECT_EQ(GetHandleSize(h), size);
    for (int64_t grown : {size + 5000, size / 2, size + 1}) {
      const int64_t kept = std::min(size, grown);
      SetHandleSize(h, grown);
      ASSERT_EQ(GetHandleSize(h), grown);
      for (int64_t i = 0; i < kept; ++i) ASSERT_EQ((*h)[i], static_cast<char>(i * 7)) << grown << " " << i;
      for (int64_t i = 0; i < grown; ++i) (*h)[i] = static_cast<char>(i * 7);
      size = grown;
    }
    DisposeHandle(h);
  }
  ZTKTestingFailAllocation(1);
  EXPECT_EQ(NewHandle(10), nullptr);
  EXPECT_EQ(NewHandle(-1), nullptr);
}
