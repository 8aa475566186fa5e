#include "tools/trial/trial.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <regex>

#include "host/include/virtual_device.h"
#include "platform/printable.h"
#include "tools/command_error.h"
#include "tools/trial/held_signals.h"

namespace corvane::tools::trial {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using nlohmann::ordered_json;

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
  static const std::regex kPlain("[-\\w+=./:@%,]+"), kQuote("'");
  if (std::regex_match(text, kPlain)) return text;
  return "'" + std::regex_replace(text, kQuote, "'\\''") + "'";
}

class Trial {
 public:
  explicit Trial(const Options& options)
      : _options(options), _station(options.station), _random(options.seed) {}

  ordered_json run() {
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
    const fs::path unit = host::VirtualDevice(_folder.path() / "unit").folder();
    const Run run = runOnce(station, {Kind::kUnits, "--describe", unit});
    try {
      if (run.waitStatus != 0) throw CommandError(kNotReady, "it fails");
      readProfile(nlohmann::json::parse(run.output));
    } catch (const std::exception& error) {
      throw CommandError(kNotReady, _station.program +
                                        " does not describe itself (--describe: " + error.what() +
                                        "); tell its places with --status, --poison and --record");
    }
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
    _good.run = runOnce(_station, what);
    if (_good.run.waitStatus != 0) {
      constexpr size_t kMaxShown = 200;
      const std::string& output = _good.run.output;
      throw CommandError(
          kNotReady,
          _station.program + " does not pass on a good unit: " +
              printable(output.substr(output.size() - std::min(output.size(), kMaxShown))));
    }
    noteChanges(_good.run);
    const Judgement judgement = judge(_station, _good, what, _good.run);
    if (judgement.finding != Finding::kHonest) {
      throw CommandError(kNotReady, _station.program + " on a good unit: " + judgement.reason);
    }
    // The first run of a program takes longer than the others.
    _good.run.seconds = std::min(_good.run.seconds, runOnce(_station, what).seconds);
    std::vector<Case> writes;
    for (uint64_t i = 1; i <= _good.run.calls[kWrite]; ++i) {
      writes.push_back(killCase(what.unit, kWrite, i, SIGKILL));
    }
    runAll(writes, kGoodRunLimit,
           [&](const Case&, const Run& run, const fs::path&) { noteChanges(run); });
    if (_isInterrupted) throw CommandError(kNotReady, "interrupted before the first case");
  }

  void noteChanges(const Run& run) {
    if (!run.after) return;
    const std::lock_guard lock(_lock);
    const UnitState &before = run.before, &after = *run.after;
    _good.places.merge(changedPlaces(before, after));
    _good.bytes.merge(differences(before.diagnostics, after.diagnostics));
    _good.areaBytes.merge(differences(before.configuration, after.configuration));
    _good.writesRecordFirst |=
        after.records().size() > before.records().size() && !showsPassed(_station, after);
  }

  /// Returns the cases that were asked for, in an order in which each kind has its share of however
  /// many are run.
  std::vector<Case> chosen(std::vector<Case> cases) {
    std::erase_if(cases, [&](const Case& what) {
      const bool isOfKind =
          _options.kinds.empty() || std::ranges::count(_options.kinds, nameOf(what.kind)) > 0;
      return _options.onlyCase.empty() ? !isOfKind : what.name != _options.onlyCase;
    });
    if (cases.empty()) throw CommandError(kUsage, "there is no such case");
    std::ranges::shuffle(cases, _random);
    std::map<Kind, size_t> counts;
    std::multimap<size_t, Case> byShare;
    for (Case& what : cases) byShare.emplace(counts[what.kind]++, std::move(what));
    cases.clear();
    for (auto& [share, what] : byShare) {
      if (cases.size() < _options.maxCases) cases.push_back(std::move(what));
    }
    return cases;
  }

