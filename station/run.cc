#include "station/run.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <random>

#include "log/log.h"
#include "platform/text.h"

namespace corvane::station {
namespace {

std::atomic<Run*> gActive = nullptr;
/// The newest run, from which all others can be reached.
Run* gNewest = nullptr;

uint64_t newRunId() {
  std::random_device random;
  return uint64_t{random()} << 32 | random();
}

/// Registers `handler` where the platform has `at_quick_exit`.
template <typename Handler>
auto atQuickExit(Handler handler, int) -> decltype(at_quick_exit(handler)) {
  return at_quick_exit(handler);
}
template <typename Handler>
int atQuickExit(Handler, long) {
  return 0;
}

}  // namespace

Run::Run(const Profile& profile, const RunOptions& options, uint64_t id)
    : _profile(profile),
      _options(options),
      _unit(options.unit),
      _console(options.isQuiet),
      _results(options.results, id),
      _visit(_profile, id),
      _watch({.afterSignal = [this] { cut({Cut::Cause::kSignal}); },
              .afterTimeLimit =
                  [this](uint32_t phase) {
                    cut({Cut::Cause::kTimeLimit, phase});
                  }}) {
  _results.identify(profile.name, options.unit);
}

Run& Run::start(const Profile& profile, const RunOptions& options) {
  Run* active = gActive;
  if (active && active->_process == ::getpid()) {
    throw std::runtime_error("another run is in progress in this process");
  }
  [[maybe_unused]] static const int registered = [] {
    std::atexit([] { endActiveRun("exit"); });
    return atQuickExit([] { endActiveRun("quick_exit"); }, 0);
  }();
  std::unique_ptr<Run> run(new Run(profile, options, newRunId()));
  if (!gActive.compare_exchange_strong(active, run.get())) {
    throw std::runtime_error("another run began at the same time in this process");
  }
  run->_previous = gNewest;
  return *(gNewest = run.release());
}

void Run::endActiveRun(const char* call) {
  Run* const run = gActive;
  if (!run || run->_process != ::getpid()) return;
  run->cut({Cut::Cause::kExit, 0, call});
  // The executing thread claimed the end before.
  Lock lock(run->_lock);
  run->_changed.wait(lock, [&] { return run->_stage == Stage::kOver; });
  const int status = run->_outcome.exitStatus();
  lock.unlock();
  std::fflush(nullptr);
  ::_exit(status);
}

Outcome Run::execute(const std::function<void(TestRun&)>& body) {
  Outcome outcome = attempted([&] {
    begin();
    runBody(body);
    runLastPhase();
    return leaveResult();
  });
  claimEnd();
  const bool isKnown = outcome.verdict != Verdict::kUntrusted;
  finish(outcome, isKnown ? _visit.status() : _visit.readStatus());
  _watch.stop();
  {
    const Lock lock(_lock);
    _outcome = outcome;
    _stage = Stage::kOver;
  }
  _changed.notify_all();
  gActive = nullptr;
  return outcome;
}

std::string Run::thrownBy(const std::string& who, const std::function<void()>& body) const {
  constexpr int kChildStatus = 127;
  std::string thrown;
  try {
    body();
  } catch (const std::exception& error) {
    thrown = who + " threw: " + error.what();
  } catch (...) {
    thrown = who + " threw";
  }
  if (::getpid() != _process) ::_exit(kChildStatus);
  return thrown;
}

void Run::runBody(const std::function<void(TestRun&)>& body) {
  const std::string thrown = thrownBy("the station", [&] { body(_handle); });
  std::function<void()> told;
  {
    const Lock lock = enter(false);
    if (!thrown.empty()) _failures.add("exception", thrown);
    if (_phase) told = closePhase(lock, false);
    if (_phases.empty() && _failures.isEmpty()) _failures.add("no phase", "no phase ran");
    _isCutShort = true;
  }
  if (told) told();
}

Run::Lock Run::enter(bool isOfLastPhase) const {
  if (::getpid() != _process) return {};
  Lock lock(_lock);
  const bool isLast = isOfLastPhase || sRunsLastPhase;
  if (_stage == Stage::kCutEnding || (_stage == Stage::kCut && !isLast)) {
    lock.unlock();
    blockUntilProcessEnds();
  }
  if (_stage != Stage::kBody && _stage != Stage::kCut) return {};
  return lock;
}

void Run::tell(const std::function<void()>& line) {
  {
    const Lock lock(_lock);
    if (_stage == Stage::kCut || _stage == Stage::kCutEnding) {
      _later.push_back(line);
      return;
    }
  }
  line();
}

void Run::writeLog(std::string_view text, int indentation) {
  tell([this, text = std::string(text), indentation] {
    Log::write(textFromBytes(text).get(), textFromBytes(_profile.name).get(), indentation);
  });
}

void Run::report(const char* type, const nlohmann::ordered_json& fields) {
  if (!_areResultsStuck) _results.append(type, fields);
}

}  // namespace corvane::station
