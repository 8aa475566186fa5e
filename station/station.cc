#include "station/station.h"

#include <algorithm>

#include "station/console.h"
#include "station/run_state.h"

namespace corvane::station {
namespace {

constexpr uint32_t kControlBitBytes = 128;

bool isKey(std::string_view text) {
  const auto isGraph = [](char character) { return character > ' ' && character < 0x7F; };
  return text.size() == 4 && std::ranges::all_of(text, isGraph) && text != "CNTB";
}

/// Returns what is wrong with a profile; empty when it can be used.
std::string faultOf(const Profile& profile) {
  if (profile.name.empty()) return "the station has no name";
  const auto isInside = [](uint32_t offset) { return offset < kControlBitBytes; };
  if (!isInside(profile.statusOffset)) return "the status byte lies beyond byte 127";
  if (!isInside(profile.poisonOffset)) return "the poison byte lies beyond byte 127";
  if (profile.poisonOffset == profile.statusOffset) {
    return "the status byte and the poison byte are the same";
  }
  if (!std::ranges::all_of(profile.conditions.earlierPoisonOffsets, isInside)) {
    return "an earlier station's poison byte lies beyond byte 127";
  }
  if (!isKey(profile.runCountKey)) return "the key of the run count is no four characters";
  if (!profile.unitKey.empty() && !isKey(profile.unitKey)) {
    return "the key of the unit's identity is no four characters";
  }
  return {};
}

Outcome misused(const Profile& profile, const std::string& reason) {
  Console(true).error(profile.name + ": " + reason);
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
      return 128 + signal;
    case Verdict::kRefused:
    case Verdict::kUntrusted:
    case Verdict::kUnfinished:
      break;
  }
  return 3;
}

bool Phase::measure(std::string_view name, double value, std::string_view unit, Limits limits) {
  return _state.measure(name, value, unit, limits);
}
void Phase::fail(std::string_view reason) { _state.fail(reason); }
void Phase::log(std::string_view text) { _state.log(text, 2); }
void Phase::progress(double fraction) { _state.progress(fraction); }
bool Phase::wait(std::chrono::milliseconds duration) { return _state.wait(duration); }
bool Phase::isInterrupted() const { return _state.isInterrupted(); }

bool TestRun::phase(std::string_view name, const std::function<void(Phase&)>& body) {
  return _state.phase(name, body);
}
void TestRun::log(std::string_view text) { _state.log(text, 1); }
void TestRun::setRecordText(std::string_view text) { _state.setRecordText(text); }
uint32_t TestRun::count() const { return _state.count(); }
bool TestRun::isPassing() const { return _state.isPassing(); }

Outcome run(const Profile& profile, const RunOptions& options,
            const std::function<void(TestRun&)>& body) noexcept {
  try {
    const std::string fault = faultOf(profile);
    if (!fault.empty()) return misused(profile, fault);
    RunState state(profile, options);
    return state.execute(body);
  } catch (const std::exception& error) {
    return misused(profile, error.what());
  }
}

}  // namespace corvane::station
