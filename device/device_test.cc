#include "device/device.h"

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "controlbits/control_bits.h"
#include "dataarea/data_area.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using corvane::testing::text;
using corvane::testing::writeText;
using host::UnitFacts;
using host::VirtualDevice;

constexpr char kVersionFile[] = "/System/Library/CoreServices/SystemVersion.plist";
constexpr uint32_t kOptionsKey = 0x4F505453;

/// What `work` returns in a process of its own, in which nobody has asked for the device yet.
std::string inFreshProcess(const std::function<std::string()>& work) {
  int ends[2];
  if (::pipe(ends) != 0) return "no pipe";
  const pid_t child = ::fork();
  if (child == 0) {
    const std::string result = work();
    const bool isWritten = ::write(ends[1], result.data(), result.size()) >= 0;
    ::_exit(isWritten ? 0 : 1);
  }
  ::close(ends[1]);
  std::string result;
  char chunk[4096];
  for (ssize_t count; (count = ::read(ends[0], chunk, sizeof chunk)) > 0;) {
    result.append(chunk, static_cast<size_t>(count));
  }
  ::close(ends[0]);
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << result;
  return result;
}

/// "wcgb" for a device that has Wi-Fi, compass, gyroscope and baseband; "-" for what it has not.
std::string capabilities() {
  return std::string(Device::hasWiFi() ? "w" : "-") + (Device::hasCompass() ? "c" : "-") +
         (Device::hasGyro() ? "g" : "-") + (Device::hasBaseband() ? "b" : "-");
}

std::string name() { return text(Device::sharedInstance()->deviceName()); }
std::string build() { return text(Device::productBuildVersion()); }

void writeOptions(const std::string& value) {
  ASSERT_EQ(ControlBits::getReady(), 0);
  ControlBits::writeSystemConfig(reinterpret_cast<const uint8_t*>(value.data()),
                                 static_cast<int32_t>(value.size()), kOptionsKey);
}

class DeviceTest : public corvane::testing::UnitTest {
 protected:
  void setModel(const std::optional<std::string>& model, bool radio = true) {
    UnitFacts facts = _unit.facts();
    facts.model = model;
    facts.radio = radio;
    _unit.setFacts(facts);
  }

  void clearSystemLog() { std::filesystem::remove(_unit.filePath("/private/var/log/system.log")); }
};

TEST_F(DeviceTest, TheModelCodeDecidesWhatADeviceCarries) {
  struct Case {
    std::optional<std::string> model;
    bool radio;
    const char* options;
    std::string capabilities;
  };
  const Case cases[] = {
      {"T31AP", true, "", "w--b"},       {"T31AP", false, "", "---b"},
      {"T32AP", true, "", "wc-b"},       {"T32AP", false, "", "-c-b"},
      {"T33AP", false, "", "wcgb"},      {"T34AP", false, "1xUMTSx1", "wc-b"},
      {"T34AP", false, "CDMA", "wc--"},  {"T34AP", false, "umts", "wc--"},
      {"T35AP", false, "", "wcgb"},      {"T36AP", false, "UMTS", "w-g-"},
      {"T37AP", false, "UMTS", "w---"},  {"T38AP", false, "UMTS", "w---"},
      {"T33", false, "", "wcgb"},        {"T331", false, "", "wcgb"},
      {"T30AP", false, "UMTS", "w--b"},  {"T39AP", false, "", "w--b"},
      {"XT33AP", false, "", "w--b"},     {" T36AP", false, "", "w--b"},
      {"t36AP", false, "", "w--b"},      {"T3", false, "", "w--b"},
      {"AP T31", false, "", "w--b"},     {"", false, "", "w--b"},
      {std::nullopt, false, "", "w--b"}, {"T\xC3\xA9", false, "", "w--b"},
  };
  for (const Case& c : cases) {
    setModel(c.model, c.radio);
    writeOptions(c.options);
    EXPECT_EQ(inFreshProcess(capabilities), c.capabilities) << c.model.value_or("(none)");
  }
}

TEST_F(DeviceTest, EveryAllocationYieldsTheOneInstance) {
  const std::string same = inFreshProcess([] {
    Device* const first = Device::init();
    return first && first == Device::sharedInstance() && first == Device::init() ? "one" : "more";
  });
  EXPECT_EQ(same, "one");
}

TEST_F(DeviceTest, TheNameIsKeptOnceItCouldBeRead) {
  for (const char* rule : {"IOServiceMatching@1", "IOServiceGetMatchingService@1",
                           "IORegistryEntryGetName@1", "CFStringCreateWithCString@1"}) {
    setModel("T36AP");
    EXPECT_EQ(inFreshProcess([&] {
                VirtualDevice::setFaults(rule);
                const std::string first = name();
                const std::string second = name();
                setModel("T33AP");
                return first + " " + second + " " + name() + " " + capabilities();
              }),
              "(absent) T36AP T36AP w-g-")
        << rule;
  }
}

TEST_F(DeviceTest, WithoutANameADeviceIsAnUnknownModel) {
  setModel("T36AP");
  for (const char* rule :
       {"IOServiceMatching", "IOServiceGetMatchingService", "IOServiceGetMatchingService=77",
        "IORegistryEntryGetName=1", "CFStringCreateWithCString"}) {
    EXPECT_EQ(inFreshProcess([&] {
                VirtualDevice::setFaults(rule);
                return capabilities();
              }),
              "w--b")
        << rule;
  }
  EXPECT_EQ(inFreshProcess([&] {
              const size_t before = VirtualDevice::openHandles();
              Device::hasGyro();
              return VirtualDevice::openHandles() == before ? "released" : "kept";
            }),
            "released");
}

