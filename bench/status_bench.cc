#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/pairs.h"
#include "bench/unit.h"

namespace corvane::bench {
namespace {

void runTool(benchmark::State& state, const std::string& command) {
  for (auto _ : state) {
    if (std::system((command + " >/dev/null").c_str()) != 0) {
      return state.SkipWithError("the program failed");
    }
  }
}

/// Prints the grid of all control-bit bytes.
void showStatus(benchmark::State& state) {
  runTool(state, "CORVANE_DEVICE='" + unit().folder().string() + "' '" CORVANE_TOOL "' status");
}

/// Prints one variable of an environment of 8192 bytes, whose checksum is tested.
void printVariable(benchmark::State& state) {
  const std::filesystem::path folder = twin().folder();
  const std::string config = (folder / "config").string(), environment = folder / "environment";
  std::ofstream(config) << environment << " 0x0 0x2000\n";
  std::ofstream(environment) << std::string(8192, '\0');
  std::ofstream(folder / "defaults") << "console=1\n";
  const std::string options = " -c '" + config + "' -f '" + (folder / "defaults").string() + "' ";
  if (std::system(("fw_setenv" + options + "console 1 2>/dev/null").c_str()) != 0) {
    return state.SkipWithError("fw_setenv failed; Debian's libubootenv-tool has it");
  }
  runTool(state, "fw_printenv" + options + "console");
}

const bool gStatusPairAdded = addPair({"status-to-fw_printenv", 3.0, showStatus, printVariable});

}  // namespace
}  // namespace corvane::bench
