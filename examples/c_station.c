/* A station in C99 on the library alone: boot arguments, battery, status bytes and a key.
 *
 *     c_station                    on the unit in $CORVANE_DEVICE
 *
 * It marks status byte 40 incomplete, counts the run under the key CRUN, tests the battery, and
 * leaves its verdict in poison byte 41 and, last, in status byte 40. The library reports what a
 * write did only in its log, so each is read back here. The station kit and <corvane/unit/...> do
 * all of this, and lock the unit, for programs in C++.
 *
 * Exit status: 0 passed, 1 failed, 3 the unit is refused or cannot be trusted. */
#include <corvane/bootargs/boot_args.h>
#include <corvane/controlbits/control_bit_byte.h>
#include <corvane/dataarea/bits.h>
#include <corvane/dataarea/data_area.h>
#include <corvane/device/power.h>
#include <corvane/syscfg/syscfg.h>
#include <stdio.h>
#include <string.h>

enum { kStatusOffset = 40, kPoisonOffset = 41, kNotPoisoned = 0xFC, kPoisoned = 0xFE };
enum { kRunCountKey = 0x4352554E }; /* "CRUN" */

#define DIAGNOSTIC_SET CFSTR("VelmoDiagnosticData")
#define CONFIGURATION_SET CFSTR("VelmoDiagnosticDataSysCfg")

/* Writes the byte, and returns whether the unit holds it for good. */
static bool keepByte(uint32_t offset, uint8_t byte) {
  uint8_t held = 0;
  const uint32_t result = writeBits(offset, 1, &byte, 1, DIAGNOSTIC_SET);
  return result == 0 && readBits(offset, 1, &held, DIAGNOSTIC_SET) == 0 && held == byte;
}

static bool keepStatus(uint8_t byte, uint32_t status, uint32_t failCountCode) {
  changeTestStatus(&byte, status);
  changeFailCount(&byte, failCountCode);
  return keepByte(kStatusOffset, byte);
}

/* A key store in memory: the accessor table is its first member. */
typedef struct {
  nor_access_table access;
  uint8_t bytes[kConfigurationAreaSize];
} Area;

static size_t areaSize(const nor_access_table* access) {
  (void)access;
  return kConfigurationAreaSize;
}
static void readArea(const nor_access_table* access, void* destination) {
  memcpy(destination, ((const Area*)access)->bytes, kConfigurationAreaSize);
}
static void writeArea(const nor_access_table* access, const void* source) {
  memcpy(((Area*)access)->bytes, source, kConfigurationAreaSize);
}

/* Returns whether the area is a key store, or blank. The library takes any other for an empty one,
 * and a change would lose its keys. */
static bool isSound(const Area* area, const syscfg_handle* store) {
  uint32_t tableEnd = 0, count = 0;
  size_t same = 1;
  while (same < kConfigurationAreaSize && area->bytes[same] == area->bytes[0]) ++same;
  if (same == kConfigurationAreaSize) return area->bytes[0] == 0xFF || area->bytes[0] == 0;
  memcpy(&tableEnd, area->bytes + 4, sizeof tableEnd);
  memcpy(&count, area->bytes + 20, sizeof count);
  return memcmp(area->bytes, store->image, kConfigurationAreaSize) == 0 &&
         count <= kConfigurationAreaSize / 20 && tableEnd == 24 + 20 * count;
}

/* Counts the run under its key, writes the whole area once and reads it back. */
static bool countRun(uint32_t* count) {
  static Area area = {{areaSize, readArea, writeArea, NULL}, {0}};
  static uint8_t value[kConfigurationAreaSize], held[kConfigurationAreaSize];
  if (readBits(0, kConfigurationAreaSize, area.bytes, CONFIGURATION_SET) != 0) return false;

  syscfg_handle* const store = syscfg__init(&area.access);
  bool isCounted = isSound(&area, store);
  if (isCounted && syscfg__read_key(store, kRunCountKey, value, NULL) == 0) {
    memcpy(count, value, sizeof *count);
  }
  ++*count;
  isCounted = isCounted && syscfg__add_key(store, kRunCountKey, count, sizeof *count) == 0;
  syscfg__deinit(store, isCounted); /* Into `area`. */
  return isCounted &&
         writeBits(0, kConfigurationAreaSize, area.bytes, 1, CONFIGURATION_SET) == 0 &&
         readBits(0, kConfigurationAreaSize, held, CONFIGURATION_SET) == 0 &&
         memcmp(held, area.bytes, kConfigurationAreaSize) == 0;
}

static void printBootArguments(void) {
  char text[1024] = "(none)";
  const CFStringRef arguments = copyBootArgs();
  if (arguments) {
    CFStringGetCString(arguments, text, sizeof text, kCFStringEncodingUTF8);
    CFRelease(arguments);
  }
  printf("boot arguments: %s\n", text);
}

/* A unit whose status byte may go on to read "passed" is poisoned, so that no station takes it. */
static int untrusted(const char* what) {
  keepByte(kPoisonOffset, kPoisoned);
  fprintf(stderr, "c_station: the unit cannot be trusted: %s\n", what);
  return 3;
}

int main(void) {
  uint8_t status = 0, poison = 0;
  uint32_t count = 0;
  if (getMasterPort() != 0 || getDataArea() != 0 ||
      readBits(kStatusOffset, 1, &status, DIAGNOSTIC_SET) != 0 ||
      readBits(kPoisonOffset, 1, &poison, DIAGNOSTIC_SET) != 0) {
    fprintf(stderr, "c_station: the unit cannot be read\n");
    return 3;
  }
  if ((poison & 3) == kCorvaneControlBitsFailed) {
    fprintf(stderr, "c_station: refused: the unit is poisoned\n");
    return 3;
  }
  const uint32_t failures = status >> 2 & 7; /* A code, as gFailCountMap has them. */
  if (!keepStatus(status, kCorvaneControlBitsIncompleteTest, failures)) {
    return untrusted("its status byte");
  }
  if (!countRun(&count)) return untrusted("its configuration area");

  const int32_t charge = getBatteryCapacity();
  const bool isPassed = charge >= 20 && charge <= 100;
  printBootArguments();
  printf("run %u: battery %d %%\n", (unsigned)count, (int)charge);

  uint32_t failCount = 0;
  while (failCount < 7 && gFailCountMap[failCount] != failures) ++failCount;
  if (!isPassed && failCount < 7) ++failCount;
  /* The status comes last. Another program may have poisoned the unit meanwhile. */
  const uint8_t mark = isPassed ? kNotPoisoned : kPoisoned;
  if (!keepByte(kPoisonOffset, mark) ||
      !keepStatus(status, isPassed ? kCorvaneCotnrolBitsPassed : kCorvaneControlBitsFailed,
                  gFailCountMap[failCount]) ||
      readBits(kPoisonOffset, 1, &poison, DIAGNOSTIC_SET) != 0 || poison != mark) {
    /* The byte may hold "passed" although that could not be read back. */
    if (isPassed) keepStatus(status, kCorvaneControlBitsIncompleteTest, failures);
    return untrusted("its verdict");
  }
  printf("%s\n", isPassed ? "passed" : "failed");
  return isPassed ? 0 : 1;
}
