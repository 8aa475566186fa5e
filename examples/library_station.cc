// A station in C++ on the library alone: a record, a key, the log and the processes.
//
//     library_station              on the unit in $CORVANE_DEVICE
//
// It marks status byte 42 incomplete, counts the run under the key LRUN, logs the processes that
// use more than 1 % of a processor, and leaves poison byte 43, a record of station 9 and, last, the
// status. The library's operations report failures in its log only, so all that was written is read
// back here. The station kit does all of this, and locks the unit.
//
// Exit status: 0 passed, 1 failed, 3 the unit is refused or cannot be trusted.

#include <corvane/controlbits/control_bits.h>
#include <corvane/dataarea/bits.h>
#include <corvane/dataarea/nor_access.h>
#include <corvane/log/log.h>
#include <corvane/processes/processes.h>
#include <corvane/syscfg/syscfg.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using corvane::CFRef;
using corvane::ControlBits;

namespace {

constexpr int kStatusOffset = 42;
constexpr uint8_t kPoisonOffset = 43;
constexpr uint8_t kStation = 9;
constexpr uint32_t kRunCountKey = 0x4C52554E;  // "LRUN"
const CFStringRef kSet = CFSTR("VelmoDiagnosticData");

int untrusted(const char* what) {
  std::fprintf(stderr, "library_station: the unit cannot be trusted: %s\n", what);
  return 3;
}

// Returns the byte, or -1 when it cannot be read.
int byteAt(uint32_t offset) {
  uint8_t byte = 0;
  return readBits(offset, 1, &byte, kSet) == 0 ? byte : -1;
}

// Sets the status and returns whether the unit holds it. The byte must not change in another way.
bool keepStatus(int status, int failCount) {
  const int before = byteAt(kStatusOffset);
  ControlBits::writeControlBits(kStatusOffset, status, failCount);
  const int after = byteAt(kStatusOffset);
  return before >= 0 && after >= 0 && (after & 3) == status &&
         corvane::failCountOf(static_cast<uint8_t>(after)) == failCount &&
         (before & 0xE0) == (after & 0xE0);
}

using Bytes = std::vector<uint8_t>;

// Returns whether the area is a key store, or blank: the library takes any other for an empty one,
// and a change would lose its keys.
bool isSound(const Bytes& area) {
  if (std::ranges::count(area, area[0]) == kConfigurationAreaSize) {
    return area[0] == 0xFF || area[0] == 0;
  }
  uint32_t tableEnd = 0, count = 0;
  std::memcpy(&tableEnd, &area[4], sizeof tableEnd);
  std::memcpy(&count, &area[20], sizeof count);
  syscfg_handle* const store = syscfg__init(&ferrox_nor_access);
  const bool isSame = std::equal(area.begin(), area.end(), store->image);
  syscfg__deinit(store, 0);
  return isSame && count <= kConfigurationAreaSize / 20 && tableEnd == 24 + 20 * count;
}

// Counts the run under its key. Changes nothing unless two reads of the area agree: after a failed
// one the library would go on with what it last read.
bool countRun() {
  Bytes area(kConfigurationAreaSize), lastRead(kConfigurationAreaSize);
  ferrox_nor_read(&ferrox_nor_access, lastRead.data());
  if (ControlBits::readSysCfgBytes(area.data(), kConfigurationAreaSize) != 0 || lastRead != area ||
      !isSound(area)) {
    return false;
  }
  Bytes value(kConfigurationAreaSize);
  uint32_t count = 0;
  if (ControlBits::readSystemConfig(value.data(), kRunCountKey) > 0) {
    std::memcpy(&count, value.data(), sizeof count);
  }
  ++count;
  ControlBits::writeSystemConfig(reinterpret_cast<const uint8_t*>(&count), sizeof count,
                                 kRunCountKey);
  Bytes held(kConfigurationAreaSize);
  return ControlBits::readSysCfgBytes(held.data(), kConfigurationAreaSize) == 0 && isSound(held) &&
         ControlBits::readSystemConfig(value.data(), kRunCountKey) > 0 &&
         std::memcmp(value.data(), &count, sizeof count) == 0;
}

CFIndex recordCount() {
  const CFRef<CFMutableArrayRef> records = ControlBits::readDiagnosticRecord();
  return records ? CFArrayGetCount(records.get()) : -1;
}

bool lastRecordIs(int32_t result, CFStringRef message) {
  const CFRef<CFMutableArrayRef> records = ControlBits::readDiagnosticRecord();
  if (!records || CFArrayGetCount(records.get()) == 0) return false;
  const auto record = static_cast<CFDictionaryRef>(
      CFArrayGetValueAtIndex(records.get(), CFArrayGetCount(records.get()) - 1));
  const auto number = [record](CFStringRef key) {
    int32_t value = -1;
    if (const void* held = CFDictionaryGetValue(record, key)) {
      CFNumberGetValue(static_cast<CFNumberRef>(held), kCFNumberSInt32Type, &value);
    }
    return value;
  };
  const void* const held = CFDictionaryGetValue(record, CFSTR("message"));
  return number(CFSTR("station")) == kStation && number(CFSTR("result")) == result && held &&
         CFStringCompare(static_cast<CFStringRef>(held), message, 0) == kCFCompareEqualTo;
}

// Logs each process that uses more than 1 % of a processor. Returns whether there are processes.
bool logBusyProcesses() {
  corvane::Processes processes;
  const CFDictionaryRef snapshot = processes.getCachedProcesses();
  if (!snapshot) return false;
  std::vector<const void*> records(static_cast<size_t>(CFDictionaryGetCount(snapshot)));
  CFDictionaryGetKeysAndValues(snapshot, nullptr, records.data());
  for (const void* record : records) {
    const auto fields = static_cast<CFDictionaryRef>(record);
    double usage = 0;
    if (const void* number = CFDictionaryGetValue(fields, CFSTR("total_usage"))) {
      CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberDoubleType, &usage);
    }
    if (usage > 1) {
      corvane::Log::write(static_cast<CFStringRef>(CFDictionaryGetValue(fields, CFSTR("name"))),
                          CFSTR("busy"), 1);
    }
  }
  return !records.empty();
}

