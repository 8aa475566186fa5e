#include "host/linux/host_power.h"

#include <sstream>

#include "device/power.h"
#include "host/device_error.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

class HostPowerTest : public corvane::testing::UnitTest {
 protected:
  HostPowerTest() {
    UnitFacts facts = _unit.facts();
    facts.hostPower = true;
    _unit.setFacts(facts);
    gPowerSupplyFolder = _supplies.c_str();
  }
  ~HostPowerTest() override { gPowerSupplyFolder = _machines; }

  /// Lists the machine's supplies, "FILE=CONTENTS" each, as the kernel does.
  void plugIn(const std::string& files) {
    std::filesystem::remove_all(_supplies);
    std::istringstream words(files);
    for (std::string word; words >> word;) {
      const size_t equals = word.find('=');
      corvane::testing::writeText(_supplies + "/" + word.substr(0, equals),
                                  word.substr(equals + 1) + "\n");
    }
  }

  const char* const _machines = gPowerSupplyFolder;
  const std::string _supplies = (_folder.path() / "power_supply").string();
};

TEST_F(HostPowerTest, ThePowerSourceMirrorsThisMachines) {
  struct Case {
    const char* name;
    const char* supplies;
    int32_t percent;
    bool isConnected;
  };
  const Case cases[] = {
      {"by energy, on mains",
       "AC/type=Mains AC/online=1 BAT0/type=Battery BAT0/energy_now=30000000 "
       "BAT0/energy_full=50000000 BAT0/capacity=99 BAT0/status=Discharging",
       60, true},
      {"by charge, mains off",
       "AC/type=Mains AC/online=0 BAT0/type=Battery BAT0/charge_now=1500 BAT0/charge_full=2000 "
       "BAT0/present=1",
       75, false},
      {"by percentage, charged over USB",
       "a/type=Mains a/online=0 b/type=USB b/online=1 c/type=Battery c/capacity=40 c/energy_now=7",
       40, true},
      {"no mains listed, discharging", "BAT0/type=Battery BAT0/capacity=40 BAT0/status=Discharging",
       40, false},
      {"no mains listed, charging", "BAT0/type=Battery BAT0/capacity=40 BAT0/status=Charging", 40,
       true},
      {"a mouse's battery, an empty bay, then the battery",
       "0/type=Battery 0/scope=Device 0/capacity=5 1/type=Battery 1/present=0 1/capacity=6 "
       "2/type=Battery 2/capacity=70 2/scope=System",
       70, true},
      {"a battery that tells nothing", "BAT0/type=Battery BAT0/capacity=much BAT0/energy_full=5",
       -1, true},
      {"no battery, mains off as listed", "AC/type=Mains AC/online=0", -1, false},
      {"nothing listed", "", -1, true},
  };
  for (const Case& c : cases) {
    plugIn(c.supplies);
    EXPECT_EQ(getBatteryCapacity(), c.percent) << c.name;
    EXPECT_EQ(externalPowerConnected(), c.isConnected) << c.name;
  }
}

TEST_F(HostPowerTest, TheUnitsOwnFiguresComeBackWithItsPlist) {
  plugIn("BAT0/type=Battery BAT0/capacity=40");
  UnitFacts facts = _unit.facts();
  EXPECT_EQ(facts.currentCapacity, 80);
  facts.powerSource = false;
  _unit.setFacts(facts);
  EXPECT_EQ(getBatteryCapacity(), -1) << "a unit without a power source mirrors none";
  facts.powerSource = true;
  facts.hostPower = false;
  _unit.setFacts(facts);
  EXPECT_EQ(getBatteryCapacity(), 80);
}

}  // namespace
}  // namespace corvane::host
