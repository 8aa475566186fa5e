#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "bench/pairs.h"
#include "bench/unit.h"

namespace corvane::bench {
namespace {

constexpr char kCases[] = "100";

void runShell(benchmark::State& state, const std::string& commandLine) {
  for (auto _ : state) {
    if (std::system(commandLine.c_str()) != 0) return state.SkipWithError("the program failed");
  }
}

/// Tries a station in as many cases, one at a time.
void tryStation(benchmark::State& state) {
  runShell(state, std::string("'" CORVANE_TOOL "' trial '" CORVANE_STATION
                              "' --status 40 --poison 41 --only faults -j 1 --limit ") +
                      kCases + " >/dev/null 2>&1");
}

/// Runs the station as often by itself. It leaves no records, so its unit never gets full.
void runStation(benchmark::State& state) {
  runShell(state, "export CORVANE_DEVICE='" + unit().folder().string() + "'; for i in $(seq " +
                      kCases + "); do '" CORVANE_STATION "' >/dev/null || exit 1; done");
}

const bool gTrialPairAdded = addPair({.name = "trial-case-to-run",
                                      .bound = 5.0,
                                      .subject = tryStation,
                                      .baseline = runStation,
                                      .repetitions = 11});

}  // namespace
}  // namespace corvane::bench
