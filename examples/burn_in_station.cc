// A burn-in station, written with the station kit. It runs unchanged on a unit and, on a Linux
// machine, on the virtual unit in $CORVANE_DEVICE (or ~/.local/state/corvane/device).
//
//     burn_in_station [--seconds N] [--results FILE] ...     --help shows all, and the exit status

#include <corvane/station/command_line.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "load/arithmetic.h"
#include "load/every_core.h"
#include "load/machine.h"
#include "load/memory_walk.h"
#include "load/storage.h"

using namespace corvane::station;
using namespace std::chrono_literals;

namespace {

// Describes this station: its names, its places on the unit, and what it requires of a unit.
const Profile kBurnIn = {.name = "burn-in",
                         .number = 7,
                         .statusOffset = 20,
                         .poisonOffset = 21,
                         .runCountKey = "BRUN",
                         .version = "1",
                         .conditions = {.lowestBattery = 20}};

constexpr double kMaxTemperature = 100;  // Degrees Celsius; no part of a unit is built for more.

struct Options {
  int seconds = 2;
  int memoryPercent = 50;
  std::string badCore;  // Pretends that this core computes wrongly, to show a failed unit.
  std::string folder = std::string(std::getenv("HOME") ? std::getenv("HOME") : "/tmp") +
                       "/.local/state/corvane/burn-in";
};

// Samples the machine while a load runs; the highest of each figure becomes a measurement.
class Watch {
 public:
  // Sleeps until the next sample; returns false when the load is to stop.
  bool sample(Phase& phase, double fraction) {
    phase.progress(fraction);
    if (!phase.wait(250ms)) return false;
    _others = std::max(_others, load::loadOfOthers());
    if (const auto now = load::temperature()) _temperature = std::max(_temperature, *now);
    return true;
  }
  void measure(Phase& phase) const {
    phase.measure("load of others", _others, "% of a core");
    if (_temperature > kNone)
      phase.measure("temperature", _temperature, "C", {.upper = kMaxTemperature});
  }

 private:
  static constexpr double kNone = -300;
  double _others = 0;
  double _temperature = kNone;
};

// Loads every core, reports what went wrong on which, and measures how far the slowest one came.
void loadCores(Phase& phase, const Options& options, const char* unit, double perRound,
               const std::function<load::Round(int core)>& makeRound) {
  Watch watch;
  const std::chrono::milliseconds duration(options.seconds * 1000 / 2);
  const auto cores = load::onEveryCore(
      duration, makeRound, [&](double fraction) { return watch.sample(phase, fraction); });
  double slowest = static_cast<double>(cores.front().rounds);
  for (const load::CoreResult& core : cores) {
    if (!core.fault.empty()) phase.fail("core " + std::to_string(core.core) + ": " + core.fault);
    slowest = std::min(slowest, static_cast<double>(core.rounds));
  }
  phase.measure("cores", static_cast<double>(cores.size()), "", {.lower = 1});
  phase.measure("slowest core", slowest * perRound * 2 / options.seconds, unit, {.lower = 0});
  watch.measure(phase);
}

void burnIn(TestRun& run, const Options& options) {
  run.phase("arithmetic", [&](Phase& phase) {
    loadCores(phase, options, "rounds/s", 1, [&](int core) -> load::Round {
      if (std::to_string(core) == options.badCore)
        return [] { return std::string("pretends to be bad"); };
      return load::arithmeticRound;
    });
  });
  run.phase("memory", [&](Phase& phase) {
    const size_t share = load::freeMemory() / 100 * static_cast<size_t>(options.memoryPercent) /
                         load::usableCores().size();
    loadCores(phase, options, "MB/s", load::MemoryWalk::kStep / 1e6, [&](int) -> load::Round {
      return [walk = std::make_shared<load::MemoryWalk>(share)] { return walk->step(); };
    });
  });
  run.phase("storage", {.timeLimit = 2min}, [&](Phase& phase) {
    const load::StorageResult result = load::checkStorage(options.folder, size_t{64} << 20);
    if (!result.fault.empty()) return phase.fail(result.fault);
    phase.measure("write speed", result.writeSpeed, "MB/s", {.lower = 1});
    phase.measure("read speed", result.readSpeed, "MB/s", {.lower = 1});
  });
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  std::vector<std::string> cores;
  for (const int core : load::usableCores()) cores.push_back(std::to_string(core));
  CommandLine line("Burns a unit in: its cores, its memory and its storage.");
  line.addNumber("--seconds", options.seconds, 1, 86400, "how long the cores are loaded");
  line.addNumber("--memory", options.memoryPercent, 1, 90, "percent of the free memory to walk");
  line.addChoice("--bad-core", options.badCore, cores, "pretends that this core is bad");
  line.addText("--folder", options.folder, "where the storage is checked");
  return line.run(argc, argv, kBurnIn, [&](TestRun& run) { burnIn(run, options); });
}
