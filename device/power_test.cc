#include "device/power.h"

#include <limits>

#include "testing/unit_test.h"

namespace corvane {
namespace {

using host::UnitFacts;
using host::VirtualDevice;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

class PowerTest : public corvane::testing::UnitTest {};

TEST_F(PowerTest, TheChargeIsTruncatedFrom32BitFigures) {
  struct Case {
    std::optional<int64_t> current, maximum;
    int32_t percent;
  };
  constexpr int64_t kHuge = std::numeric_limits<int64_t>::max();
  const Case cases[] = {
      {53, 100, 52},
      {150, 155, 96},
      {1420, 1420, 100},
      {1500, 1420, 105},
      {0, 0, 0},
      {5, 0, kMax},
      {5, {}, kMax},
      {0, {}, 0},
      {{}, 100, -1},
      {-50, 100, -50},
      {kHuge, 1, kMax},
      {-kHuge, 1, -kMax - 1},
      {16777217, 16777216, 100},
  };
  for (const Case& c : cases) {
    UnitFacts facts;
    facts.currentCapacity = c.current;
    facts.maxCapacity = c.maximum;
    _unit.setFacts(facts);
    EXPECT_EQ(getBatteryCapacity(), c.percent)
        << c.current.value_or(-1) << " of " << c.maximum.value_or(-1);
  }
  EXPECT_TRUE(logLines().empty());
}

TEST_F(PowerTest, PropertiesOfOtherKindsAreTakenForWhatTheyMean) {
  struct Case {
    const char *current, *maximum, *external;
    int32_t percent;
    bool isConnected;
  };
  const Case cases[] = {
      {"<real>0.29</real>", "<real>1</real>", "<true/>", 29, true},
      {"<real>nan</real>", "<integer>1</integer>", "<false/>", 0, false},
      {"<true/>", "<integer>2</integer>", "<integer>1</integer>", 50, true},
      {"<integer>7</integer>", "<array/>", "<array/>", kMax, false},
  };
  for (const Case& c : cases) {
    corvane::testing::writeText(
        _unit.folder() / "device.plist",
        "<plist><dict><key>registry</key><dict><key>IOPMPowerSource</key><dict>"
        "<key>CurrentCapacity</key>" +
            std::string(c.current) + "<key>MaxCapacity</key>" + c.maximum +
            "<key>ExternalConnected</key>" + c.external + "</dict></dict></dict></plist>");
    EXPECT_EQ(getBatteryCapacity(), c.percent) << c.current;
    EXPECT_EQ(externalPowerConnected(), c.isConnected) << c.external;
  }
}

TEST_F(PowerTest, EachFailedCallHasItsResult) {
  struct Case {
    const char* rule;
    int32_t percent;
    bool isConnected;
  };
  const Case cases[] = {
      {"", 80, true},
      {"IOServiceGetMatchingService", -1, false},
      {"IORegistryEntryCreateCFProperty", -1, false},
      {"IORegistryEntryCreateCFProperty@1", -1, true},
      {"IORegistryEntryCreateCFProperty@2", kMax, true},
  };
  for (const Case& c : cases) {
    traceOf(c.rule, [&] {
      EXPECT_EQ(getBatteryCapacity(), c.percent) << c.rule;
      EXPECT_EQ(externalPowerConnected(), c.isConnected) << c.rule;
    });
  }
  UnitFacts facts;
  facts.powerSource = false;
  _unit.setFacts(facts);
  EXPECT_EQ(getBatteryCapacity(), -1);
  EXPECT_FALSE(externalPowerConnected());
  EXPECT_EQ(VirtualDevice::openHandles(), 0u);
}

}  // namespace
}  // namespace corvane
