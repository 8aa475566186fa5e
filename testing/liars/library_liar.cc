// A station on the bare library that is honest, or lies in the way that its argument names; for the
// tests of `corvane trial`. Status byte 30, poison byte 31, number 9.

#include <chrono>
#include <cstring>
#include <string_view>
#include <thread>

#include "controlbits/control_bits.h"
#include "dataarea/bits.h"
#include "dataarea/data_area.h"
#include "device/power.h"

namespace {

using corvane::ControlBits;

constexpr uint32_t kStatusOffset = 30, kPoisonOffset = 31, kNumber = 9;
constexpr uint32_t kRecords = 128, kSlot = 24, kSlots = 20;
constexpr uint8_t kPassed = 0xFC, kIncomplete = 0xFD;

std::string_view gLie;

bool lies(std::string_view way) { return gLie == way; }

bool readByte(uint32_t offset, uint8_t* byte) {
  return readBits(offset, 1, byte, CFSTR("VelmoDiagnosticData")) == 0;
}

bool holds(uint32_t offset, uint8_t wanted) {
  uint8_t byte = 0;
  return readByte(offset, &byte) && byte == wanted;
}

bool write(uint32_t offset, uint8_t byte) {
  uint32_t result = 0;
  do {
    result = writeBits(offset, 1, &byte, 1, CFSTR("VelmoDiagnosticData"));
    if (lies("hangs")) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  } while (lies("hangs") && result != 0);
  if (lies("ignores-refusal")) return true;
  return result == 0 && (lies("never-reads-back") || holds(offset, byte));
}

/// Returns the number of records, whose last one `last` gets; -1 when they cannot be read.
int countRecords(uint8_t* last) {
  int count = 0;
  for (uint32_t slot = 0; slot < kSlots; ++slot) {
    constexpr uint8_t kFree[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0};
    uint8_t record[kSlot];
    if (readBits(kRecords + kSlot * slot, kSlot, record, CFSTR("VelmoDiagnosticData")) != 0) {
      return -1;
    }
    const bool isContinued = (record[9] & 0x40) != 0;
    if (isContinued && std::memcmp(record, kFree, sizeof kFree) == 0) break;
    ++count;
    std::memcpy(last, record, kSlot);
    if (!isContinued) break;
  }
  return count;
}

bool hasOwnRecord(int count) {
  uint8_t last[kSlot] = {};
  return countRecords(last) == count && last[8] == kNumber && (last[9] & 0x30) == 0 &&
         std::memcmp(last + 10, "ok", 3) == 0;
}

bool leavePass(int records) {
  const bool hasSlot = ControlBits::writeDiagnosticsRecord(kNumber, 0, CFSTR("ok"));
  if (!lies("ignores-refusal") && !hasSlot) return false;
  if (!write(kPoisonOffset, kPassed) || !write(kStatusOffset, kPassed)) return false;
  if (lies("ignores-refusal") || lies("never-reads-back")) return true;
  return hasOwnRecord(records + 1) && holds(kPoisonOffset, kPassed) &&
         holds(kStatusOffset, kPassed);
}

int test() {
  if (ControlBits::getReady() != 0) return 1;
  uint8_t poison = 0, last[kSlot] = {};
  const int records = countRecords(last);
  if (!readByte(kPoisonOffset, &poison) || (poison & 3) == 2) return 1;
  if (records < 0 || records == kSlots || !write(kStatusOffset, kIncomplete)) return 1;

  const bool isEarly = lies("early-verdict");
  if (isEarly && !leavePass(records)) return 1;
  if (getBatteryCapacity() < 50) {
    if (lies("foreign-byte")) write(40, kPassed);
    return 1;
  }
  if (isEarly || leavePass(records)) return 0;
  write(kStatusOffset, kIncomplete);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  gLie = argc > 1 ? argv[1] : "";
  return test();
}
