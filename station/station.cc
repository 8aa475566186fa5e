#include "station/station.h"

#include <fcntl.h>
#include <unistd.h>

#include "station/console.h"
#include "station/profile_rules.h"
#include "station/run.h"

namespace corvane::station {
namespace {

/// The status of a process in which `exit` was called during a run.
constexpr int kExitedStatus = 4;

/// Opens those of the three standard streams that are closed. A file of the kit would get their
/// number otherwise, and with it what the body prints.
void openStandardStreams() {
  for (int stream = 0; stream <= 2; ++stream) {
    if (::fcntl(stream, F_GETFD) < 0) ::open("/dev/null", O_RDWR);  // Takes the lowest number.
  }
}

Outcome misused(const Profile& profile, const std::string& reason) {
  Console(true).error((profile.name.empty() ? "station" : profile.name) + ": " + reason);
  return {Verdict::kMisused, reason};
}

}  // namespace

int Outcome::exitStatus() const {
  switch (verdict) {
    case Verdict::kPassed:
      return 0;
    case Verdict::kFailed:
      return 1;
    case Verdict::kMisused:
      return 2;
    case Verdict::kIncomplete:
      return signal == 0 ? kExitedStatus : 128 + signal;
    case Verdict::kRefused:
    case Verdict::kUntrusted:
    case Verdict::kUnfinished:
      break;
  }
  return 3;
}

bool Phase::measure(std::string_view name, double value, std::string_view unit, Limits limits) {
  return _run.measure(*this, name, value, unit, limits);
}
bool Phase::check(std::string_view name, std::string_view text, const Expected& expected) {
  return _run.check(*this, name, text, expected);
}
bool Phase::check(std::string_view name, bool holds) { return _run.check(*this, name, holds); }
void Phase::fail(std::string_view reason) { _run.fail(*this, reason); }
void Phase::log(std::string_view text) { _run.log(*this, text); }
void Phase::progress(double fraction) { _run.progress(*this, fraction); }
bool Phase::wait(std::chrono::milliseconds duration) { return _run.wait(*this, duration); }
bool Phase::isInterrupted() const { return _run.isInterrupted(); }

bool TestRun::phase(std::string_view name, const std::function<void(Phase&)>& body) {
  return _run.phase(name, {}, body);
}
bool TestRun::phase(std::string_view name, const PhaseOptions& options,
                    const std::function<void(Phase&)>& body) {
  return _run.phase(name, options, body);
}
void TestRun::lastPhase(std::string_view name, const std::function<void(Phase&)>& body,
                        std::chrono::milliseconds timeLimit) {
  _run.setLastPhase(name, body, timeLimit);
}
void TestRun::log(std::string_view text) { _run.log(text); }
void TestRun::setRecordText(std::string_view text) { _run.setRecordText(text); }
uint32_t TestRun::count() const { return _run.count(); }
bool TestRun::isPassing() const { return _run.isPassing(); }

Outcome run(const Profile& profile, const RunOptions& options,
            const std::function<void(TestRun&)>& body) noexcept {
  try {
    openStandardStreams();
    const std::string fault = faultOf(profile);
    if (!fault.empty()) return misused(profile, fault);
    return Run::start(profile, options).execute(body);
  } catch (const std::exception& error) {
    return misused(profile, error.what());
  }
}

}  // namespace corvane::station
