// REALPluginMain: the interface version it reports, the records it registers,
// and the generator seeding.
#include <cmath>
#include <cstring>

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
