#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/pairs.h"
#include "host/include/virtual_device.h"
#include "log/log.h"

namespace corvane::bench {
namespace {

constexpr size_t kLogSize = size_t{256} << 20;

/// A unit with a large test log, in which every 100,000th line has the text that is searched for.
struct LargeLog {
  LargeLog()
      : unit(std::filesystem::temp_directory_path() / "large-log"), file(unit.filePath(kLogFile)) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream log(file, std::ios::binary);
    for (size_t line = 0, size = 0; size < kLogSize; ++line) {
      const std::string text =
          "[2026-11-16 00:05:09] Thermal: Battery temperature 25.4 is within 10.0 to 40.0, line " +
          std::to_string(line) + (line % 100'000 == 0 ? " fan slow\n" : "\n");
      log << text;
      size += text.size();
    }
  }
  ~LargeLog() { std::filesystem::remove_all(unit.folder()); }
  LargeLog(const LargeLog&) = delete;
  LargeLog& operator=(const LargeLog&) = delete;

  host::VirtualDevice unit;
  std::filesystem::path file;
};

const LargeLog& largeLog() {
  static const LargeLog log;
  return log;
}

/// Runs `command` with its output in a pipe, because grep stops at its first match when it writes
/// to /dev/null.
void run(benchmark::State& state, const std::string& command) {
  for (auto _ : state) {
    if (std::system((command + " | grep -c 'fan slow' >/dev/null").c_str()) != 0) {
      state.SkipWithError("the text was not found");
    }
  }
}

void showLog(benchmark::State& state) {
  run(state, "CORVANE_DEVICE='" + largeLog().unit.folder().string() +
                 "' '" CORVANE_TOOL "' log show --grep 'fan slow'");
}

void searchLog(benchmark::State& state) {
  run(state, "grep -F 'fan slow' '" + largeLog().file.string() + "'");
}

const bool gLogShowPairAdded = addPair({"log-show", 2.0, showLog, searchLog});

}  // namespace
}  // namespace corvane::bench
