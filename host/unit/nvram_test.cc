#include <IOKit/IOKitLib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "host/unit/unit_folder.h"
#include "platform/io_object.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

using corvane::testing::cfString;
using corvane::testing::readText;
using corvane::testing::text;
using corvane::testing::writeText;

class NvramTest : public corvane::testing::UnitTest {
 protected:
  std::filesystem::path file() const { return _unit.folder() / kNvramFile; }
};

IOObject service() {
  return IOObject(IOServiceGetMatchingService(0, IOServiceMatching("IODTNVRAM")));
}

IOObject options() { return IOObject(IORegistryEntryFromPath(0, "IODeviceTree:/options")); }

kern_return_t set(const std::string& name, CFTypeRef value) {
  return IORegistryEntrySetCFProperty(service().get(), cfString(name).get(), value);
}

kern_return_t setText(const std::string& name, const std::string& value) {
  return set(name, cfString(value).get());
}

CFRef<CFTypeRef> variable(const IOObject& entry, const std::string& name) {
  return CFRef<CFTypeRef>(
      IORegistryEntryCreateCFProperty(entry.get(), cfString(name).get(), nullptr, 0));
}

std::string textOf(const std::string& name) {
  return text(static_cast<CFStringRef>(variable(options(), name).get()));
}

TEST_F(NvramTest, AVariableIsSeenAtOnceAndLeavesTheOthersAlone) {
  const IOObject early = options();
  EXPECT_EQ(setText("auto-boot", "true"), kIOReturnSuccess);
  for (const IOObject& entry : {options(), service()}) {
    const CFRef<CFTypeRef> value = variable(entry, "auto-boot");
    EXPECT_EQ(text(static_cast<CFStringRef>(value.get())), "true");
  }
  EXPECT_TRUE(variable(early, "auto-boot"));
  EXPECT_EQ(textOf("boot-args"), "serial=1");

  const uint8_t bytes[] = {1, 2};
  const CFRef<CFDataRef> data(CFDataCreate(nullptr, bytes, 2));
  const int32_t seven = 7;
  const CFRef<CFNumberRef> number(CFNumberCreate(nullptr, kCFNumberSInt32Type, &seven));
  for (const CFTypeRef value :
       {CFTypeRef{data.get()}, CFTypeRef{number.get()}, CFTypeRef{kCFBooleanFalse}}) {
    EXPECT_EQ(set("kind", value), kIOReturnSuccess);
    EXPECT_TRUE(CFEqual(variable(options(), "kind").get(), value));
  }
  EXPECT_EQ(textOf("auto-boot"), "true");
}

TEST_F(NvramTest, WhatIsNoVariableIsRefusedAndNothingIsWritten) {
  const std::string before = readText(file());
  const CFRef<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  EXPECT_EQ(set("boot-args", nullptr), kIOReturnBadArgument);
  EXPECT_EQ(set("boot-args", array.get()), kIOReturnBadArgument);
  EXPECT_EQ(setText("", "x"), kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntrySetCFProperty(service().get(), nullptr, CFSTR("x")),
            kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntrySetCFProperty(IO_OBJECT_NULL, CFSTR("a"), CFSTR("x")),
            kIOReturnBadArgument);
  const IOObject power(IOServiceGetMatchingService(0, IOServiceMatching("IOPMPowerSource")));
  EXPECT_EQ(IORegistryEntrySetCFProperty(power.get(), CFSTR("a"), CFSTR("x")),
            kIOReturnUnsupported);
  EXPECT_EQ(readText(file()), before);
}

TEST_F(NvramTest, AMissingFileHoldsNoVariablesAndIsMadeByTheFirst) {
  std::filesystem::remove(file());
  EXPECT_EQ(textOf("boot-args"), "(absent)");
  EXPECT_EQ(setText("boot-args", "-v"), kIOReturnSuccess);
  EXPECT_EQ(textOf("boot-args"), "-v");
}

TEST_F(NvramTest, ADamagedFileIsNamedOnceAndLeftAlone) {
  const std::pair<std::string, std::string> cases[] = {
      {"<plist><dict>", "is not a property list"},
      {"<plist><array/></plist>", "holds a property list that is not a dictionary"},
      {"", "is not a property list"},
  };
  for (const auto& [contents, reason] : cases) {
    writeText(file(), contents);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(textOf("boot-args"), "(absent)");
    EXPECT_EQ(setText("boot-args", "-v"), kIOReturnIOError);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "virtual device: " + file().string() + ": " + reason + "\n");
    EXPECT_EQ(readText(file()), contents);
  }
}

TEST_F(NvramTest, ProcessesThatEditAtOnceLoseNothingOfEachOther) {
  constexpr int kProcesses = 2, kVariables = 25;
  pid_t children[kProcesses];
  for (int process = 0; process < kProcesses; ++process) {
    children[process] = ::fork();
    if (children[process] != 0) continue;
    int failures = 0;
    for (int i = 0; i < kVariables; ++i) {
      const std::string name = std::to_string(process) + "-" + std::to_string(i);
      failures += setText(name, name) != kIOReturnSuccess || textOf(name) != name;
    }
    ::_exit(failures);
  }
  for (const pid_t child : children) {
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  for (int process = 0; process < kProcesses; ++process) {
    for (int i = 0; i < kVariables; ++i) {
      const std::string name = std::to_string(process) + "-" + std::to_string(i);
      EXPECT_EQ(textOf(name), name);
    }
  }
  EXPECT_EQ(textOf("boot-args"), "serial=1");
}

}  // namespace
}  // namespace corvane::host
