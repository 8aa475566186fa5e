#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "bench/bare.h"
#include "bench/pairs.h"
#include "bench/unit.h"
#include "log/log.h"
#include "platform/cf_ref.h"
#include "platform/system_log.h"

namespace corvane::bench {
namespace {

CFStringRef message() { return CFSTR("Battery temperature 25.4 is within 10.0 to 40.0"); }
CFStringRef testName() { return CFSTR("Thermal"); }

/// Empties both logs before and after a side's loop: no run appends to what an earlier one left,
/// and none leaves data behind that another pair's fsync would have to write.
class EmptyLogs {
 public:
  EmptyLogs() { remove(); }
  ~EmptyLogs() { remove(); }
  EmptyLogs(const EmptyLogs&) = delete;
  EmptyLogs& operator=(const EmptyLogs&) = delete;

 private:
  static void remove() {
    std::filesystem::remove(unit().filePath(kLogFile));
    std::filesystem::remove(twin().filePath(kLogFile));
    std::filesystem::remove(unit().filePath("/private/var/log/system.log"));
  }
};

/// Returns the line that the library writes for the message, with its line feed.
const std::string& loggedLine() {
  static const std::string line = [] {
    const EmptyLogs logs;
    Log::write(message(), testName(), 0);
    std::ifstream log(unit().filePath(kLogFile), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(log), std::istreambuf_iterator<char>());
  }();
  return line;
}

/// Fails the benchmark unless the log holds every line: the library does not report a line that it
/// drops.
void checkLog(benchmark::State& state) {
  std::error_code error;
  const auto size = std::filesystem::file_size(unit().filePath(kLogFile), error);
  if (error || size != loggedLine().size() * static_cast<size_t>(state.iterations())) {
    state.SkipWithError("not every line is in the log");
  }
}

void writeMessage(benchmark::State& state) {
  loggedLine();
  const EmptyLogs logs;
  for (auto _ : state) Log::write(message(), testName(), 0);
  checkLog(state);
}

void writeSystemLog(benchmark::State& state) {
  const EmptyLogs logs;
  for (auto _ : state) NSLog(CFSTR("%@"), message());
}

void writeLine(benchmark::State& state) {
  const std::string& logged = loggedLine();
  const CFRef<CFStringRef> line(CFStringCreateWithBytes(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(logged.data()),
      static_cast<CFIndex>(logged.size() - 1), kCFStringEncodingUTF8, false));
  const EmptyLogs logs;
  for (auto _ : state) Log::write(line.get());
  checkLog(state);
}

/// Appends the same line with bare system calls. With `readsClock`, also converts the time, which
/// such a line begins with: that asks the system whether the time zone has changed.
void appendBare(benchmark::State& state, bool readsClock) {
  const std::string& line = loggedLine();
  const std::string folder = twin().filePath(kLogFile).parent_path().string();
  const std::string file = twin().filePath(kLogFile).string();
  const EmptyLogs logs;
  for (auto _ : state) {
    if (readsClock) {
      const time_t now = std::time(nullptr);
      benchmark::DoNotOptimize(std::localtime(&now));
    }
    if (!appendLine(folder, file, line)) return state.SkipWithError("bare append");
  }
}

void appendBareMessage(benchmark::State& state) { appendBare(state, true); }
void appendBareLine(benchmark::State& state) { appendBare(state, false); }

const bool gLogPairsAdded =
    addPair({"log-line", 1.25, writeMessage, appendBareMessage, writeSystemLog}) &&
    addPair({"log-line-ready-made", 1.15, writeLine, appendBareLine});

}  // namespace
}  // namespace corvane::bench
