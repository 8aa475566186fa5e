#include <IOKit/IOKitLib.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/io_object.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

class RegistryTest : public corvane::testing::UnitTest {};

std::string nameOf(io_object_t entry) {
  io_name_t name = "untouched";
  return IORegistryEntryGetName(entry, name) == kIOReturnSuccess ? name : "(none)";
}

std::string nameOfService(const char* className) {
  return nameOf(IOObject(IOServiceGetMatchingService(0, IOServiceMatching(className))).get());
}

TEST_F(RegistryTest, EntriesHaveTheirNameOrTheirClassOrTheEndOfTheirPath) {
  EXPECT_EQ(nameOfService("IOPlatformExpertDevice"), "T33AP");
  EXPECT_EQ(nameOfService("IOPMPowerSource"), "IOPMPowerSource");
  EXPECT_EQ(nameOf(IOObject(IORegistryEntryFromPath(0, "IODeviceTree:/options")).get()), "options");
  EXPECT_EQ(nameOfService("NoSuchClass"), "(none)");
  EXPECT_EQ(nameOf(IO_OBJECT_NULL), "(none)");
}

TEST_F(RegistryTest, OnlyAPathOfTheUnitLeadsToAnEntry) {
  for (const char* path : {"IODeviceTree:/chosen", "IOPMPowerSource", "/options", ""}) {
    EXPECT_EQ(IORegistryEntryFromPath(0, path), IO_OBJECT_NULL) << path;
  }
}

TEST_F(RegistryTest, ASearchTakesOverItsDictionaryAndHandsOutOneReference) {
  for (const char* rule : {"", "IOServiceGetMatchingService"}) {
    VirtualDevice::setFaults(rule);
    const CFMutableDictionaryRef matching = IOServiceMatching("IOPMPowerSource");
    CFRetain(matching);
    const io_service_t service = IOServiceGetMatchingService(0, matching);
    EXPECT_EQ(CFGetRetainCount(matching), 1) << rule;
    CFRelease(matching);
    EXPECT_EQ(IOObjectGetUserRetainCount(service), rule[0] ? 0u : 1u);
    if (service) IOObjectRelease(service);
  }
  EXPECT_EQ(VirtualDevice::openHandles(), 0u);
}

TEST_F(RegistryTest, ThreadsFindAndReleaseEntriesWithoutDisturbingEachOther) {
  const size_t before = VirtualDevice::openHandles();
  std::atomic<int> right = 0;
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&right] {
        for (int i = 0; i < 50; ++i) right += nameOfService("IOPlatformExpertDevice") == "T33AP";
      });
    }
  }
  EXPECT_EQ(right, 200);
  EXPECT_EQ(VirtualDevice::openHandles(), before);
}

}  // namespace
}  // namespace corvane::host
