#include "host_test.h"

#include "convert.h"

#include <cstdlib>
#include <cstring>
#include <sstream>

namespace ztk_test {

subhost::Settings HostTest::default_settings() const {
  subhost::Settings s;
  s.version = version();
  return s;
}

void HostTest::SetUp() { start(default_settings()); }

void HostTest::start(const subhost::Settings &settings) {
  plugin.reset();
  host.reset(settings);
  // ZTK_TEST_PLUGIN names another library to run the suite against (the
  // test command's negative control: a damaged library must fail it).
  const char *other = std::getenv("ZTK_TEST_PLUGIN");
  plugin = std::make_unique<subhost::PluginLibrary>(other != nullptr ? other : ZTK_PLUGIN_PATH);
  plugin->start();
}

void HostTest::TearDown() {
  host.clear_pending();
  for (REALstring s : strings_) host.release(s);
  for (REALobject o : objects_) host.release(o);
  strings_.clear();
  objects_.clear();
  EXPECT_EQ(host.live_strings(), 0u) << "host strings leaked";
  EXPECT_EQ(host.live_objects(), 0u) << "host objects leaked";
  if (host.settings.withheld.count("PluginDisposeStringData") == 0) {
    EXPECT_EQ(host.ledger.outstandingStringData, 0);
  }
  EXPECT_TRUE(host.ledger.errors.empty()) << host.ledger.errors.front();
  plugin.reset();
}

REALstring HostTest::S(std::string_view bytes, uint32_t encoding) {
  strings_.push_back(host.make_string(bytes, encoding));
  return strings_.back();
}

REALstring HostTest::U16(std::u16string_view text) {
  std::string bytes(text.size() * 2, '\0');
  if (!text.empty()) std::memcpy(bytes.data(), text.data(), bytes.size());
  return S(bytes, enc::kUTF16);
}

REALstring HostTest::Empty() {
  strings_.push_back(host.make_empty_string());
  return strings_.back();
}

REALobject HostTest::MB(std::string_view bytes) {
  objects_.push_back(host.make_memoryblock(bytes));
  return objects_.back();
}

Result HostTest::call(std::string_view name, const std::vector<Value> &args) {
  const subhost::MethodInfo *m = subhost::find_method(name, args.size());
  if (m == nullptr) {
    ADD_FAILURE() << "no method " << name << " taking " << args.size() << " arguments";
    return {};
  }
  return call_decl(m->declaration, args);
}

Result HostTest::call_decl(std::string_view declaration, const std::vector<Value> &args) {
  std::vector<int32_t> refsBefore;
  for (const Value &v : args) {
    if (auto s = std::get_if<REALstring>(&v)) refsBefore.push_back(subhost::Host::refs(*s));
    if (auto o = std::get_if<REALobject>(&v)) refsBefore.push_back(subhost::Host::refs(*o));
  }
  const size_t stringsBefore = host.live_strings(), objectsBefore = host.live_objects();
  const auto errorsBefore = host.ledger.errors.size();

  const Value value = host.call(declaration, args);

  Result r;
  size_t newStrings = 0, newObjects = 0;
  if (auto s = std::get_if<REALstring>(&value)) {
    r.null = *s == nullptr;
    if (*s != nullptr) {
      EXPECT_TRUE(host.is_live(*s));
      EXPECT_EQ(subhost::Host::refs(*s), 1) << "a returned string holds exactly one reference";
      r.bytes = subhost::Host::bytes(*s);
      r.encoding = subhost::Host::encoding(*s);
      ++newStrings;
    }
  } else if (auto o = std::get_if<REALobject>(&value)) {
    r.null = *o == nullptr;
    if (*o != nullptr) {
      EXPECT_TRUE(host.is_live(*o));
      EXPECT_EQ(subhost::Host::refs(*o), 1) << "a returned memoryblock holds exactly one reference";
      r.bytes = subhost::Host::bytes(*o);
      ++newObjects;
    }
  } else if (auto i = std::get_if<RBInteger>(&value)) {
    r.integer = *i;
  } else if (auto d = std::get_if<double>(&value)) {
    r.real = *d;
  } else if (auto b = std::get_if<RBBoolean>(&value)) {
    r.boolean = *b;
    EXPECT_TRUE(*b == 0 || *b == 1) << "booleans are returned as 0 or 1";
  }
  if (REALobject e = host.pending) {
    EXPECT_EQ(subhost::Host::refs(e), 1) << "the plugin keeps no reference to a raised exception";
    r.exceptionClass = e->className;
    r.exceptionMessage = subhost::Host::bytes(e->message);
    r.errorNumber = e->errorNumber;
    ++newObjects;
    if (e->message != nullptr) ++newStrings;
  }

  size_t k = 0;
  for (const Value &v : args) {
    if (auto s = std::get_if<REALstring>(&v)) {
      EXPECT_EQ(subhost::Host::refs(*s), refsBefore[k++]) << "lock not undone";
    }
    if (auto o = std::get_if<REALobject>(&v)) {
      EXPECT_EQ(subhost::Host::refs(*o), refsBefore[k++]) << "lock not undone";
    }
  }
  EXPECT_EQ(host.live_strings(), stringsBefore + newStrings) << "host strings leaked by " << declaration;
  EXPECT_EQ(host.live_objects(), objectsBefore + newObjects) << "host objects leaked by " << declaration;
  // Without the host's disposal service the plugin frees string data itself,
  // unseen by the ledger (the sanitizer build's leak check covers that case).
  if (host.settings.withheld.count("PluginDisposeStringData") == 0) {
    EXPECT_EQ(host.ledger.outstandingStringData, 0) << "string data not disposed by " << declaration;
  }
  EXPECT_EQ(host.ledger.errors.size(), errorsBefore) << host.ledger.errors.back();

  if (auto s = std::get_if<REALstring>(&value)) host.release(*s);
  if (auto o = std::get_if<REALobject>(&value)) host.release(*o);
  host.clear_pending();
  return r;
}

Result HostTest::call_failing(std::string_view name, const std::vector<Value> &args, int64_t nth, bool &failed) {
  const int64_t before = plugin->allocation_count();
  plugin->fail_allocation(nth);
  Result r = call(name, args);
  failed = plugin->allocation_count() - before >= nth;
  plugin->fail_allocation(0);  // not reached: nothing else may fail
  return r;
}

void HostTest::expect_failures_give_empty(std::string_view name, const std::vector<Value> &args,
                                          const std::string &whole, int upTo) {
  SCOPED_TRACE(name);
  int failures = 0;
  for (int nth = 1; nth <= upTo; ++nth) {
    bool failed = false;
    const Result r = call_failing(name, args, nth, failed);
    failures += failed;
    if (failed) {
      EXPECT_TRUE(r.null) << "allocation " << nth << " failed";
    } else {
      EXPECT_EQ(r.bytes, whole) << "allocation " << nth << " was not reached";
    }
  }
  EXPECT_GE(failures, 1) << "no allocation was made to fail";
}

void HostTest::expect_cases(std::string_view method, const std::vector<StringCase> &cases, uint32_t inputEncoding,
                            const std::vector<Value> &extra) {
  for (const StringCase &c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<Value> args{S(c.in, inputEncoding)};
    args.insert(args.end(), extra.begin(), extra.end());
    const Result r = call(method, args);
    EXPECT_EQ(r.bytes, c.out);
    if (!r.null) {
      EXPECT_EQ(r.encoding, c.encoding);
    }
  }
}

std::string utf8_of(std::u16string_view text) {
  std::string u16(text.size() * 2, '\0');
  if (!text.empty()) std::memcpy(u16.data(), text.data(), u16.size());
  return subhost::convert(u16, enc::kUTF16, enc::kUTF8);
}

std::string generation_name(const ::testing::TestParamInfo<double> &info) {
  std::ostringstream name;
  name << "v" << static_cast<int>(info.param * 100 + 0.5);
  return name.str();
}

}  // namespace ztk_test
