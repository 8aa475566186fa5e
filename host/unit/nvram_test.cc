#include "host/unit/unit_folder.h"
#include "platform/registry.h"
#include "testing/objects.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

namespace testing = corvane::testing;
using testing::cfString;

class NvramTest : public testing::UnitTest {
 protected:
  std::filesystem::path file() const { return _unit.folder() / kNvramFile; }
};

IOObject options() { return IOObject(IORegistryEntryFromPath(0, "IODeviceTree:/options")); }

kern_return_t set(const std::string& name, CFTypeRef value) {
  return IORegistryEntrySetCFProperty(firstService("IODTNVRAM").get(), cfString(name).get(), value);
}

kern_return_t setText(const std::string& name, const std::string& value) {
  return set(name, cfString(value).get());
}

std::string textOf(const std::string& name, const IOObject& entry = options()) {
  const CFRef<CFTypeRef> value = copyProperty(entry, cfString(name).get());
  return testing::text(static_cast<CFStringRef>(value.get()));
}

TEST_F(NvramTest, AVariableIsSeenAtOnceAndLeavesTheOthersAlone) {
  const IOObject early = options();
  EXPECT_EQ(setText("auto-boot", "true"), kIOReturnSuccess);
  EXPECT_EQ(textOf("auto-boot", firstService("IODTNVRAM")), "true");
  EXPECT_EQ(textOf("auto-boot", early), "true");

  const CFRef data = testing::makeData("\1\2");
  const CFRef number = testing::makeNumber(7);
  for (const CFTypeRef value :
       {CFTypeRef{data.get()}, CFTypeRef{number.get()}, CFTypeRef{kCFBooleanFalse}}) {
    EXPECT_EQ(set("kind", value), kIOReturnSuccess);
    EXPECT_TRUE(CFEqual(copyProperty(options(), CFSTR("kind")).get(), value));
  }
  EXPECT_EQ(textOf("auto-boot"), "true");
  EXPECT_EQ(textOf("boot-args"), "serial=1");
}

TEST_F(NvramTest, WhatIsNoVariableIsRefusedAndNothingIsWritten) {
  const std::string before = testing::readText(file());
  EXPECT_EQ(set("boot-args", nullptr), kIOReturnBadArgument);
  EXPECT_EQ(set("boot-args", testing::makeArray({}).get()), kIOReturnBadArgument);
  EXPECT_EQ(setText("", "x"), kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntrySetCFProperty(options().get(), nullptr, CFSTR("x")),
            kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntrySetCFProperty(IO_OBJECT_NULL, CFSTR("a"), CFSTR("x")),
            kIOReturnBadArgument);
  EXPECT_EQ(
      IORegistryEntrySetCFProperty(firstService("IOPMPowerSource").get(), CFSTR("a"), CFSTR("x")),
      kIOReturnUnsupported);
  EXPECT_EQ(testing::readText(file()), before);
}

TEST_F(NvramTest, ADamagedFileIsNamedOnceAndLeftAloneAndAMissingOneIsMade) {
  const std::pair<std::string, std::string> cases[] = {
      {"<plist><dict>", "is not a property list"},
      {"<plist><array/></plist>", "holds a property list that is not a dictionary"},
  };
  for (const auto& [contents, reason] : cases) {
    testing::writeText(file(), contents);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(textOf("boot-args"), "(absent)");
    EXPECT_EQ(setText("boot-args", "-v"), kIOReturnIOError);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "virtual device: " + file().string() + ": " + reason + "\n");
    EXPECT_EQ(testing::readText(file()), contents);
  }
  std::filesystem::remove(file());
  EXPECT_EQ(textOf("boot-args"), "(absent)");
  EXPECT_EQ(setText("boot-args", "-v"), kIOReturnSuccess);
  EXPECT_EQ(textOf("boot-args"), "-v");
}

}  // namespace
}  // namespace corvane::host
