#ifndef CORVANE_TOOLS_PS_PROCESS_RECORDING_H_
#define CORVANE_TOOLS_PS_PROCESS_RECORDING_H_

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "tools/command_error.h"
#include "tools/ps/process_sample.h"

namespace corvane::tools {

using Seconds = std::chrono::duration<double>;

/// What one line of a recording tells: {"time": SECONDS, "processes": [{"pid": ...}, ...]}.
struct RecordedSample {
  /// Seconds since 1970.
  double time = 0;
  /// Without their threads.
  std::vector<ProcessSample> processes;
};

/// Takes a sample every so often for that long, and writes each, as `arranged` leaves it, to a new
/// file as one line of JSON. An interrupt ends the recording early (kFailed) with whole lines.
/// Throws CommandError when the file is there already or cannot be written.
ExitStatus record(const std::string& file, Seconds length, Seconds interval,
                  const std::function<void(std::vector<ProcessSample>&)>& arranged);

/// Throws CommandError with the file's name, the line and the reason when it is no recording. A
/// last line that was cut short does not count.
std::vector<RecordedSample> readRecording(const std::string& file);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_RECORDING_H_
