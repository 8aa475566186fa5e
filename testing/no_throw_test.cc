#include <atomic>
#include <climits>
#include <cstdlib>
#include <new>

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
std::atomic<long> gAllowedAllocations = -1;
std::atomic<bool> gHasFailed = false;

}  // namespace

// The platform stand-in's own functions may lose what they hold when memory runs out.
extern "C" CORVANE_EXPORT int __lsan_is_turned_off() { return 1; }

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  long allowed = gAllowedAllocations.load();
  while (allowed > 0 && !gAllowedAllocations.compare_exchange_weak(allowed, allowed - 1)) {
  }
  if (allowed != 0) return std::malloc(size);
  gHasFailed = true;
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

using testing::cfString;

class NoThrowTest : public corvane::testing::UnitTest {
 protected:
  /// Runs `operation` with allocations that fail after the first `allowed`. Returns whether one
  /// failed.
  static bool failsAfter(long allowed, const std::function<void()>& operation) {
    gHasFailed = false;
    gAllowedAllocations = allowed;
    try {
      operation();
      gAllowedAllocations = -1;
    } catch (...) {
      gAllowedAllocations = -1;
      ADD_FAILURE() << "throws after " << allowed << " allocations";
    }
    return gHasFailed;
  }
};

TEST_F(NoThrowTest, NoOperationThrowsWhenMemoryRunsOutAtAnyPoint) {
  ASSERT_EQ(ControlBits::getReady(), 0);
  Log::write(CFSTR("made before"), nullptr, 0);
  const CFRef<CFStringRef> text = cfString("text"), word = cfString("word");
  const CFStringRef set = CFSTR("VelmoDiagnosticData");
  const uint8_t byte = 0x41;
  uint8_t read = 0;
  const uint8_t* bytes = nullptr;
  uint32_t length = 0;
  const struct tm epoch {};
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"getMasterPort", [] { getMasterPort(); }},
      {"getDataArea", [] { getDataArea(); }},
      {"getDataAreaBytePtr", [&] { getDataAreaBytePtr(&bytes, &length, set); }},
      {"readBits", [&] { readBits(0, 1, &read, set); }},
      {"writeBits", [&] { writeBits(0, 1, &byte, 1, set); }},
      {"writeBits without a set", [&] { writeBits(0, 1, &byte, 1, nullptr); }},
      {"getReady", [] { ControlBits::getReady(); }},
      {"readControlBitsBytes", [&] { ControlBits::readControlBitsBytes(&read, 1); }},
      {"writeControlBits", [] { ControlBits::writeControlBits(30, 1, 9); }},
      {"writeCorvaneStatus", [] { ControlBits::writeCorvaneStatus(5); }},
      {"writeLogCollectionStatus", [] { ControlBits::writeLogCollectionStatus(5); }},
      {"writePoisonByte", [] { ControlBits::writePoisonByte(200, true); }},
      {"readDiagnosticRecord", [] { ControlBits::readDiagnosticRecord(); }},
      {"writeDiagnosticsRecord", [&] { ControlBits::writeDiagnosticsRecord(1, 2, text.get()); }},
      {"copyBootArgs", [] { CFRef<CFStringRef>{copyBootArgs()}; }},
      {"hasBootArg", [&] { hasBootArg(word.get()); }},
      {"addBootArg", [&] { addBootArg(word.get()); }},
      {"removeBootArg", [&] { removeBootArg(word.get()); }},
      {"deviceName", [] { Device::sharedInstance()->deviceName(); }},
      {"hasBaseband", [] { Device::hasBaseband(); }},
      {"hasWiFi", [] { Device::hasWiFi(); }},
      {"productBuildVersion", [] { Device::productBuildVersion(); }},
      {"getBatteryCapacity", [] { getBatteryCapacity(); }},
      {"externalPowerConnected", [] { externalPowerConnected(); }},
      {"write", [&] { Log::write(text.get(), word.get(), 3); }},
      {"writePalvireMessage",
       [&] { Log::writePalvireMessage(text.get(), word.get(), word.get()); }},
      {"logsCollected", [] { logsCollected(); }},
      {"stringForTime", [&] { CFRef<CFStringRef>{stringForTime(&epoch)}; }},
      {"getTimeDifference", [] { CFRef<CFStringRef>{getTimeDifference(1, 2, 3, 4, 5, 6)}; }},
  };
  ::testing::internal::CaptureStderr();
  for (const auto& [name, operation] : operations) {
    long allowed = 0;
    while (allowed < 2000 && failsAfter(allowed, operation)) ++allowed;
    EXPECT_LT(allowed, 2000) << name;
  }
  ::testing::internal::GetCapturedStderr();
}

TEST_F(NoThrowTest, AnAnswerWithoutMemoryIsNoSuccess) {
  ASSERT_EQ(ControlBits::getReady(), 0);
  const CFStringRef set = CFSTR("VelmoDiagnosticData");
  const CFRef<CFStringRef> word = cfString("not there");
  const uint8_t* bytes = nullptr;
  testing::changeFacts(_unit, [](host::UnitFacts& facts) { facts.externalPower = false; });
  for (long allowed = 0; allowed < 100; ++allowed) {
    bool has = false;
    failsAfter(allowed, [&] {
      has = hasBootArg(word.get()) || externalPowerConnected() || newLogCollection() ||
            logsCollected();
    });
    EXPECT_FALSE(has) << allowed;
    uint8_t read = 0x55;
    uint32_t length = 99, isFound = 2, readResult = 2, areaResult = 2;
    failsAfter(allowed, [&] { isFound = getDataAreaBytePtr(&bytes, &length, set); });
    EXPECT_EQ(isFound, length == 99 ? 0u : 1u) << allowed;
    failsAfter(allowed, [&] { readResult = readBits(0, 1, &read, set); });
    EXPECT_EQ(readResult, read == 0x55 ? 5u : 0u) << allowed;
    gDataArea = 0;
    failsAfter(allowed, [&] { areaResult = getDataArea(); });
    EXPECT_EQ(areaResult == 0, gDataArea != 0) << allowed;
    ASSERT_EQ(getDataArea(), 0u);
    int32_t percent = 0;
    failsAfter(allowed, [&] { percent = getBatteryCapacity(); });
    EXPECT_TRUE(percent == 80 || percent == -1 || percent == INT_MAX) << percent;
  }
}

TEST_F(NoThrowTest, ASamplerWithoutMemoryEndsItsPass) {
  for (const long allowed : {0, 1, 2, 5, 10, 20, 50, 100, 200, 400}) {
    EXPECT_TRUE(failsAfter(allowed, [] { Processes().prettyPrintToLog(); })) << allowed;
  }
  Processes processes;
  for (long allowed = 0; allowed < 50; ++allowed) {
    failsAfter(allowed, [&] { processes.prettyPrintToLog(); });
  }
}

TEST_F(NoThrowTest, AnEndlessIndentationDropsTheLine) {
  Log::write(CFSTR("dropped"), nullptr, (1 << 20) + 1);
  Log::write(CFSTR("kept"), nullptr, 1 << 20);
  ASSERT_EQ(logLines().size(), 1u);
  EXPECT_EQ(logLines()[0], std::string(4 << 20, ' ') + "kept");
  EXPECT_EQ(_unit.systemLog(), (std::vector<std::string>{"dropped", "kept"}));
}

}  // namespace
}  // namespace corvane
