// A burn-in station, to be copied as the start of your own. It runs unchanged on a unit and, on a
// Linux machine, on the virtual unit in $CORVANE_DEVICE (or ~/.local/state/corvane/device).
//
//     burn_in_station [--seconds N] [--bad-core N]
//
// Exit status: 0 the unit passed, 1 it failed, 2 wrong usage, 3 it is not ready or did not take the
// result.

#include <corvane/controlbits/control_bits.h>
#include <corvane/dataarea/bits.h>
#include <corvane/log/log.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using corvane::CFRef;
using corvane::ControlBits;
using corvane::Log;

namespace {

// What makes this station itself: its place among the unit's control-bit bytes and its names.
constexpr int32_t kMyOffset = 20;
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

void logLine(const std::string& text, int32_t indentation = 0) {
  const CFRef<CFStringRef> line(
      CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
  Log::write(line.get(), kTestName, indentation);
}

std::optional<uint8_t> readMyByte() {
  uint8_t byte = 0;
  if (readBits(kMyOffset, 1, &byte, CFSTR("VelmoDiagnosticData")) != 0) return {};
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

// One round of the load: integer work whose result is known, so that a core that slips shows.
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

// Keeps every core busy for the given time. The number of cores that computed wrongly.
int runLoad(const Options& options) {
  using Clock = std::chrono::steady_clock;
  const uint64_t expected = computeRound();
  const auto begin = Clock::now();
  const auto end = begin + std::chrono::seconds(options.seconds);
  std::atomic<int> badCores = 0;
  std::vector<std::thread> cores;
  const int coreCount = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  for (int core = 0; core < coreCount; ++core) {
    cores.emplace_back([&, core] {
      bool isGood = core != options.badCore;
      while (Clock::now() < end) isGood = computeRound() == expected && isGood;
      if (!isGood) ++badCores;
    });
  }
  while (Clock::now() < end) {
    drawProgress(std::chrono::duration<double>(Clock::now() - begin) / (end - begin));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  for (std::thread& core : cores) core.join();
  drawProgress(1);
  logLine(std::to_string(coreCount) + " cores ran for " + std::to_string(options.seconds) + " s, " +
              std::to_string(badCores) + " computed wrongly",
          1);
  return badCores;
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Options> options = parseOptions(argc, argv);
  if (!options) {
    std::fprintf(stderr, "usage: burn_in_station [--seconds N] [--bad-core N]\n");
    return 2;
  }
  if (ControlBits::getReady() != 0) return 3;  // It has said why on standard error.
  const std::optional<uint8_t> before = readMyByte();
  if (!before) return 3;
  printByte("before:", *before);

  // Until the result is known the unit counts as incomplete, also if the power fails now.
  logLine("begin");
  constexpr int32_t kKeepCount = -1;
  ControlBits::writeControlBits(kMyOffset, kCorvaneControlBitsIncompleteTest, kKeepCount);

  const bool isPassed = runLoad(*options) == 0;

  const int32_t status = isPassed ? kCorvaneCotnrolBitsPassed : kCorvaneControlBitsFailed;
  const int failCount = std::min(failCountOf(*before) + (isPassed ? 0 : 1), 7);
  ControlBits::writeControlBits(kMyOffset, status, failCount);
  Log::writePalvireMessage(isPassed ? CFSTR("result=\"pass\"") : CFSTR("result=\"fail\""),
                           kStationId, CFSTR("status"));
  logLine(isPassed ? "end: passed" : "end: failed");

  // The writers report nothing; what counts is what the unit holds now.
  const std::optional<uint8_t> after = readMyByte();
  if (!after || static_cast<int32_t>(corvane::testStatusOf(*after)) != status ||
      failCountOf(*after) != failCount) {
    std::fprintf(stderr, "the unit did not take the result; see its test log\n");
    return 3;
  }
  printByte("after:", *after);
  return isPassed ? 0 : 1;
}
