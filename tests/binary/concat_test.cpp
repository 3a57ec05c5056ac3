#include "host_test.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(ConcatBinaryStringsZTK);

TEST_P(ConcatBinaryStringsZTK, JoinsStoredBytesInOrder) {
  Result r = call("ConcatBinaryStringsZTK", {S("ab"), S("cd")});
  EXPECT_EQ(r.bytes, "abcd");
  EXPECT_EQ(r.encoding, enc::kASCII);
  EXPECT_EQ(call("ConcatBinaryStringsZTK", {S("ab"), Empty(), S("cd")}).bytes, "abcd");
  EXPECT_EQ(call("ConcatBinaryStringsZTK", {S("ab"), NullString(), S("cd"), NullString()}).bytes, "abcd");
  EXPECT_EQ(call("ConcatBinaryStringsZTK", {S("a"), S("b"), S("c"), S("d"), S("e"), S("f")}).bytes, "abcdef");
  EXPECT_EQ(call("ConcatBinaryStringsZTK", {S("a"), S("b"), S("c"), S("d"), S("e")}).bytes, "abcde");
  r = call("ConcatBinaryStringsZTK", {S("\xC3\xA9"), S("e", enc::kASCII)});
  EXPECT_EQ(r.bytes, "\xC3\xA9" "e");
  EXPECT_EQ(r.encoding, enc::kNone) << "encodings are dropped";
  r = call("ConcatBinaryStringsZTK", {U16(u"A"), S("b")});
  EXPECT_EQ(r.bytes, std::string("A\0b", 3));
  EXPECT_EQ(r.encoding, enc::kASCII);
}

TEST_P(ConcatBinaryStringsZTK, OnlyEmptyArgumentsGiveEmptyString) {
  for (size_t arity = 2; arity <= 6; ++arity) {
    std::vector<Value> args;
    for (size_t k = 0; k < arity; ++k) args.push_back(k % 2 ? Value(Empty()) : NullString());
    EXPECT_TRUE(call("ConcatBinaryStringsZTK", args).null) << arity;
  }
}

// Long results are joined in a heap block, short ones on the stack: a block
// that cannot be had gives the empty result, and a short join needs none.
TEST_P(ConcatBinaryStringsZTK, AFailedBlockGivesEmptyString) {
  const std::string half(3000, 'x');
  REALstring a = S(half), b = S("b");
  bool failed = false;
  EXPECT_TRUE(call_failing("ConcatBinaryStringsZTK", {a, a}, 1, failed).null);
  EXPECT_TRUE(failed);
  EXPECT_EQ(call_failing("ConcatBinaryStringsZTK", {b, b}, 1, failed).bytes, "bb");
  EXPECT_FALSE(failed);
}
