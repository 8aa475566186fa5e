#include "device/device.h"

#include <sys/wait.h>
#include <unistd.h>

#include <limits>

#include "controlbits/control_bits.h"
#include "dataarea/data_area.h"
#include "device/power.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using corvane::testing::text;
using corvane::testing::writeText;
using host::UnitFacts;
using host::VirtualDevice;

constexpr uint32_t kOptionsKey = 0x4F505453;

/// Returns what `work` returns under the fault rules in a process of its own, which has not asked
/// for the device yet.
std::string inFreshProcess(const std::function<std::string()>& work, const char* rules = "") {
  const corvane::testing::TemporaryFolder folder;
  const pid_t child = ::fork();
  if (child == 0) {
    if (*rules) VirtualDevice::setFaults(rules);
    writeText(folder.path() / "result", work());
    ::_exit(0);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  return corvane::testing::readText(folder.path() / "result");
}

/// Returns "wcgb" for a device that has Wi-Fi, compass, gyroscope and baseband, with "-" for each
/// part that it lacks.
std::string capabilities() {
  return std::string(Device::hasWiFi() ? "w" : "-") + (Device::hasCompass() ? "c" : "-") +
         (Device::hasGyro() ? "g" : "-") + (Device::hasBaseband() ? "b" : "-");
}

std::string name() { return text(Device::sharedInstance()->deviceName()); }
std::string build() { return text(Device::productBuildVersion()); }

class DeviceTest : public corvane::testing::UnitTest {
 protected:
  void setModel(const std::optional<std::string>& model, bool radio = true) {
    corvane::testing::changeFacts(_unit, [&](UnitFacts& facts) {
      facts.model = model;
      facts.radio = radio;
    });
  }

  static void writeOptions(const std::string& value) {
    ASSERT_EQ(ControlBits::getReady(), 0);
    ControlBits::writeSystemConfig(reinterpret_cast<const uint8_t*>(value.data()),
                                   static_cast<int32_t>(value.size()), kOptionsKey);
  }
};

TEST_F(DeviceTest, TheModelCodeDecidesWhatADeviceCarries) {
  const struct {
    std::optional<std::string> model;
    bool radio;
    const char* options;
    std::string capabilities;
  } cases[] = {
      {"T31AP", true, "", "w--b"},       {"T31AP", false, "", "---b"},
      {"T32AP", true, "", "wc-b"},       {"T32AP", false, "", "-c-b"},
      {"T33AP", false, "", "wcgb"},      {"T34AP", false, "1xUMTSx1", "wc-b"},
      {"T34AP", false, "umts", "wc--"},  {"T35AP", false, "", "wcgb"},
      {"T36AP", false, "UMTS", "w-g-"},  {"T37AP", false, "UMTS", "w---"},
      {"T38AP", false, "UMTS", "w---"},  {"T33", false, "", "wcgb"},
      {"T30AP", false, "UMTS", "w--b"},  {"XT33AP", false, "", "w--b"},
      {"t36AP", false, "", "w--b"},      {"T3", false, "", "w--b"},
      {std::nullopt, false, "", "w--b"},
  };
  for (const auto& c : cases) {
    setModel(c.model, c.radio);
    writeOptions(c.options);
    EXPECT_EQ(inFreshProcess(capabilities), c.capabilities) << c.model.value_or("(none)");
  }
}

TEST_F(DeviceTest, TheNameIsAskedForUntilItCouldBeReadOnce) {
  const auto askAgain = [&] {
    Device* const device = Device::init();
    std::string names = name();
    names += " " + name();
    setModel("T33AP");
    names += " " + text(Device::init()->deviceName()) + " " + capabilities();
    return names + (device == Device::sharedInstance() ? "" : " another");
  };
  for (const char* rule : {"IOServiceGetMatchingService@1", "IORegistryEntryGetName@1",
                           "CFStringCreateWithCString@1"}) {
    setModel("T36AP");
    EXPECT_EQ(inFreshProcess(askAgain, rule), "(absent) T36AP T36AP w-g-") << rule;
  }
  setModel("T36AP");
  EXPECT_EQ(inFreshProcess(capabilities, "IORegistryEntryGetName@1").back(), 'b')
      << "asked once, a name that cannot be read is an unknown model's";
  setModel("T33" + std::string(123, 'x') + "\xC3\xA9");
  EXPECT_EQ(inFreshProcess(name), "T33" + std::string(123, 'x'))
      << "what the registry has room for";
}

TEST_F(DeviceTest, TheVersionIsKeptOnceItCouldBeRead) {
  const auto file = _unit.filePath("/System/Library/CoreServices/SystemVersion.plist");
  const std::string good = corvane::testing::readText(file);
  EXPECT_EQ(inFreshProcess([&] {
              writeText(file, "<plist><dict>");
              std::string builds = build();
              writeText(file, good);
              builds += " " + build();
              writeText(file, "");
              return builds + " " + build();
            }),
            "(absent) 1A100 1A100");
  for (const char* dictionary : {"<dict><key>ProductName</key><string>x</string></dict>",
                                 "<dict><key>ProductBuildVersion</key><true/></dict>"}) {
    writeText(file, "<plist>" + std::string(dictionary) + "</plist>");
    EXPECT_EQ(inFreshProcess([&] {
                return (Device::sharedInstance()->versionDict() ? "read " : "not read ") + build();
              }),
              "read (absent)");
  }
}

TEST_F(DeviceTest, TheRadioIsAskedForAtEachCall) {
  setModel("T31AP");
  const auto askFourTimes = [&] {
    std::string answers;
    for (int i = 0; i < 3; ++i) answers += Device::hasWiFi() ? "y" : "n";
    setModel("T31AP", false);
    return answers + (Device::hasWiFi() ? "y" : "n");
  };
  const char* rules = "MobileWiFiContainsRadio=0@1,MobileWiFiContainsRadio=256@2";
  EXPECT_EQ(inFreshProcess(askFourTimes, rules), "nyyn");
}

TEST_F(DeviceTest, OptionsAreReadAsTextOfAtMost255Bytes) {
  setModel("T34AP");
  const auto filled = [](size_t size, size_t at) {
    return std::string(size, '.').replace(at, 4, "UMTS");
  };
  const std::string zero(1, '\0');
  const struct {
    std::string value;
    bool hasBaseband;
    std::string logged;
  } cases[] = {
      {zero + "UMTS", false, ""},
      {"a" + zero + "UMTS", false, "a"},
      {filled(16, 12), true, filled(16, 12)},
      {filled(256, 251), true, filled(255, 251)},
      {filled(256, 252), false, std::string(252, '.') + "UMT"},
      {filled(8000, 7996), false, std::string(255, '.')},
  };
  for (const auto& c : cases) {
    writeOptions(c.value);
    const Trace trace = traceOf("", [&] {
      EXPECT_EQ(inFreshProcess(capabilities), c.hasBaseband ? "wc-b" : "wc--") << c.value;
    });
    EXPECT_EQ(trace.systemLog, std::vector<std::string>{"Syscfg OPTS: " + c.logged});
    EXPECT_TRUE(trace.log.empty());
  }
}

TEST_F(DeviceTest, WithoutReadableOptionsThereIsNoBaseband) {
  setModel("T34AP");
  const std::string unread = "Unable to read OPTS syscfg. 0";
  EXPECT_EQ(inFreshProcess(capabilities), "wc--");
  EXPECT_EQ(_unit.systemLog(), std::vector<std::string>{unread});

  writeOptions("UMTS");
  gDataArea = 0;  // This test made it ready.
  for (const char* rule : {"IOMasterPort,IOIteratorNext", "IORegistryEntryCreateCFProperty"}) {
    const Trace trace = traceOf(rule, [] { EXPECT_EQ(inFreshProcess(capabilities), "wc--"); });
    EXPECT_EQ(trace.systemLog.back(), unread) << rule;
  }
  EXPECT_EQ(inFreshProcess(capabilities), "wc-b") << "it gets ready itself";
}

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

class PowerTest : public corvane::testing::UnitTest {};

TEST_F(PowerTest, TheChargeIsTruncatedFrom32BitFigures) {
  constexpr int64_t kHuge = std::numeric_limits<int64_t>::max();
  const struct {
    std::optional<int64_t> current, maximum;
    int32_t percent;
  } cases[] = {
      {53, 100, 52},    {1420, 1420, 100},      {1500, 1420, 105},
      {0, 0, 0},        {5, 0, kMax},           {5, {}, kMax},
      {0, {}, 0},       {{}, 100, -1},          {-50, 100, -50},
      {kHuge, 1, kMax}, {-kHuge, 1, -kMax - 1}, {16777217, 16777216, 100},
  };
  for (const auto& c : cases) {
    _unit.setFacts({.currentCapacity = c.current, .maxCapacity = c.maximum});
    EXPECT_EQ(getBatteryCapacity(), c.percent)
        << c.current.value_or(-1) << " of " << c.maximum.value_or(-1);
  }
  EXPECT_TRUE(logLines().empty());
}

TEST_F(PowerTest, EachFailedCallHasItsResult) {
  const struct {
    const char* rule;
    int32_t percent;
    bool isConnected;
  } cases[] = {
      {"", 80, true},
      {"IOServiceGetMatchingService", -1, false},
      {"IORegistryEntryCreateCFProperty", -1, false},
      {"IORegistryEntryCreateCFProperty@2", kMax, true},
  };
  const size_t before = VirtualDevice::openHandles();
  for (const auto& c : cases) {
    traceOf(c.rule, [&] {
      EXPECT_EQ(getBatteryCapacity(), c.percent) << c.rule;
      EXPECT_EQ(externalPowerConnected(), c.isConnected) << c.rule;
    });
  }
  corvane::testing::changeFacts(_unit, [](UnitFacts& facts) { facts.externalPower = false; });
  EXPECT_FALSE(externalPowerConnected());
  EXPECT_EQ(VirtualDevice::openHandles(), before);
}

}  // namespace
}  // namespace corvane
