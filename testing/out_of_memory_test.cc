#include <atomic>
#include <climits>
#include <cstdlib>
#include <new>
#include <set>

#include "bootargs/boot_args.h"
#include "controlbits/control_bits.h"
#include "dataarea/bits.h"
#include "dataarea/data_area.h"
#include "device/device.h"
#include "device/power.h"
#include "log/log.h"
#include "log/log_collection.h"
#include "log/time_helpers.h"
#include "processes/processes.h"
#include "testing/unit_test.h"

namespace {

/// How many allocations succeed before the others fail. When it is negative, none fails.
std::atomic<long> gAllowed = -1;

}  // namespace

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  if (gAllowed != 0 && gAllowed-- != 0) return std::malloc(size);
  gAllowed = 0;
  return nullptr;
}
void* operator new(size_t size) {
  if (void* memory = operator new(size, std::nothrow)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

namespace corvane {
namespace {

using OutOfMemoryTest = corvane::testing::UnitTest;

TEST_F(OutOfMemoryTest, EachOperationReturnsAResultThatItsContractNames) {
  ASSERT_EQ(ControlBits::getReady(), 0);
  // externalPowerConnected is false of this unit, with memory and without.
  testing::changeFacts(_unit, [](host::UnitFacts& facts) { facts.externalPower = false; });
  const CFRef<CFStringRef> text = testing::cfString("text");
  const CFStringRef set = CFSTR("VelmoDiagnosticData");
  uint8_t byte = 0x41;
  const uint8_t* bytes = nullptr;
  uint32_t length = 0;
  const struct tm epoch {};
  const auto isMade = [](CFTypeRef made) { return CFRef<CFTypeRef>(made) ? 1 : 0; };
  const struct {
    const char* name;
    std::function<int64_t()> call;
    std::set<int64_t> results;
  } cases[] = {
      {"getMasterPort", [] { return getMasterPort(); }, {0, 1}},
      // 0xE00002C0: no such device.
      {"getDataArea", [] { return getDataArea(); }, {0, 5, 0xE00002C0}},
      {"getDataAreaBytePtr: 1 with a length, else 0",
       [&] {
         length = 0;
         return getDataAreaBytePtr(&bytes, &length, set) == (length > 0 ? 1u : 0u);
       },
       {1}},
      {"readBits", [&] { return readBits(0, 1, &byte, set); }, {0, 5}},
      {"writeBits", [&] { return writeBits(0, 1, &byte, 1, set); }, {0, 5}},
      {"hasBootArg", [&] { return hasBootArg(text.get()); }, {0}},
      {"copyBootArgs", [&] { return isMade(copyBootArgs()); }, {0, 1}},
      {"addBootArg", [&] { return addBootArg(text.get()), 0; }, {0}},
      {"removeBootArg", [&] { return removeBootArg(text.get()), 0; }, {0}},
      {"hasBaseband", [] { return Device::hasBaseband(); }, {0, 1}},
      {"productBuildVersion", [] { return Device::productBuildVersion() ? 1 : 0; }, {0, 1}},
      {"getBatteryCapacity", [] { return getBatteryCapacity(); }, {80, -1, INT_MAX}},
      {"externalPowerConnected", [] { return externalPowerConnected(); }, {0}},
      {"newLogCollection", [] { return newLogCollection(); }, {0}},
      {"logsCollected", [] { return logsCollected(); }, {0}},
      {"stringForTime", [&] { return isMade(stringForTime(&epoch)); }, {0, 1}},
      {"getTimeDifference", [&] { return isMade(getTimeDifference(1, 2, 3, 4, 5, 6)); }, {0, 1}},
      {"writePalvireMessage",
       [&] { return Log::writePalvireMessage(text.get(), nullptr, nullptr), 0; },
       {0}},
      {"writeControlBits", [] { return ControlBits::writeControlBits(30, 1, 9), 0; }, {0}},
      {"writeCorvaneStatus", [] { return ControlBits::writeCorvaneStatus(5), 0; }, {0}},
      {"writeLogCollectionStatus", [] { return ControlBits::writeLogCollectionStatus(5), 0; }, {0}},
      {"writePoisonByte", [] { return ControlBits::writePoisonByte(200, true), 0; }, {0}},
      {"writeDiagnosticsRecord",
       [&] { return ControlBits::writeDiagnosticsRecord(1, 2, text.get()); },
       {0, 1}},
      {"readDiagnosticRecord", [] { return ControlBits::readDiagnosticRecord() ? 1 : 0; }, {0, 1}},
      {"Processes", [] { return Processes().prettyPrintToLog(), 0; }, {0}},
  };
  ::testing::internal::CaptureStderr();
  for (const auto& [name, call, results] : cases) {
    // Every point of a short operation, and some of a long one.
    for (long allowed = 0, left = 0; left == 0 && allowed < 20000; allowed += 1 + allowed / 50) {
      gAllowed = allowed;
      // Stays outside the results when the call throws.
      int64_t result = INT64_MIN;
      try {
        result = call();
      } catch (...) {
      }
      left = gAllowed.exchange(-1);
      EXPECT_TRUE(results.contains(result)) << name << " returns " << result;
    }
  }
  ::testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace corvane
