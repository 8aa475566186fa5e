#include "tools/trial/trial.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "host/include/virtual_device.h"
#include "platform/printable.h"
#include "tools/command_error.h"
#include "tools/signal_wait.h"
#include "tools/trial/case.h"

namespace corvane::tools::trial {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr char kWrite[] = "IORegistryEntrySetCFProperties";
constexpr double kGoodRunLimit = 600;

class TrialFolder {
 public:
  TrialFolder() : _path((fs::temp_directory_path() / "corvane-trial-XXXXXX").string()) {
    if (mkdtemp(_path.data()) == nullptr) {
      throw CommandError(kFailed, "no folder can be made in " + fs::temp_directory_path().string());
    }
  }
  ~TrialFolder() {
    std::error_code ignored;
    fs::remove_all(_path, ignored);
  }
  TrialFolder(const TrialFolder&) = delete;
  TrialFolder& operator=(const TrialFolder&) = delete;
  fs::path path() const { return _path; }

 private:
  std::string _path;
};

/// Returns the text as a word of a shell's command line.
std::string quoted(const std::string& text) {
  constexpr char kPlain[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./:@%,";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + "'";
}

class Trial {
 public:
  explicit Trial(const Options& options)
      : _options(options), _station(options.station), _random(options.seed) {}

  Summary run() {
    adoptOrphans();
    if (!_options.hasPlaces) describe();
    const fs::path goodUnit = makeGoodUnit(_station, _folder.path() / "good");
    tryGoodUnit({Kind::kUnits, "good unit", goodUnit});
    tryAll(chosen(casesOf(_station, _good, goodUnit, _folder.path(), _random)));
    return std::move(_summary);
  }

 private:
  using Done = std::function<void(const Case&, const Run&, const fs::path& folder)>;

  void describe() {
    Station station = _station;
    station.arguments = {"--describe"};
    const Case what{Kind::kUnits, "--describe",
                    host::VirtualDevice(_folder.path() / "unit").folder()};
    runAll(station, {what}, kGoodRunLimit, [&](const Case&, const Run& run, const fs::path&) {
      try {
        if (run.waitStatus != 0) throw CommandError(kNotReady, "it fails");
        readProfile(nlohmann::json::parse(run.output));
      } catch (const std::exception& error) {
        throw CommandError(
            kNotReady, _station.program + " does not describe itself (--describe: " + error.what() +
                           "); tell its places with --status, --poison and --record");
      }
    });
  }

  void readProfile(const nlohmann::json& profile) {
    const auto key = [&](const char* name) -> std::optional<uint32_t> {
      const nlohmann::json& value = profile.at(name);
      if (value.is_null()) return {};
      return unit::keyOf(value.get<std::string>());
    };
    _station.isOfKit = true;
    _station.number = profile.at("number").get<uint8_t>();
    profile.at("statusOffset").get_to(_station.statusOffset);
    profile.at("poisonOffset").get_to(_station.poisonOffset);
    _station.runCountKey = key("runCountKey");
    _station.unitKey = key("unitKey");
    const nlohmann::json& models = profile.at("conditions").at("models");
    if (!models.empty()) _station.model = models.front();
  }

  /// Runs the station on the good unit, and once more for each of its writes, to see what it has
  /// changed when that write begins.
  void tryGoodUnit(const Case& what) {
    runAll(_station, {what}, kGoodRunLimit, [&](const Case&, const Run& run, const fs::path&) {
      _good.run = run;
      if (run.waitStatus != 0) {
        constexpr size_t kMaxShown = 200;
        const size_t begin = run.output.size() - std::min(run.output.size(), kMaxShown);
        throw CommandError(kNotReady, _station.program + " does not pass on a good unit: " +
                                          printable(run.output.substr(begin)));
      }
      if (run.after) noteChanges(*run.after);
      const Judgement judgement = judge(_station, _good, what, run);
      if (judgement.finding != Finding::kHonest) {
        throw CommandError(kNotReady, _station.program + " on a good unit: " + judgement.reason);
      }
    });
    // The first run of a program takes longer than the others.
    runAll(_station, {what}, kGoodRunLimit, [&](const Case&, const Run& run, const fs::path&) {
      _good.run.seconds = std::min(_good.run.seconds, run.seconds);
    });
    std::vector<Case> writes;
    for (uint64_t i = 1; i <= _good.run.calls[kWrite]; ++i) {
      writes.push_back(killCase(what.unit, kWrite, i, SIGKILL));
    }
    runAll(_station, writes, kGoodRunLimit, [&](const Case&, const Run& run, const fs::path&) {
      const std::lock_guard lock(_lock);
      if (!run.after) return;
      noteChanges(*run.after);
      _good.writesRecordFirst |= run.after->records().size() > run.before.records().size() &&
                                 !showsPassed(_station, *run.after);
    });
  }

  void noteChanges(const UnitState& after) {
    const UnitState& before = _good.run.before;
    _good.bytes.merge(differences(before.diagnostics, after.diagnostics));
    _good.areaBytes.merge(differences(before.configuration, after.configuration));
    _good.words.merge(wordDifferences(before, after));
    _good.keys.merge(keyDifferences(before, after));
  }

  /// Returns the cases that were asked for, in an order in which each kind has its share of however
  /// many are run.
  std::vector<Case> chosen(std::vector<Case> cases) {
    std::erase_if(cases, [&](const Case& what) {
      const bool isOfKind =
          _options.kinds.empty() ||
          std::ranges::count(_options.kinds, kKindNames[static_cast<size_t>(what.kind)]) > 0;
      return _options.onlyCase.empty() ? !isOfKind : what.name != _options.onlyCase;
    });
    if (cases.empty()) throw CommandError(kUsage, "there is no such case");
    std::ranges::shuffle(cases, _random);
    std::array<size_t, kKindNames.size()> counts{};
    std::multimap<size_t, Case> byShare;
    for (Case& what : cases) {
      byShare.emplace(counts[static_cast<size_t>(what.kind)]++, std::move(what));
    }
    cases.clear();
    for (auto& [share, what] : byShare) {
      if (cases.size() < _options.maxCases) cases.push_back(std::move(what));
    }
    return cases;
  }

  void tryAll(const std::vector<Case>& cases) {
    constexpr double kMinLimit = 5;
    _summary.station = _station;
    _summary.planned = cases.size();
    const double estimate = _good.run.seconds * static_cast<double>(cases.size()) / _options.jobs;
    std::fprintf(stderr, "%s: %zu cases on %u processors, about %.0f s\n", _station.program.c_str(),
                 cases.size(), _options.jobs, estimate + 1);
    const Clock::time_point begin = Clock::now();
    _end = _options.maxSeconds > 0
               ? std::optional(begin + std::chrono::duration_cast<Clock::duration>(
                                           std::chrono::duration<double>(_options.maxSeconds)))
               : std::nullopt;
    runAll(
        _station, cases, std::max(kMinLimit, 5 * _good.run.seconds),
        [&](const Case& what, const Run& run, const fs::path& folder) { note(what, run, folder); });
    _summary.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    std::ranges::sort(_summary.findings, {}, [](const CaseFinding& finding) {
      return std::pair(finding.kind, finding.name);
    });
  }

  void note(const Case& what, const Run& run, const fs::path& folder) {
    const Judgement judgement = judge(_station, _good, what, run);
    const std::lock_guard lock(_lock);
    ++_summary.cases;
    ++_summary.counts[static_cast<size_t>(what.kind)][static_cast<size_t>(judgement.finding)];
    if (judgement.finding == Finding::kHonest || judgement.finding == Finding::kNotReached) return;
    _summary.findings.push_back({what.kind, what.name, judgement, repeatOf(what)});
    if (_options.keep.empty()) return;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (fs::is_other(entry.symlink_status())) fs::remove(entry);  // It cannot be copied.
    }
    // A link that an earlier trial left cannot be replaced.
    for (const char* unit : {"unit", "before"}) fs::remove_all(keptFolder(what) / unit);
    const auto options = fs::copy_options::recursive | fs::copy_options::copy_symlinks |
                         fs::copy_options::overwrite_existing;
    fs::create_directories(_options.keep);
    fs::copy(folder, keptFolder(what), options);
    fs::copy(what.unit, keptFolder(what) / "before", options);
  }

  std::string repeatOf(const Case& what) const {
    std::string arguments;
    for (const std::string& argument : _station.arguments) arguments += " " + quoted(argument);
    const bool isRule = !what.faults.empty() && !what.meddling && what.kind != Kind::kSurroundings;
    if (isRule && !_options.keep.empty()) {
      return "CORVANE_DEVICE=" + quoted(keptFolder(what) / "before") +
             " CORVANE_FAULTS=" + quoted(what.faults) + " " + quoted(_station.program) + arguments;
    }
    std::string options = " --seed " + std::to_string(_options.seed);
    if (_options.hasPlaces) {
      options += " --status " + std::to_string(_station.statusOffset) + " --poison " +
                 std::to_string(_station.poisonOffset);
      if (_station.number) options += " --record " + std::to_string(*_station.number);
    }
    return "corvane trial " + quoted(_station.program) + options + " --case " + quoted(what.name) +
           (arguments.empty() ? "" : " --" + arguments);
  }

  fs::path keptFolder(const Case& what) const {
    std::string name = what.name;
    std::ranges::replace(name, '/', '_');
    return fs::path(_options.keep) / name;
  }

  /// Runs the cases, as many at a time as there are jobs, and hands each to `done` in its thread.
  /// Throws what a thread threw first, and CommandError when a signal ends it before there is
  /// anything to sum up.
  void runAll(const Station& station, const std::vector<Case>& cases, double limit,
              const Done& done) {
    std::atomic<size_t> next = 0, ended = 0;
    _isCancelled = false;
    _error = nullptr;
    std::vector<std::thread> threads;
    const size_t count = std::min<size_t>(_options.jobs, cases.size());
    for (size_t i = 0; i < count; ++i) {
      threads.emplace_back([&] {
        runUntilNone(station, cases, next, limit, done);
        ++ended;
      });
    }
    const bool showsProgress = isatty(STDERR_FILENO) && _summary.planned > 0;
    while (ended < count) {
      _signals.wait(Clock::now() + std::chrono::milliseconds(_summary.planned > 0 ? 50 : 1));
      for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        _summary.isInterrupted |= _signals.takeArrival(signal);
      }
      if (_summary.isInterrupted) _isCancelled = true;
      if (showsProgress) {
        std::fprintf(stderr, "\r%zu of %zu", std::min(next.load(), cases.size()), cases.size());
      }
    }
    if (showsProgress) std::fputs("\r\x1b[K", stderr);
    for (std::thread& thread : threads) thread.join();
    if (_error) std::rethrow_exception(_error);
    if (_summary.isInterrupted && _summary.planned == 0) {
      throw CommandError(kNotReady, "interrupted before the first case");
    }
  }