  void tryAll(const std::vector<Case>& cases) {
    constexpr double kMinLimit = 5;
    _summary = {{"station", _station.program},
                {"number", nullptr},
                {"planned", cases.size()},
                {"cases", size_t{0}},
                {"seconds", 0.0},
                {"interrupted", false},
                {"kinds", nullptr},
                {"findings", ordered_json::array()}};
    if (_station.number) _summary["number"] = *_station.number;
    for (const char* kind : kKindNames) {
      for (const char* finding : kFindingNames) _summary["kinds"][kind][finding] = size_t{0};
    }
    const double estimate = _good.run.seconds * static_cast<double>(cases.size()) / _options.jobs;
    std::fprintf(stderr, "%s: %zu cases on %u processors, about %.0f s\n", _station.program.c_str(),
                 cases.size(), _options.jobs, estimate + 1);
    const Clock::time_point begin = Clock::now();
    if (_options.maxSeconds > 0) {
      _end = begin + std::chrono::duration_cast<Clock::duration>(
                         std::chrono::duration<double>(_options.maxSeconds));
    }
    runAll(
        cases, std::max(kMinLimit, 5 * _good.run.seconds),
        [&](const Case& what, const Run& run, const fs::path& folder) { note(what, run, folder); });
    if (isatty(STDERR_FILENO)) std::fputs("\r\x1b[K", stderr);
    _summary["seconds"] = std::chrono::duration<double>(Clock::now() - begin).count();
    _summary["interrupted"] = _isInterrupted.load();
    std::ranges::sort(
        _summary["findings"].get_ref<ordered_json::array_t&>(), {},
        [](const ordered_json& found) { return std::pair(found["kind"], found["case"]); });
  }

  void note(const Case& what, const Run& run, const fs::path& folder) {
    const Judgement judgement = judge(_station, _good, what, run);
    const std::lock_guard lock(_lock);
    for (ordered_json* count :
         {&_summary["cases"], &_summary["kinds"][nameOf(what.kind)][nameOf(judgement.finding)]}) {
      *count = count->get<size_t>() + 1;
    }
    if (isatty(STDERR_FILENO)) {
      std::fprintf(stderr, "\r%zu of %zu", _summary["cases"].get<size_t>(),
                   _summary["planned"].get<size_t>());
    }
    if (judgement.reason.empty()) return;
    _summary["findings"].push_back({{"kind", nameOf(what.kind)},
                                    {"case", what.name},
                                    {"finding", nameOf(judgement.finding)},
                                    {"reason", judgement.reason},
                                    {"repeat", repeatOf(what)}});
    if (!_options.keep.empty() && what.obstacle.empty()) keep(what, folder);
  }

  void keep(const Case& what, const fs::path& folder) const {
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

  fs::path keptFolder(const Case& what) const {
    std::string name = what.name;
    std::ranges::replace(name, '/', '_');
    return fs::path(_options.keep) / name;
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

  Run runOnce(const Station& station, const Case& what) {
    const fs::path folder = _folder.path() / "run";
    Run run = runStation(station, what, folder, kGoodRunLimit, [&] { return isCancelled(); });
    fs::remove_all(folder);
    if (_isInterrupted) throw CommandError(kNotReady, "interrupted before the first case");
    return run;
  }

  /// Runs the cases, as many at a time as there are jobs, and hands each to `done` in its thread.
  void runAll(const std::vector<Case>& cases, double limit, const Done& done) {
    std::atomic<size_t> next = 0;
    const auto runUntilNone = [&] {
      try {
        for (size_t i = next++; i < cases.size() && Clock::now() < _end; i = next++) {
          const fs::path folder = _folder.path() / ("case-" + std::to_string(i));
          Run run;
          run.isReached = cases[i].obstacle.empty();
          if (run.isReached) {
            run = runStation(_station, cases[i], folder, limit, [&] { return isCancelled(); });
          }
          if (isCancelled()) return;
          done(cases[i], run, folder);
          fs::remove_all(folder);
        }
      } catch (...) {
        next = cases.size();
        throw;
      }
    };
    std::vector<std::future<void>> jobs(std::min<size_t>(_options.jobs, cases.size()));
    for (auto& job : jobs) job = std::async(std::launch::async, runUntilNone);
    for (auto& job : jobs) job.get();
  }

  bool isCancelled() {
    if (_signals.takeArrivals()) _isInterrupted = true;
    return _isInterrupted;
  }

  /// Lives longer than the folder, which would stay if a signal ended the process.
  HeldSignals _signals;
  const Options& _options;
  Station _station;
  std::mt19937 _random;
  TrialFolder _folder;
  GoodRun _good;
  ordered_json _summary;
  std::mutex _lock;
  /// No case begins later.
  Clock::time_point _end = Clock::time_point::max();
  std::atomic<bool> _isInterrupted = false;
};

}  // namespace

ordered_json tryStation(const Options& options) { return Trial(options).run(); }

}  // namespace corvane::tools::trial
