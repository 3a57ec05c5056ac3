// The fixture every method test uses: a fresh copy of the plugin loaded into
// the substitute host, and a call helper that checks the host's ledger after
// every call (nothing leaked, every lock undone, no string data outstanding,
// a returned object holding exactly one reference).
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "invoke.h"
#include "plugin_library.h"
#include "subhost.h"

namespace ztk_test {

using subhost::Value;
inline Value I(int64_t v) { return Value(static_cast<RBInteger>(v)); }
// Whether the host's integer can hold v (a 32-bit host cannot pass 64-bit values).
inline bool fits(int64_t v) { return static_cast<int64_t>(static_cast<RBInteger>(v)) == v; }
inline Value D(double v) { return Value(v); }
inline Value Bool(bool v) { return Value(static_cast<RBBoolean>(v ? 1 : 0)); }
inline Value NullString() { return Value(static_cast<REALstring>(nullptr)); }
inline Value NullBlock() { return Value(static_cast<REALobject>(nullptr)); }

// The UTF-8 bytes of UTF-16 text, as the host's converter makes them.
std::string utf8_of(std::u16string_view text);

// What a call gave back, copied out of the host before the result is released.
struct Result {
  bool null = true;  // no string or memoryblock
  std::string bytes;
  uint32_t encoding = enc::kNone;
  RBInteger integer = 0;
  double real = 0;
  int boolean = -1;
  std::string exceptionClass;  // empty when nothing was raised
  std::string exceptionMessage;
  int32_t errorNumber = 0;
};

// A string method's expected result for one input.
struct StringCase {
  const char *name;
  std::string in, out;
  uint32_t encoding;  // the result's tag
};

// Host versions of both generations: 2011.04 reads in place and converts
// through REALConvertString, 2013.0 reads in place and converts through
// string data, 2024.0 reads everything through string data.
inline const double kGenerations[] = {2011.04, 2013.0, 2024.0};

class HostTest : public ::testing::Test {
 protected:
  HostTest() : host(subhost::Host::get()) {}
  void SetUp() override;
  void TearDown() override;
  virtual double version() const { return 2024.0; }

  // Restarts with a fresh copy of the plugin under these settings.
  void start(const subhost::Settings &settings);
  subhost::Settings default_settings() const;

  REALstring S(std::string_view bytes, uint32_t encoding = enc::kUTF8);
  REALstring U16(std::u16string_view text);  // UTF-16 string from units
  REALstring Empty();                        // non-null, no bytes
  REALobject MB(std::string_view bytes);

  // Calls the method `name` with as many arguments as given.
  Result call(std::string_view name, const std::vector<Value> &args);
  Result call_decl(std::string_view declaration, const std::vector<Value> &args);
  // Calls `name` with the plugin's `nth` own allocation from now failing, and
  // says whether the call reached that allocation (so that it failed).
  Result call_failing(std::string_view name, const std::vector<Value> &args, int64_t nth, bool &failed);
  // Calls `name` with each of the plugin's first `upTo` allocations failing in
  // turn: a call that reaches the failing one gives the empty result, one that
  // does not gives `whole`; at least one call must reach it.
  void expect_failures_give_empty(std::string_view name, const std::vector<Value> &args, const std::string &whole,
                                  int upTo);
  // Calls `method` on each case's input (tagged `inputEncoding`, followed by
  // `extra` arguments) and checks the result's bytes and tag.
  void expect_cases(std::string_view method, const std::vector<StringCase> &cases, uint32_t inputEncoding,
                    const std::vector<Value> &extra = {});

  subhost::Host &host;
  std::unique_ptr<subhost::PluginLibrary> plugin;

 private:
  std::vector<REALstring> strings_;
  std::vector<REALobject> objects_;
};

class GenerationTest : public HostTest, public ::testing::WithParamInterface<double> {
 protected:
  double version() const override { return GetParam(); }
};

std::string generation_name(const ::testing::TestParamInfo<double> &info);

}  // namespace ztk_test

// Runs a GenerationTest suite under each host generation.
#define ZTK_ALL_GENERATIONS(Suite) \
  INSTANTIATE_TEST_SUITE_P(Hosts, Suite, ::testing::ValuesIn(ztk_test::kGenerations), ztk_test::generation_name)

#define ZTK_GENERATION_SUITE(Suite) \
  using Suite = ztk_test::GenerationTest; \
  ZTK_ALL_GENERATIONS(Suite)