  void runUntilNone(const Station& station, const std::vector<Case>& cases,
                    std::atomic<size_t>& next, double limit, const Done& done) {
    try {
      for (;;) {
        const size_t i = next++;
        if (i >= cases.size() || _isCancelled || (_end && Clock::now() >= *_end)) return;
        const fs::path folder = _folder.path() / ("case-" + std::to_string(i));
        const Run run = runStation(station, cases[i], folder, limit, _isCancelled);
        if (!_isCancelled) done(cases[i], run, folder);
        fs::remove_all(folder);
      }
    } catch (...) {
      const std::lock_guard lock(_lock);
      if (!_error) _error = std::current_exception();
      _isCancelled = true;
    }
  }

  /// Lives longer than the folder, which would stay if a signal ended the process.
  SignalWait _signals{{SIGINT, SIGTERM, SIGHUP}};
  const Options& _options;
  Station _station;
  std::mt19937 _random;
  TrialFolder _folder;
  GoodRun _good;
  Summary _summary;
  std::mutex _lock;
  std::optional<Clock::time_point> _end;
  std::atomic<bool> _isCancelled = false;
  std::exception_ptr _error;
};

}  // namespace

Summary tryStation(const Options& options) { return Trial(options).run(); }

}  // namespace corvane::tools::trial
