#include "device/power.h"

#include <limits>

#include "testing/unit_test.h"

namespace corvane {
namespace {

using host::UnitFacts;
using host::VirtualDevice;

constexpr int32_t kLargest = std::numeric_limits<int32_t>::max();

class PowerTest : public corvane::testing::UnitTest {
 protected:
  void setFacts(const UnitFacts& facts) { _unit.setFacts(facts); }

  /// Puts `properties` into device.plist as the power source.
  void setPowerSource(const std::string& properties) {
    corvane::testing::writeText(_unit.folder() / "device.plist",
                                "<plist><dict><key>registry</key><dict><key>IOPMPowerSource</key>"
                                "<dict>" +
                                    properties + "</dict></dict></dict></plist>");
  }
};

TEST_F(PowerTest, TheChargeIsTruncatedFrom32BitFigures) {
  struct Case {
    std::optional<int64_t> current, maximum;
    int32_t percent;
  };
  constexpr int64_t kHuge = std::numeric_limits<int64_t>::max();
  const Case cases[] = {
      {80, 100, 80},
      {53, 100, 52},
      {150, 155, 96},
      {0, 100, 0},
      {100, 100, 100},
      {1420, 1420, 100},
      {1500, 1420, 105},
      {0, 0, 0},
      {5, 0, kLargest},
      {5, {}, kLargest},
      {0, {}, 0},
      {{}, 100, -1},
      {{}, {}, -1},
      {-5, 0, -kLargest - 1},
      {-50, 100, -50},
      {kHuge, 1, kLargest},
      {-kHuge, 1, -kLargest - 1},
      {1, kHuge, 0},
      {16777217, 16777216, 100},
  };
  for (const Case& c : cases) {
    UnitFacts facts;
    facts.currentCapacity = c.current;
    facts.maxCapacity = c.maximum;
    setFacts(facts);
    EXPECT_EQ(getBatteryCapacity(), c.percent)
        << c.current.value_or(-1) << " of " << c.maximum.value_or(-1);
  }
  EXPECT_TRUE(logLines().empty());
  EXPECT_TRUE(_unit.systemLog().empty());
  EXPECT_EQ(VirtualDevice::openHandles(), 0u);
}

TEST_F(PowerTest, FiguresOfOtherKindsAreTakenForWhatTheyMean) {
  const std::pair<const char*, int32_t> cases[] = {
      {"<real>0.29</real></c><real>1</real>", 29},
      {"<real>nan</real></c><integer>1</integer>", 0},
      {"<true/></c><integer>2</integer>", 50},
      {"<string>full</string></c><integer>100</integer>", 0},
      {"<integer>7</integer></c><array/>", kLargest},
  };
  for (const auto& [figures, percent] : cases) {
    const std::string pair = figures;
    const size_t middle = pair.find("</c>");
    setPowerSource("<key>CurrentCapacity</key>" + pair.substr(0, middle) +
                   "<key>MaxCapacity</key>" + pair.substr(middle + 4));
    EXPECT_EQ(getBatteryCapacity(), percent) << figures;
  }
}

TEST_F(PowerTest, ExternalPowerIsWhatTheSourceTells) {
  const std::pair<const char*, bool> cases[] = {
      {"<key>ExternalConnected</key><true/>", true},
      {"<key>ExternalConnected</key><false/>", false},
      {"<key>ExternalConnected</key><integer>1</integer>", true},
      {"<key>ExternalConnected</key><array/>", false},
      {"", false},
  };
  for (const auto& [property, isConnected] : cases) {
    setPowerSource(property);
    EXPECT_EQ(externalPowerConnected(), isConnected) << property;
  }
  EXPECT_EQ(VirtualDevice::openHandles(), 0u);
}

TEST_F(PowerTest, EachFailureHasItsAnswer) {
  UnitFacts facts;
  facts.powerSource = false;
  setFacts(facts);
  EXPECT_EQ(getBatteryCapacity(), -1);
  EXPECT_FALSE(externalPowerConnected());

  setFacts(UnitFacts());
  struct Case {
    const char* rule;
    int32_t percent;
    bool isConnected;
  };
  const Case cases[] = {
      {"", 80, true},
      {"IOServiceMatching", -1, false},
      {"IOServiceGetMatchingService", -1, false},
      {"IOServiceGetMatchingService=77", -1, false},
      {"IORegistryEntryCreateCFProperty", -1, false},
      {"IORegistryEntryCreateCFProperty@1", -1, true},
      {"IORegistryEntryCreateCFProperty@2", kLargest, true},
      {"CFGetTypeID", 0, false},
      {"CFStringCreateWithFormatAndArguments", 80, true},
      {"IOObjectRelease", 80, true},
  };
  for (const Case& c : cases) {
    VirtualDevice::setFaults(c.rule);
    EXPECT_EQ(getBatteryCapacity(), c.percent) << c.rule;
    EXPECT_EQ(externalPowerConnected(), c.isConnected) << c.rule;
  }
}

TEST_F(PowerTest, ADamagedUnitFileIsReportedAndAnswersAsNoSource) {
  const std::filesystem::path file = _unit.folder() / "device.plist";
  corvane::testing::writeText(file, "<plist><dict>");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(getBatteryCapacity(), -1);
  EXPECT_FALSE(externalPowerConnected());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "virtual device: " + file.string() + ": is not a property list\n");
}

}  // namespace
}  // namespace corvane
