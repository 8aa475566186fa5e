#ifndef CORVANE_TOOLS_PS_PROCESS_RECORDING_H_
#define CORVANE_TOOLS_PS_PROCESS_RECORDING_H_

#include <chrono>
#include <functional>
#include <istream>
#include <string>
#include <vector>

#include "tools/command_error.h"
#include "tools/ps/process_sample.h"
#include "tools/signal_wait.h"

namespace corvane::tools {

struct RecordedProcess {
  int32_t pid = 0;
  std::string name;
  /// Percent of one processor.
  double usage = 0;
};

/// One line of a recording: {"time": SECONDS, "missed": COUNT, "processes": [{"pid": ...}, ...]}.
struct RecordedSample {
  /// Seconds since 1970.
  double time = 0;
  /// How many samples were due since the line before and were not taken, because the program was
  /// stopped or had no processor.
  int64_t missed = 0;
  std::vector<RecordedProcess> processes;
};

/// The clock of a recording, which tests replace.
class Pace {
 public:
  virtual ~Pace() = default;
  /// Returns the time since the recording began.
  virtual Seconds now() = 0;
  /// Waits until this time. Returns false when the recording must end.
  virtual bool waitUntil(Seconds time) = 0;
};

/// Uses the system's clock. SIGINT, SIGTERM and SIGHUP end the recording.
class ClockPace : public Pace {
 public:
  Seconds now() override;
  bool waitUntil(Seconds time) override;

 private:
  const std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
  SignalWait _signals{{SIGINT, SIGTERM, SIGHUP}};
};

struct RecordingPlan {
  Seconds length;
  Seconds interval;
};

/// Writes what `sample` returns at each interval to a new file, one line of JSON each. Samples that
/// cannot be taken in time are skipped. Returns kFailed when the pace ends the recording early,
/// with whole lines in the file. Throws CommandError when the file exists or cannot be written.
ExitStatus record(const std::string& file, const RecordingPlan& plan, Pace& pace,
                  const std::function<std::vector<ProcessSample>()>& sample);

/// Reads a recording. Throws CommandError (wrong usage) with the file's name, the line and the
/// reason when the file is not a recording. A last line that was cut short does not count.
std::vector<RecordedSample> readRecording(const std::string& file);

/// Reads a recording that messages call `name`.
std::vector<RecordedSample> readRecording(std::istream& input, const std::string& name);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_RECORDING_H_
