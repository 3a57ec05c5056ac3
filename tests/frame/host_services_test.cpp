// Every method through the host with services withheld or failing, and with
// bad arguments: the documented empty result, never a crash, a leak or a
// lock left behind (the fixture's ledger check runs after every call).
#include <functional>

#include "host_test.h"

using namespace ztk_test;

namespace {

// Representative arguments for a method's parameter kinds.
std::vector<Value> arguments(const subhost::MethodInfo &m, const std::function<REALstring()> &text,
                             const std::function<REALobject()> &block, int64_t integer) {
  std::vector<Value> args;
  for (char kind : m.params) {
    switch (kind) {
      case 'S': args.push_back(text()); break;
      case 'M': args.push_back(block()); break;
      case 'I': args.push_back(I(integer)); break;
      case 'D': args.push_back(D(-1234.5)); break;
      case 'B': args.push_back(Bool(true)); break;
    }
  }
  return args;
}

const char *const kServices[] = {
    "REALinRuntime",         "PluginGetStringData",   "PluginDisposeStringData", "StringGetCString",
    "REALLoadGlobalMethod",  "REALLockString",        "REALUnlockString",        "REALLockObject",
    "REALUnlockObject",      "REALGetStringEncoding", "REALConvertString",       "REALBuildString",
    "REALSetStringEncoding", "PluginNewInstance",     "REALSetPropValueString",  "REALSetPropValueInt",
    "RuntimeRaiseException", "newMemoryBlock",        "memoryBlockGetPtr",       "memoryBlockGetSize"};

}  // namespace

class EveryMethod : public GenerationTest {
 protected:
  // Calls every method once with the given arguments; returns how many gave a result.
  int call_all(int64_t integer = 2) {
    int results = 0;
    for (const subhost::MethodInfo &m : subhost::methods()) {
      SCOPED_TRACE(m.declaration);
      Result r = call_decl(m.declaration, arguments(m, [&] { return S("<a>&amp;=41 true \xC3\xA9\\n"); },
                                                    [&] { return MB("kl=@"); }, integer));
      results += !r.null || r.integer != 0 || r.real != 0 || r.boolean == 1;
    }
    return results;
  }
};
ZTK_ALL_GENERATIONS(EveryMethod);

TEST_P(EveryMethod, SurvivesEachMissingService) {
  for (const char *service : kServices) {
    SCOPED_TRACE(service);
    subhost::Settings s = default_settings();
    s.withheld = {service};
    start(s);
    call_all();
  }
}

TEST_P(EveryMethod, BuildsNothingWithoutAnyStringService) {
  subhost::Settings s = default_settings();
  for (const char *service : kServices) s.withheld.insert(service);
  start(s);
  ASSERT_EQ(host.registered.size(), subhost::methods().size());
  for (const subhost::MethodInfo &m : subhost::methods()) {
    Result r = call_decl(m.declaration, arguments(m, [&] { return S("abc"); }, [&] { return MB("kl"); }, 2));
    if (m.result == 'S' || m.result == 'M') {
      EXPECT_TRUE(r.null) << m.declaration;
    }
  }
}

TEST_P(EveryMethod, SurvivesEachFailingAllocation) {
  for (int nth = 1; nth <= 8; ++nth) {
    SCOPED_TRACE(nth);
    for (const subhost::MethodInfo &m : subhost::methods()) {
      plugin->fail_allocation(nth);
      call_decl(m.declaration, arguments(m, [&] { return S("<b>x&lt;</b> = true;\xC3\xA9"); },
                                         [&] { return MB("kl"); }, 2));
    }
    plugin->fail_allocation(0);
  }
}

TEST_P(EveryMethod, SurvivesFailingHostServices) {
  for (const char *service : {"REALBuildString", "REALConvertString", "newMemoryBlock", "PluginNewInstance"}) {
    for (int nth = 1; nth <= 3; ++nth) {
      SCOPED_TRACE(std::string(service) + " #" + std::to_string(nth));
      for (const subhost::MethodInfo &m : subhost::methods()) {
        host.failures[service].onCall = nth;
        call_decl(m.declaration, arguments(m, [&] { return U16(u"<b>\u00E9</b> true "); },
                                           [&] { return MB("kl"); }, 1));
      }
      host.failures.clear();
    }
  }
}

TEST_P(EveryMethod, AcceptsNullEmptyAndOutOfRangeArguments) {
  // (2147483647 itself is a valid size: RandomBytesStringZTK would make 2 GB.)
  for (int64_t integer : {INT64_MIN, int64_t{INT32_MIN} - 1, int64_t{-1}, int64_t{0},
                          int64_t{1} << 31, (int64_t{1} << 32) + 1, INT64_MAX}) {
    if (!fits(integer)) continue;
    SCOPED_TRACE(integer);
    for (const subhost::MethodInfo &m : subhost::methods()) {
      call_decl(m.declaration, arguments(m, [] { return REALstring(nullptr); },
                                         [] { return REALobject(nullptr); }, integer));
      call_decl(m.declaration, arguments(m, [&] { return Empty(); }, [&] { return MB(""); }, integer));
      call_decl(m.declaration, arguments(m, [&] { return U16(u"\uFEFF\U0001F600a"); },
                                         [&] { return MB("="); }, integer));
    }
  }
}

class ResolverCaching : public HostTest {};

TEST_F(ResolverCaching, FoundServicesAreLookedUpOnceMissingOnesEveryUse) {
  REALstring s = S("abc");
  for (int k = 0; k < 3; ++k) call("EncodingToHexZTK", {s});
  EXPECT_EQ(host.ledger.lookups["REALBuildString"], 1);
  EXPECT_EQ(host.ledger.lookups["PluginGetStringData"], 1);

  subhost::Settings settings = default_settings();
  settings.withheld = {"REALBuildString"};
  start(settings);
  for (int k = 0; k < 3; ++k) EXPECT_TRUE(call("EncodingToHexZTK", {s}).null);
  EXPECT_EQ(host.ledger.lookups["REALBuildString"], 3);

  host.settings.withheld.clear();  // the host learns the name: picked up on next use
  EXPECT_EQ(call("EncodingToHexZTK", {s}).bytes, "616263");
  call("EncodingToHexZTK", {s});
  EXPECT_EQ(host.ledger.lookups["REALBuildString"], 4);
}

TEST_F(ResolverCaching, AResolverThatKnowsNothingRegistersNothing) {
  subhost::Settings settings;
  settings.version = std::nullopt;
  for (const auto &m : {"RegisterPluginVersion", "REALinRuntime", "PluginRegisterMethod"}) settings.withheld.insert(m);
  start(settings);
  EXPECT_TRUE(host.registered.empty());
  EXPECT_EQ(host.reportedVersion, -1);
}
