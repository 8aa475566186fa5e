// A burn-in station, to be copied as the start of your own. It runs unchanged on a unit and, on a
// Linux machine, on the virtual unit in $CORVANE_DEVICE (or ~/.local/state/corvane/device).
//
//     burn_in_station [--seconds N] [--bad-core N]
//
// Exit status: 0 the unit passed, 1 it failed, 2 wrong usage, 3 it is not ready or did not take the
// result.

#include <corvane/controlbits/control_bits.h>
#include <corvane/dataarea/bits.h>
#include <corvane/device/device.h>
#include <corvane/device/power.h>
#include <corvane/log/log.h>
#include <corvane/processes/processes.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using corvane::CFRef;
using corvane::ControlBits;
using corvane::Device;
using corvane::Log;
using corvane::Processes;

namespace {

// What makes this station itself: its places on the unit, its names, and what it asks of a unit.
constexpr int32_t kMyOffset = 20;
constexpr uint8_t kMyPoisonOffset = 21;
constexpr uint32_t kRunCountKey = 0x4252554E;  // "BRUN"
constexpr uint8_t kStationNumber = 7;
constexpr int32_t kLowestBattery = 20;
const CFStringRef kTestName = CFSTR("Burn-in");
const CFStringRef kStationId = CFSTR("BURN-IN-1");

struct Options {
  int seconds = 2;
  int badCore =
      -1;  // Pretends that this core computes wrongly, to see what a failed unit looks like.
};

std::optional<Options> parseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    char* end = nullptr;
    const long value = std::strtol(argv[i + 1], &end, 10);
    if (end == argv[i + 1] || *end != '\0' || value < 0 || value > 86400) return {};
    if (name == "--seconds") {
      options.seconds = static_cast<int>(value);
    } else if (name == "--bad-core") {
      options.badCore = static_cast<int>(value);
    } else {
      return {};
    }
  }
  if (argc % 2 == 0) return {};
  return options;
}

std::string textOf(CFStringRef string) {
  char text[1024];
  if (!string || !CFStringGetCString(string, text, sizeof text, kCFStringEncodingUTF8)) {
    return "unknown";
  }
  return text;
}

double numberIn(CFDictionaryRef record, CFStringRef key) {
  double value = 0;
  if (const void* number = CFDictionaryGetValue(record, key)) {
    CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberDoubleType, &value);
  }
  return value;
}

void logLine(const std::string& text, int32_t indentation = 0) {
  const CFRef<CFStringRef> line(
      CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
  Log::write(line.get(), kTestName, indentation);
}

// ---- What the unit is

// Prints the unit's facts. Whether it may be burnt in: not on a battery that would not last.
bool isFitForBurnIn() {
  const auto yesNo = [](bool value) { return value ? "yes" : "no"; };
  const int32_t battery = getBatteryCapacity();
  const bool isPowered = externalPowerConnected();
  std::printf("unit    %s, build %s, Wi-Fi %s, compass %s, gyroscope %s, baseband %s\n",
              textOf(Device::sharedInstance()->deviceName()).c_str(),
              textOf(Device::productBuildVersion()).c_str(), yesNo(Device::hasWiFi()),
              yesNo(Device::hasCompass()), yesNo(Device::hasGyro()), yesNo(Device::hasBaseband()));
  if (battery < 0) {
    std::printf("power   battery unknown, external power %s\n", yesNo(isPowered));
    return true;
  }
  std::printf("power   battery %d %%, external power %s\n", battery, yesNo(isPowered));
  if (battery >= kLowestBattery || isPowered) return true;
  std::fprintf(stderr, "burn-in refused: the battery is below %d %%; connect external power\n",
               kLowestBattery);
  return false;
}

// ---- What stations left on it

std::optional<uint8_t> readByte(uint32_t offset) {
  uint8_t byte = 0;
  if (readBits(offset, 1, &byte, CFSTR("VelmoDiagnosticData")) != 0) return {};
  return byte;
}

int failCountOf(uint8_t byte) {
  int count = 0;
  while (gFailCountMap[count] != corvane::failCountCodeOf(byte)) ++count;
  return count;
}

void printByte(const char* when, uint8_t byte) {
  static const char* const kNames[] = {"passed", "incomplete", "failed", "not tested"};
  std::printf("%-7s byte %d is 0x%02x: %s, fail count %d\n", when, kMyOffset, byte,
              kNames[corvane::testStatusOf(byte)], failCountOf(byte));
}

bool isPoisoned() {
  const std::optional<uint8_t> byte = readByte(kMyPoisonOffset);
  return byte && corvane::testStatusOf(*byte) == kCorvaneControlBitsFailed;
}

// Counts this run in the configuration store; the new count.
uint32_t countRun() {
  uint8_t value[8192] = {};  // Room for any value that the store can hold: the read takes no size.
  uint32_t count = 0;
  if (ControlBits::readSystemConfig(value, kRunCountKey) > 0)
    std::memcpy(&count, value, sizeof count);
  ++count;
  std::memcpy(value, &count, sizeof count);
  if (ControlBits::writeSystemConfig(value, sizeof count, kRunCountKey) == 0) {
    logLine("the run count could not be stored", 1);
  }
  return count;
}

void printRecords() {
  const CFRef<CFMutableArrayRef> records = ControlBits::readDiagnosticRecord();
  if (!records) return;
  std::printf("records\n");
  for (CFIndex i = 0; i < CFArrayGetCount(records.get()); ++i) {
    const auto record = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(records.get(), i));
    std::string time =
        textOf(static_cast<CFStringRef>(CFDictionaryGetValue(record, CFSTR("time"))));
    time.erase(time.find_last_not_of('\n') + 1);
    std::printf(
        "  %2ld  %s  station %.0f  result %.0f  %s\n", i + 1, time.c_str(),
        numberIn(record, CFSTR("station")), numberIn(record, CFSTR("result")),
        textOf(static_cast<CFStringRef>(CFDictionaryGetValue(record, CFSTR("message")))).c_str());
  }
}

