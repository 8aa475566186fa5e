#include "tools/ps/snapshot_log.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "processes/processes.h"
#include "processes/sampler_messages.h"
#include "tools/command_error.h"
#include "tools/ps/sampling.h"

namespace corvane::tools {
namespace {

/// Diverts standard output while it exists: there the library reports what fails in a pass, which
/// is not the tool's own output.
class DivertedOutput {
 public:
  /// Throws CommandError when standard output cannot be diverted.
  DivertedOutput();
  ~DivertedOutput() {
    if (_reader.joinable()) end();
  }
  DivertedOutput(const DivertedOutput&) = delete;
  DivertedOutput& operator=(const DivertedOutput&) = delete;

  /// Puts standard output back and returns the message of the call that ended a pass early, or "".
  std::string end();

 private:
  void read(int pipe);

  int _standardOutput = -1;
  std::string _endOfPass;
  std::thread _reader;
};

DivertedOutput::DivertedOutput() {
  std::fflush(stdout);
  std::array<int, 2> ends{-1, -1};
  _standardOutput = dup(STDOUT_FILENO);
  if (_standardOutput < 0 || pipe(ends.data()) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) {
    throw CommandError(kFailed,
                       std::string("standard output cannot be diverted: ") + std::strerror(errno));
  }
  close(ends[1]);
  _reader = std::thread([this, pipe = ends[0]] { read(pipe); });
}

std::string DivertedOutput::end() {
  std::fflush(stdout);
  // This closes the pipe's last end to write to, which ends the reader.
  dup2(_standardOutput, STDOUT_FILENO);
  close(_standardOutput);
  _reader.join();
  return _endOfPass;
}

void DivertedOutput::read(int pipe) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> messages(fdopen(pipe, "r"), std::fclose);
  std::array<char, 512> line;
  while (messages && std::fgets(line.data(), static_cast<int>(line.size()), messages.get())) {
    if (_endOfPass.empty() && isEndOfPass(line.data())) _endOfPass = textOfMessage(line.data());
  }
}

/// Makes passes until one is whole. Returns why none was; empty when one was.
std::string samplePasses(std::unique_ptr<Processes>& processes) {
  // Each pass ends with the first process that exits while it is under way.
  constexpr int kMostPasses = 50;
  std::string failure;
  for (int pass = 0; pass < kMostPasses; ++pass) {
    DivertedOutput output;
    if (processes) {
      processes->refreshProcesses();
    } else {
      processes = std::make_unique<Processes>();
    }
    failure = output.end();
    if (failure.empty() && processes->getCachedProcesses()) return "";
  }
  return failure.empty() ? "none is listed" : failure;
}

}  // namespace

size_t logSnapshot() {
  constexpr size_t kTitleLines = 2;
  std::unique_ptr<Processes> processes;
  requireProcesses([&] { return samplePasses(processes); });
  processes->prettyPrintToLog();
  return kTitleLines + static_cast<size_t>(CFDictionaryGetCount(processes->getCachedProcesses()));
}

}  // namespace corvane::tools
