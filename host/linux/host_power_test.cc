#include "host/linux/host_power.h"

#include <sstream>

#include "device/power.h"
#include "host/include/device_error.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

using corvane::testing::changeFacts;

class HostPowerTest : public corvane::testing::UnitTest {
 protected:
  HostPowerTest() {
    changeFacts(_unit, [](UnitFacts& facts) { facts.hostPower = true; });
    gPowerSupplyFolder = _supplies.c_str();
  }
  ~HostPowerTest() override { gPowerSupplyFolder = _machines; }

  /// Writes the files with which the kernel lists the machine's supplies, "FILE=CONTENTS" each.
  void plugIn(const std::string& files) {
    std::filesystem::remove_all(_supplies);
    std::istringstream words(files);
    for (std::string file, text; std::getline(words >> std::ws, file, '=') && words >> text;) {
      corvane::testing::writeText(_supplies + "/" + file, text + "\n");
    }
  }

  const char* const _machines = gPowerSupplyFolder;
  const std::string _supplies = (_folder.path() / "power_supply").string();
};

TEST_F(HostPowerTest, ThePowerSourceMirrorsThisMachines) {
  const struct {
    const char* supplies;
    int32_t percent;
    bool isConnected;
  } cases[] = {
      {"AC/type=Mains AC/online=1 BAT0/type=Battery BAT0/energy_now=30000000 "
       "BAT0/energy_full=50000000 BAT0/capacity=99 BAT0/status=Discharging",
       60, true},
      {"AC/type=Mains AC/online=0 BAT0/type=Battery BAT0/charge_now=1500 BAT0/charge_full=2000 "
       "BAT0/present=1",
       75, false},
      {"a/type=Mains a/online=0 b/type=USB b/online=1 c/type=Battery c/capacity=40 c/energy_now=7",
       40, true},
      {"BAT0/type=Battery BAT0/capacity=40 BAT0/status=Discharging", 40, false},
      // The battery of a mouse and an empty bay come before the machine's own.
      {"0/type=Battery 0/scope=Device 0/capacity=5 1/type=Battery 1/present=0 1/capacity=6 "
       "2/type=Battery 2/capacity=70 2/scope=System",
       70, true},
      {"BAT0/type=Battery BAT0/capacity=much BAT0/energy_full=5", -1, true},
      {"AC/type=Mains AC/online=0", -1, false},
      {"", -1, true},
  };
  for (const auto& c : cases) {
    plugIn(c.supplies);
    EXPECT_EQ(getBatteryCapacity(), c.percent) << c.supplies;
    EXPECT_EQ(externalPowerConnected(), c.isConnected) << c.supplies;
  }
}

TEST_F(HostPowerTest, TheUnitsOwnFiguresAreBackWhenPowerIsPlist) {
  plugIn("BAT0/type=Battery BAT0/capacity=40");
  EXPECT_EQ(_unit.facts().currentCapacity, 80);
  changeFacts(_unit, [](UnitFacts& facts) { facts.powerSource = false; });
  EXPECT_EQ(getBatteryCapacity(), -1) << "a unit without a power source mirrors none";
  _unit.setFacts(UnitFacts());
  EXPECT_EQ(getBatteryCapacity(), 80);
}

}  // namespace
}  // namespace corvane::host
