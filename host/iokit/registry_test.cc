#include "platform/registry.h"

#include <atomic>
#include <thread>

#include "host/virtual_unit/unit_folder.h"
#include "testing/objects.h"

namespace corvane::host {
namespace {

namespace testing = corvane::testing;
using namespace std::string_literals;
using testing::cfString;
using testing::requestWrite;

constexpr char kSet[] = "VelmoDiagnosticData";

class RegistryTest : public testing::UnitTest {};

std::string nameOf(const IOObject& entry) {
  io_name_t name = "untouched";
  return IORegistryEntryGetName(entry.get(), name) == kIOReturnSuccess ? name : "(none)";
}

IOObject options() { return IOObject(IORegistryEntryFromPath(0, "IODeviceTree:/options")); }

kern_return_t setVariable(const std::string& name, CFTypeRef value) {
  return IORegistryEntrySetCFProperty(firstService("IODTNVRAM").get(), cfString(name).get(), value);
}

std::string variable(const std::string& name) {
  const CFRef<CFTypeRef> value = copyProperty(options(), cfString(name).get());
  return testing::text(static_cast<CFStringRef>(value.get()));
}

TEST_F(RegistryTest, EntriesHaveTheirNameOrTheirClassOrTheEndOfTheirPath) {
  EXPECT_EQ(nameOf(firstService("IOPlatformExpertDevice")), "T33AP");
  EXPECT_EQ(nameOf(firstService("IOPMPowerSource")), "IOPMPowerSource");
  EXPECT_EQ(nameOf(options()), "options");
  EXPECT_EQ(nameOf(firstService("NoSuchClass")), "(none)");
}

TEST_F(RegistryTest, ASearchTakesOverItsDictionaryAndReturnsOneReference) {
  for (const char* rule : {"", "IOServiceGetMatchingService"}) {
    VirtualDevice::setFaults(rule);
    const CFMutableDictionaryRef matching = IOServiceMatching("IOPMPowerSource");
    CFRetain(matching);
    const IOObject service(IOServiceGetMatchingService(0, matching));
    EXPECT_EQ(CFGetRetainCount(matching), 1) << rule;
    CFRelease(matching);
    EXPECT_EQ(IOObjectGetUserRetainCount(service.get()), rule[0] ? 0u : 1u);
  }
  EXPECT_EQ(VirtualDevice::openHandles(), 0u);
}

TEST_F(RegistryTest, ThreadsFindAndReleaseEntriesWithoutDisturbingEachOther) {
  std::atomic<int> right = 0;
  const auto find = [&] {
    for (int i = 0; i < 50; ++i) {
      const auto set =
          copyProperty(firstService("VelmoDiagnosticDataAccess"), cfString(kSet).get());
      right += nameOf(firstService("IOPlatformExpertDevice")) == "T33AP" &&
               CFDataGetLength(static_cast<CFDataRef>(set.get())) == 1024;
    }
  };
  { const std::jthread one(find), another(find), third(find), last(find); }
  EXPECT_EQ(right, 200);
  EXPECT_EQ(VirtualDevice::openHandles(), 0u);
}

TEST_F(RegistryTest, ADamagedNvramFileIsNamedOnceAndLeftAloneAndAMissingOneIsMade) {
  const std::filesystem::path file = _unit.folder() / kNvramFile;
  const std::pair<std::string, std::string> cases[] = {
      {"<plist><dict>", "is not a property list"},
      {"<plist><array/></plist>", "holds a property list that is not a dictionary"},
  };
  for (const auto& [contents, reason] : cases) {
    testing::writeText(file, contents);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(variable("boot-args"), "(absent)");
    EXPECT_EQ(setVariable("boot-args", CFSTR("-v")), kIOReturnIOError);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "virtual device: " + file.string() + ": " + reason + "\n");
    EXPECT_EQ(testing::readText(file), contents);
  }
  std::filesystem::remove(file);
  EXPECT_EQ(variable("boot-args"), "(absent)");
  EXPECT_EQ(setVariable("boot-args", CFSTR("-v")), kIOReturnSuccess);
  EXPECT_EQ(variable("boot-args"), "-v");
}

TEST_F(RegistryTest, ARefusedWriteOfASetChangesNothing) {
  const std::vector<uint8_t> before = bytes();
  for (const bool commit : {false, true}) {
    for (const int64_t offset : {int64_t{1024}, INT64_MAX, int64_t{-1}}) {
      EXPECT_EQ(requestWrite(kSet, offset, {1}, commit), kIOReturnBadArgument) << offset;
    }
    for (const std::string& set : {"Missing"s, "../data/"s + kSet, std::string(300, 'x'), ""s}) {
      EXPECT_EQ(requestWrite(set, 0, {1}, commit), kIOReturnNotFound) << set;
    }
  }
  EXPECT_EQ(bytes(), before);
  EXPECT_TRUE(_unit.uncommittedDataSets().empty());
  EXPECT_EQ(requestWrite(kSet, 9, {1}, false), kIOReturnSuccess);
  EXPECT_EQ(_unit.uncommittedDataSets(), std::vector<std::string>{kSet});
}

}  // namespace
}  // namespace corvane::host