// Leaves poison byte, record and, last, the status, and returns what the unit does not hold.
const char* leaveVerdict(bool isPassed, int failCount, CFIndex recordsBefore) {
  const CFStringRef message = isPassed ? CFSTR("library ok") : CFSTR("processes");
  const int32_t result = isPassed ? kCorvaneCotnrolBitsPassed : kCorvaneControlBitsFailed;
  const auto isPoisonHeld = [&] { return byteAt(kPoisonOffset) == (isPassed ? 0xFC : 0xFE); };
  const auto isRecordHeld = [&] {
    return recordCount() == recordsBefore + 1 && lastRecordIs(result, message);
  };
  ControlBits::writePoisonByte(kPoisonOffset, !isPassed);
  if (!isPoisonHeld()) return "its poison byte";
  ControlBits::writeDiagnosticsRecord(kStation, result, message);
  if (!isRecordHeld()) return "its record";
  if (!keepStatus(result, isPassed ? failCount : std::min(failCount + 1, 7))) {
    return "its status byte";
  }
  // Nothing kept another program from the unit, nor another unit from its place, meanwhile.
  return isPoisonHeld() && isRecordHeld() ? nullptr : "what was written before its status byte";
}

}  // namespace

int main() {
  if (ControlBits::getReady() != 0) return untrusted("it has no data area");
  const int status = byteAt(kStatusOffset);
  const int poison = byteAt(kPoisonOffset);
  const CFIndex records = recordCount();
  if (status < 0 || poison < 0 || records < 0) return untrusted("it cannot be read");
  if ((poison & 3) == kCorvaneControlBitsFailed || records >= 20) {
    std::fprintf(stderr, "library_station: refused: the unit is poisoned or full of records\n");
    return 3;
  }
  const int failCount = corvane::failCountOf(static_cast<uint8_t>(status));
  if (!keepStatus(kCorvaneControlBitsIncompleteTest, failCount)) {
    return untrusted("its status byte");
  }
  if (!countRun()) return untrusted("its configuration area");

  const bool isPassed = logBusyProcesses();
  if (const char* fault = leaveVerdict(isPassed, failCount, records)) {
    // It may hold "passed" although that could not be read back.
    if (isPassed) keepStatus(kCorvaneControlBitsIncompleteTest, failCount);
    return untrusted(fault);
  }
  std::printf("%s\n", isPassed ? "passed" : "failed");
  return isPassed ? 0 : 1;
}