// ---- The load

// One round: integer work whose result is known, so that a core that slips shows.
uint64_t computeRound() {
  uint64_t state = 0x9E3779B97F4A7C15;
  for (int i = 0; i < 200000; ++i) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
  }
  return state;
}

// Redraws the bar in place on a terminal; elsewhere it is printed once, at the end.
void drawProgress(double fraction) {
  constexpr size_t kWidth = 40;
  const auto filled = static_cast<size_t>(fraction * kWidth);
  const bool isTerminal = isatty(STDOUT_FILENO) != 0;
  if (!isTerminal && fraction < 1) return;
  std::printf("%sload    [%s%s] %3d %%%s", isTerminal ? "\r" : "", std::string(filled, '#').c_str(),
              std::string(kWidth - filled, '.').c_str(), static_cast<int>(fraction * 100),
              fraction < 1 ? "" : "\n");
  std::fflush(stdout);
}

// The CPU share of everything but this program, in percent of one processor.
double loadOfOthers(CFDictionaryRef processes) {
  std::vector<const void*> records(static_cast<size_t>(CFDictionaryGetCount(processes)));
  CFDictionaryGetKeysAndValues(processes, nullptr, records.data());
  double sum = 0;
  for (const void* record : records) {
    sum += numberIn(static_cast<CFDictionaryRef>(record), CFSTR("total_usage"));
  }
  return sum;
}

// Keeps every core busy for the given time and watches what else runs. The number of cores that
// computed wrongly.
int runLoad(const Options& options, Processes& processes) {
  using Clock = std::chrono::steady_clock;
  const uint64_t expected = computeRound();
  const auto begin = Clock::now();
  const auto end = begin + std::chrono::seconds(options.seconds);
  std::atomic<int> badCores = 0;
  std::vector<std::thread> cores;
  const int coreCount = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  for (int core = 0; core < coreCount; ++core) {
    cores.emplace_back([&, core] {
      bool isGood = core != options.badCore;
      while (Clock::now() < end) isGood = computeRound() == expected && isGood;
      if (!isGood) ++badCores;
    });
  }
  double others = 0;
  auto nextSample = begin + std::chrono::milliseconds(500);
  while (Clock::now() < end) {
    drawProgress(std::chrono::duration<double>(Clock::now() - begin) / (end - begin));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (Clock::now() < nextSample) continue;
    others = std::max(others, loadOfOthers(processes.refreshProcesses()));
    nextSample += std::chrono::milliseconds(500);
  }
  for (std::thread& core : cores) core.join();
  drawProgress(1);
  logLine(std::to_string(coreCount) + " cores ran for " + std::to_string(options.seconds) + " s, " +
              std::to_string(badCores) + " computed wrongly",
          1);
  logLine("other processes took up to " + std::to_string(static_cast<int>(others)) +
              " percent of a core",
          1);
  return badCores;
}

// ---- The result

// Leaves the result on the unit: status and fail count, poison byte, record, station message.
void writeResult(bool isPassed, int32_t status, int failCount) {
  ControlBits::writeControlBits(kMyOffset, status, failCount);
  ControlBits::writePoisonByte(kMyPoisonOffset, !isPassed);
  ControlBits::writeDiagnosticsRecord(kStationNumber, status,
                                      isPassed ? CFSTR("burn-in ok") : CFSTR("bad core"));
  Log::writePalvireMessage(isPassed ? CFSTR("result=\"pass\"") : CFSTR("result=\"fail\""),
                           kStationId, CFSTR("status"));
}

int burnIn(const Options& options) {
  const std::optional<uint8_t> before = readByte(kMyOffset);
  if (!before) return 3;
  printByte("before", *before);
  if (isPoisoned()) std::printf("poison  set: this unit is marked as failed, and stays so\n");
  std::printf("run     %u of this station on this unit\n", countRun());

  // Until the result is known the unit counts as incomplete, also if the power fails now.
  logLine("begin");
  constexpr int32_t kKeepCount = -1;
  ControlBits::writeControlBits(kMyOffset, kCorvaneControlBitsIncompleteTest, kKeepCount);

  Processes processes;
  processes.prettyPrintToLog();
  const bool isPassed = runLoad(options, processes) == 0;
  processes.prettyPrintToLog();

  const int32_t status = isPassed ? kCorvaneCotnrolBitsPassed : kCorvaneControlBitsFailed;
  const int failCount = std::min(failCountOf(*before) + (isPassed ? 0 : 1), 7);
  writeResult(isPassed, status, failCount);
  logLine(isPassed ? "end: passed" : "end: failed");

  // The writers report nothing; what counts is what the unit holds now.
  const std::optional<uint8_t> after = readByte(kMyOffset);
  if (!after || static_cast<int32_t>(corvane::testStatusOf(*after)) != status ||
      failCountOf(*after) != failCount) {
    std::fprintf(stderr, "the unit did not take the result; see its test log\n");
    return 3;
  }
  printByte("after", *after);
  printRecords();
  return isPassed ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Options> options = parseOptions(argc, argv);
  if (!options) {
    std::fprintf(stderr, "usage: burn_in_station [--seconds N] [--bad-core N]\n");
    return 2;
  }
  if (ControlBits::getReady() != 0) return 3;  // It has said why on standard error.
  if (!isFitForBurnIn()) return 3;
  return burnIn(*options);
}
