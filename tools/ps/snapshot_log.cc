#include "tools/ps/snapshot_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "platform/file_descriptor.h"
#include "platform/scoped_file.h"
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
  [[noreturn]] static void fail(int error) {
    throw CommandError(kFailed,
                       std::string("standard output cannot be diverted: ") + std::strerror(error));
  }
  void read(std::FILE* messages);

  FileDescriptor _standardOutput;
  std::string _endOfPass;
  std::thread _reader;
};

DivertedOutput::DivertedOutput() : _standardOutput(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)) {
  std::fflush(stdout);
  Pipe pipe;
  if (!_standardOutput || !pipe.writeEnd) fail(errno);
  ScopedFile messages(fdopen(pipe.readEnd.get(), "r"));
  if (!messages) fail(ENOMEM);
  pipe.readEnd.release();
  // Before the diversion, which would stay when the thread cannot be started.
  _reader = std::thread([this, log = std::move(messages)] { read(log.get()); });
  if (dup2(pipe.writeEnd.get(), STDOUT_FILENO) >= 0) return;
  const int error = errno;
  pipe.writeEnd = FileDescriptor();
  _reader.join();
  fail(error);
}

std::string DivertedOutput::end() {
  std::fflush(stdout);
  // This closes the pipe's last end to write to, which ends the reader.
  dup2(_standardOutput.get(), STDOUT_FILENO);
  _reader.join();
  return _endOfPass;
}

void DivertedOutput::read(std::FILE* messages) {
  std::array<char, 512> line;
  while (std::fgets(line.data(), static_cast<int>(line.size()), messages)) {
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
