// For unit tests of the frame and text layers compiled into the test program:
// the program's own copy of those layers talks to the substitute host
// directly. Every service stays available (their caches live for the whole
// program), so tests of missing services go through a loaded plugin instead.
#pragma once

#include <gtest/gtest.h>

#include "frame/host_api.h"
#include "subhost.h"

extern "C" void ZTKTestingFailAllocation(int64_t nth);
extern "C" int64_t ZTKTestingAllocationCount();

namespace ztk_test {

class InProcessTest : public ::testing::Test {
 protected:
  InProcessTest() : host(subhost::Host::get()) {}
  void SetUp() override {
    host.reset();
    gResolver = &subhost::Host::resolve;
    rbversion = 2024.0;
  }
  void TearDown() override {
    ZTKTestingFailAllocation(0);
    host.clear_pending();
    EXPECT_EQ(host.live_strings(), 0u);
    EXPECT_EQ(host.live_objects(), 0u);
    EXPECT_EQ(host.ledger.outstandingStringData, 0);
  }
  // Takes a host string's bytes and releases it.
  std::string take(REALstring s, uint32_t *encoding = nullptr) {
    if (encoding != nullptr) *encoding = subhost::Host::encoding(s);
    std::string bytes = subhost::Host::bytes(s);
    host.release(s);
    return bytes;
  }
  subhost::Host &host;
};

}  // namespace ztk_test