TEST_F(DeviceTest, ANameIsWhatFitsIntoTheRegistrysBuffer) {
  setModel("T33" + std::string(123, 'x') + "\xC3\xA9");
  EXPECT_EQ(inFreshProcess(name), "T33" + std::string(123, 'x'));
}

TEST_F(DeviceTest, TheVersionIsKeptOnceItCouldBeRead) {
  const std::filesystem::path file = _unit.filePath(kVersionFile);
  const std::string good = corvane::testing::readText(file);
  EXPECT_EQ(inFreshProcess([&] {
              writeText(file, "<plist><dict>");
              std::string builds = build();
              std::filesystem::remove(file);
              builds += " " + build();
              writeText(file, good);
              builds += " " + build();
              writeText(file, "");
              return builds + " " + build();
            }),
            "(absent) (absent) 1A100 1A100");

  for (const char* rule :
       {"CFDataCreate", "CFPropertyListCreateWithData", "CFGetTypeID", "CFDictionaryGetValue"}) {
    writeText(file, good);
    EXPECT_EQ(inFreshProcess([&] {
                VirtualDevice::setFaults(rule);
                return build();
              }),
              "(absent)")
        << rule;
  }
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
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(inFreshProcess([&] {
              std::string answers;
              VirtualDevice::setFaults(
                  "MobileWiFiContainsRadio=0@1,MobileWiFiContainsRadio=256@2,"
                  "MobileWiFiContainsRadio=0x80000000@3");
              for (int i = 0; i < 4; ++i) answers += Device::hasWiFi() ? "y" : "n";
              setModel("T31AP", false);
              answers += Device::hasWiFi() ? "y" : "n";
              writeText(_unit.folder() / "device.plist", "<plist>");
              return answers + (Device::hasWiFi() ? "y" : "n");
            }),
            "nyyynn");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "virtual device: " + (_unit.folder() / "device.plist").string() +
                ": is not a property list\n");
}

TEST_F(DeviceTest, OptionsAreReadAsTextOfAtMost255Bytes) {
  setModel("T34AP");
  const std::string zero(1, '\0');
  const auto filled = [](size_t size, size_t at) {
    std::string value(size, '.');
    return value.replace(at, 4, "UMTS");
  };
  struct Case {
    std::string value;
    bool hasBaseband;
    std::string logged;
  };
  const std::string free16(15, '\xFF');
  const Case cases[] = {
      {"", false, std::string(16, '\xFF')},
      {"U", false, "U" + free16},
      {"UMTS", true, "UMTS" + free16.substr(3)},
      {zero + "UMTS", false, ""},
      {"a" + zero + "UMTS", false, "a"},
      {filled(16, 12), true, filled(16, 12)},
      {filled(255, 251), true, filled(255, 251)},
      {filled(256, 251), true, filled(255, 251)},
      {filled(256, 252), false, std::string(252, '.') + "UMT"},
      {std::string(254, '.') + zero + "UMTS", false, std::string(254, '.')},
      {filled(8000, 100), true, filled(255, 100)},
      {filled(8000, 7996), false, std::string(255, '.')},
      {"UMTS" + std::string(7996, '\0'), true, "UMTS"},
  };
  for (const Case& c : cases) {
    _unit.setDataSet("VelmoDiagnosticDataSysCfg", std::vector<uint8_t>(8192, 0xFF));
    writeOptions(c.value);
    clearSystemLog();
    EXPECT_EQ(inFreshProcess(capabilities), c.hasBaseband ? "wc-b" : "wc--") << c.value;
    // In the system log, bytes that are no UTF-8 are Latin-1.
    std::string logged = "Syscfg OPTS: ";
    for (const char byte : c.logged) logged += byte == '\xFF' ? "\xC3\xBF" : std::string(1, byte);
    EXPECT_EQ(_unit.systemLog(), std::vector<std::string>{logged});
    EXPECT_TRUE(logLines().empty());
  }
}

TEST_F(DeviceTest, WithoutReadableOptionsThereIsNoBaseband) {
  setModel("T34AP");
  const std::string unread = "Unable to read OPTS syscfg. 0";
  EXPECT_EQ(inFreshProcess(capabilities), "wc--");
  EXPECT_EQ(_unit.systemLog(), std::vector<std::string>{unread});

  writeOptions("UMTS");
  for (const char* rule : {"IOMasterPort", "IOKitWaitQuiet", "IOServiceGetMatchingServices",
                           "IOIteratorNext", "IORegistryEntryCreateCFProperty", "CFGetTypeID"}) {
    clearSystemLog();
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(inFreshProcess([&] {
                // The handle that this test made ready would hide what getReady does.
                Device::sharedInstance()->deviceName();
                gDataArea = 0;
                VirtualDevice::setFaults(rule);
                return capabilities();
              }),
              "wc--")
        << rule;
    EXPECT_NE(::testing::internal::GetCapturedStderr(), "") << rule;
    EXPECT_EQ(_unit.systemLog().back(), unread) << rule;
  }
}

}  // namespace
}  // namespace corvane
