#include "frame/exceptions.h"

#include "frame/string_access.h"
#include "in_process.h"

using namespace ztk_test;

using RaisingExceptions = InProcessTest;

TEST_F(RaisingExceptions, RaisesTheClassWithMessageAndNumber) {
  struct Case {
    const char *cls, *message;
    uint32_t number;
    std::string raisedClass, raisedMessage;
  } cases[] = {
      {"OutOfMemoryException", "no room", 7, "OutOfMemoryException", "no room"},
      {"NoSuchException", "kept", 3, "RuntimeException", "kept"},
      {"RuntimeException", nullptr, 0, "RuntimeException", ""},
      {"OutOfMemoryException", "", 0, "OutOfMemoryException", ""},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.cls);
    RaiseException(c.cls, c.message, c.number);
    ASSERT_NE(host.pending, nullptr);
    EXPECT_EQ(host.pending->className, c.raisedClass);
    EXPECT_EQ(subhost::Host::bytes(host.pending->message), c.raisedMessage);
    if (c.raisedMessage.empty()) {
      EXPECT_EQ(host.pending->message, nullptr);
    } else {
      EXPECT_EQ(subhost::Host::encoding(host.pending->message), enc::kASCII);
    }
    EXPECT_EQ(host.pending->errorNumber, static_cast<int32_t>(c.number));
    EXPECT_EQ(subhost::Host::refs(host.pending), 1);
    host.clear_pending();
  }
}

TEST_F(RaisingExceptions, NothingIsRaisedWhenNoInstanceCanBeMade) {
  host.failures["PluginNewInstance"].always = true;
  RaiseException("OutOfMemoryException", "x", 0);
  EXPECT_EQ(host.pending, nullptr);
}

TEST_F(RaisingExceptions, MemoryBlockCreationRaisesForImpossibleSizes) {
  EXPECT_EQ(ztk::NewMemoryBlockCopy("", 0x7FFFFFFF), nullptr);
  ASSERT_NE(host.pending, nullptr);
  EXPECT_EQ(subhost::Host::bytes(host.pending->message), "Failed to allocate a memoryblock with 2147483647 bytes in size.");
  host.clear_pending();
  EXPECT_EQ(ztk::NewMemoryBlockCopy("", -1), nullptr);
  EXPECT_EQ(subhost::Host::bytes(host.pending->message), "Failed to allocate a memoryblock with -1 bytes in size.");
  REALobject m = ztk::NewMemoryBlockCopy("abc", 3);
  EXPECT_EQ(subhost::Host::bytes(m), "abc");
  host.release(m);
}
