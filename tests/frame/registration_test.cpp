// REALPluginMain: the interface version it reports, the records it registers,
// and the generator seeding.
#include <algorithm>
#include <cmath>
#include <map>
#include <cstring>
#include <filesystem>
#if !defined(_WIN32)
#include <unistd.h>
#endif

#include "host_test.h"

using namespace ztk_test;

class PluginStart : public HostTest {};

TEST_F(PluginStart, ReportsInterfaceVersionByHostVersion) {
  struct Case {
    std::optional<double> version;
    int interface;
  } cases[] = {{std::nullopt, 9}, {2011.04, 9}, {2012.0, 10}, {2012.5, 10},     {2013.0, 11},
               {2013.01, 11},     {2013.02, 11}, {2013.03, 12}, {2024.0, 12}, {std::nan(""), 9}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.version.value_or(-1));
    subhost::Settings s;
    s.version = c.version;
    start(s);
    EXPECT_EQ(host.reportedVersion, c.interface);
  }
}

TEST_F(PluginStart, RegistersEveryRowInTableOrder) {
  const auto &rows = subhost::methods();
  ASSERT_EQ(host.registered.size(), rows.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    const REALmethodDefinition *r = host.registered[i];
    SCOPED_TRACE(rows[i].declaration);
    EXPECT_STREQ(r->declaration, rows[i].declaration);
    EXPECT_NE(r->function, nullptr);
    EXPECT_EQ(r->setterFunction, nullptr);
    EXPECT_EQ(r->mFlags, 4u);
    EXPECT_EQ(r->attributeCount, 0u);
    EXPECT_EQ(r->attributes, nullptr);
    if (i > 0) {
      EXPECT_LT(rows[i - 1].row, rows[i].row);
    }
  }
}

TEST_F(PluginStart, MissingServicesSkipTheirSteps) {
  subhost::Settings s;
  s.withheld = {"PluginRegisterMethod", "RegisterPluginVersion"};
  start(s);
  EXPECT_EQ(host.reportedVersion, -1);
  EXPECT_TRUE(host.registered.empty());
  EXPECT_EQ(host.ledger.lookups["PluginRegisterMethod"], static_cast<int>(subhost::methods().size()));
}

TEST_F(PluginStart, SeedsTheGeneratorOnlyInABuiltApplication) {
  // The plugin shares the C library's generator with this process.
  auto first_after_seed = [](unsigned seed) {
    std::srand(seed);
    return std::rand();
  };
  for (bool inRuntime : {false, true}) {
    SCOPED_TRACE(inRuntime);
    subhost::Settings s;
    s.inRuntime = inRuntime;
    std::srand(12345);
    const auto t0 = static_cast<unsigned>(std::time(nullptr));
    start(s);
    const auto t1 = static_cast<unsigned>(std::time(nullptr));
    const int next = std::rand();
    if (inRuntime) {
      EXPECT_TRUE(next == first_after_seed(t0) || next == first_after_seed(t1)) << "not seeded with the time";
    } else {
      EXPECT_EQ(next, first_after_seed(12345)) << "the generator was reseeded";
    }
  }
}

TEST(ShippedLibrary, ExportsOnlyTheEntryPoint) {
  subhost::PluginLibrary shipped(ZTK_SHIPPED_PLUGIN_PATH);
  EXPECT_TRUE(shipped.exports("REALPluginMain"));
  for (const char *hidden : {"ZTKTestingFailAllocation", "EncodingToHex", "gResolver", "rbversion"}) {
    EXPECT_FALSE(shipped.exports(hidden)) << hidden;
  }
}

// The host loads a copy of the library under a name of its own; the copy is
// gone as soon as the library is loaded (the mapping keeps it), so a process
// that keeps its library to the end, or dies, leaves none behind.
TEST(ShippedLibrary, LeavesNoCopyInTheTemporaryDirectory) {
#if defined(_WIN32)
  GTEST_SKIP() << "a loaded library's file cannot be removed here; the copy goes when it is unloaded";
#else
  const auto copies = [] {
    const std::string prefix = "ztk-plugin-" + std::to_string(getpid()) + "-";
    int found = 0;
    for (const auto &entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path())) {
      found += entry.path().filename().string().rfind(prefix, 0) == 0 ? 1 : 0;
    }
    return found;
  };
  subhost::PluginLibrary shipped(ZTK_SHIPPED_PLUGIN_PATH);
  EXPECT_EQ(copies(), 0);
  EXPECT_TRUE(shipped.exports("REALPluginMain")) << "still callable with its file gone";
#endif
}

// Each declaration's parameter and result types, as Xojo reads them, agree
// with the C signature its handler is registered with.
TEST(MethodRegistry, DeclarationsAgreeWithHandlerSignatures) {
  auto kind = [](std::string type) {
    type.erase(0, type.find_first_not_of(' '));
    type = type.substr(0, type.find_first_of(" ="));
    if (type == "string") return 'S';
    if (type == "memoryblock") return 'M';
    if (type == "integer") return 'I';
    if (type == "double") return 'D';
    if (type == "boolean") return 'B';
    return '?';
  };
  ASSERT_EQ(subhost::methods().size(), 47u);
  std::map<std::string, int> overloads;
  for (const subhost::MethodInfo &m : subhost::methods()) {
    SCOPED_TRACE(m.declaration);
    const std::string d = m.declaration;
    const std::string list = d.substr(d.find('(') + 1, d.rfind(')') - d.find('(') - 1);
    std::string params;
    for (size_t start = 0; start < list.size();) {
      const size_t comma = std::min(list.find(',', start), list.size());
      const std::string param = list.substr(start, comma - start);
      params += kind(param.substr(param.find(" as ") + 4));
      start = comma + 1;
    }
    EXPECT_EQ(params, m.params);
    EXPECT_EQ(kind(d.substr(d.rfind(" as ") + 4)), m.result);
    ++overloads[m.name()];
  }
  EXPECT_EQ(overloads.size(), 39u);
  EXPECT_EQ(overloads["ConcatBinaryStringsZTK"], 5);
  for (const char *twice : {"EncodingToURLZTK", "DecodingFromURLZTK", "EncodingToQuotedPrintableZTK", "IsASCIIStringZTK"}) {
    EXPECT_EQ(overloads[twice], 2) << twice;
  }
}
