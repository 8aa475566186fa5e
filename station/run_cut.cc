// How a run ends while its body has not returned: by a time limit, a signal or `exit`. The body
// may hold any lock of the library, of the results and of the terminal, so each step has its time,
// and the process ends after the last one.

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

#include "station/run.h"
#include "station/run_text.h"
#include "unit/lock.h"

namespace corvane::station {
namespace {

// Together less than ten seconds, which a verdict may take after the last phase.
constexpr std::chrono::milliseconds kPhaseLineTime{500};
constexpr std::chrono::seconds kVerdictTime{6};
constexpr std::chrono::milliseconds kEndLineTime{1500};
constexpr std::chrono::milliseconds kTellTime{1000};
/// How long a cut waits for a unit that is being marked.
constexpr std::chrono::seconds kMarkTime{1};

}  // namespace

void Run::cut(Cut cut) {
  if (!claimCut(cut)) return;
  if (cut.cause == Cut::Cause::kTimeLimit) failTimedOutPhase();
  const std::string place = leavePhase();
  if (_last && !_last->hasBegun && !doneWithin(_last->limit, [this] { runLastPhase(); })) {
    enterCutEnding();
    failTimedOutPhase();
  }
  enterCutEnding();

  Ending ending;
  ending.after = _isMarked ? _visit.status() : std::nullopt;
  if (cut.signal != 0) {
    ending.outcome = interrupted(interruptedBy(cut.signal));
  } else if (cut.cause == Cut::Cause::kExit) {
    ending.outcome = interrupted(cut.call + " was called " + place);
  } else {
    ending = verdictInTime();
  }
  endProcess(ending);
}

bool Run::claimCut(Cut& cut) {
  Lock lock(_lock);
  const auto isMarked = [this] { return _stage != Stage::kMarking; };
  if (!_changed.wait_for(lock, kMarkTime, isMarked)) ::_exit(interrupted("").exitStatus());
  if (_stage != Stage::kBegin && _stage != Stage::kBody) return false;
  const bool isLimit = cut.cause == Cut::Cause::kTimeLimit;
  if (isLimit && !(_phase && _phase->number == cut.phase)) return false;
  cut.signal = _watch.signal();
  _stage = Stage::kCut;
  return true;
}

void Run::enterCutEnding() {
  const Lock lock(_lock);
  _stage = Stage::kCutEnding;
}

void Run::failTimedOutPhase() {
  std::function<void()> told;
  {
    const Lock lock(_lock);
    if (!_phase) return;
    _phase->failures.add(_phase->handle->_name,
                         "timed out after " + shownTime(_phase->options.timeLimit));
    told = closePhase(lock);
  }
  if (!doneWithin(kPhaseLineTime, told)) _areResultsStuck = true;
}

std::string Run::leavePhase() {
  const Lock lock(_lock);
  std::string place = _phase ? "in phase " + _phase->handle->_name : "between phases";
  _phase.reset();
  return place;
}

Run::Ending Run::verdictInTime() {
  const auto ending = std::make_shared<Ending>();
  const bool isDone = doneWithin(kVerdictTime, [this, ending] {
    std::optional<unit::Lock> unitLock;
    ending->outcome = attempted([&] {
      unitLock.emplace(unit::Lock::Lines::kKept);
      return leaveVerdict(*unitLock);
    });
    const bool isLeft = ending->outcome.verdict != Verdict::kUntrusted;
    ending->after = isLeft ? _visit.status() : _visit.readStatus();
    if (!unitLock) return;
    for (const std::string& line : unitLock->takeLines()) {
      tell([line] { unit::writeLine(line); });
    }
  });
  if (isDone) return *ending;
  return {{Verdict::kUntrusted, _failures.text() + "; the verdict was not left in time"}, {}};
}

void Run::endProcess(const Ending& ending) {
  const auto told = std::make_shared<Ending>(ending);
  const bool isTold = !_areResultsStuck && doneWithin(kEndLineTime, [this, told] {
    finish(told->outcome, told->after);
  });
  const bool isVerdict = ending.outcome.verdict < Verdict::kIncomplete;
  const int status = isTold      ? told->outcome.exitStatus()
                     : isVerdict ? Outcome{Verdict::kUntrusted, {}}.exitStatus()
                                 : ending.outcome.exitStatus();
  if (!isTold) tellEnd(ending.outcome, ending.after);
  doneWithin(kTellTime, [this] {
    std::unique_lock lock(_lock);
    const std::vector<std::function<void()>> lines = std::move(_later);
    lock.unlock();
    for (const auto& line : lines) line();
    std::fflush(nullptr);
  });
  ::_exit(status);
}

}  // namespace corvane::station
