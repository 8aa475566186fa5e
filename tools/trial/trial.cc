#include "tools/trial/trial.h"

#include <stdlib.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <future>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <regex>

#include "host/include/virtual_device.h"
#include "platform/printable.h"
#include "tools/command_error.h"

namespace corvane::tools::trial {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

/// Returns the text as a word of a shell's command line.
std::string quoted(const std::string& text) {
  static const std::regex kPlain("[-\\w+=./:@%,]+"), kQuote("'");
  if (std::regex_match(text, kPlain)) return text;
  return "'" + std::regex_replace(text, kQuote, "'\\''") + "'";
}

void increase(ordered_json& count) { count = count.get<size_t>() + 1; }

class Trial {
 public:
  Trial(const Options& options, fs::path folder)
      : _options(options),
        _station(options.station),
        _folder(std::move(folder)),
        _random(options.seed) {}

  ordered_json run() {
    if (_station.isOfKit) describe();
    const fs::path goodUnit = makeGoodUnit(_station, _folder / "good");
    tryGoodUnit({"units", "good unit", goodUnit});
    tryAll(chosen(casesOf(_station, _good, goodUnit, _folder, _random)));
    return std::move(_summary);
  }

 private:
  void describe() {
    Station station = _station;
    station.isOfKit = false;
    station.arguments = {"--describe"};
    const fs::path unit = host::VirtualDevice(_folder / "unit").folder();
    const Run run = runOnce(station, {"units", "--describe", unit});
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
    const auto key = [&](const char* name) {
      return profile.at(name).is_null() ? 0 : unit::keyOf(profile[name].get<std::string>());
    };
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
    constexpr char kWrite[] = "IORegistryEntrySetCFProperties";
    constexpr size_t kMaxShown = 200;
    _good.run = runOnce(_station, what);
    if (_good.run.waitStatus != 0) {
      const std::string& output = _good.run.output;
      const size_t shown = std::min(output.size(), kMaxShown);
      throw CommandError(kNotReady, _station.program + " does not pass on a good unit: " +
                                        printable(output.substr(output.size() - shown)));
    }
    noteChanges(_good.run);
    const Judgement judgement = judge(_station, _good, what, _good.run);
    if (judgement.finding != "honest") {
      throw CommandError(kNotReady, _station.program + " on a good unit: " + judgement.reason);
    }
    for (uint64_t i = 1; i <= _good.run.calls[kWrite]; ++i) {
      const std::string rule = std::string(kWrite) + "=kill@" + std::to_string(i);
      noteChanges(runOnce(_station, {"kills", rule, what.unit, rule}));
    }
  }

  Run runOnce(const Station& station, const Case& what) {
    constexpr double kLimit = 600;
    const fs::path folder = _folder / "run";
    Run run = runStation(station, what, folder, kLimit);
    fs::remove_all(folder);
    if (gIsInterrupted) throw CommandError(kNotReady, "interrupted before the first case");
    return run;
  }

  void noteChanges(const Run& run) {
    if (!run.after) return;
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
          _options.kinds.empty() || std::ranges::count(_options.kinds, what.kind) > 0;
      return _options.onlyCase.empty() ? !isOfKind : what.name != _options.onlyCase;
    });
    if (cases.empty()) throw CommandError(kUsage, "there is no such case");
    std::ranges::shuffle(cases, _random);
    std::map<std::string, size_t> counts;
    std::multimap<size_t, Case> byShare;
    for (Case& what : cases) byShare.emplace(counts[what.kind]++, std::move(what));
    cases.clear();
    for (auto& [share, what] : byShare) {
      if (cases.size() < _options.maxCases) cases.push_back(std::move(what));
    }
    return cases;
  }

  /// Runs the cases, as many at a time as there are jobs.
  void tryAll(const std::vector<Case>& cases) {
    _summary = {{"station", _station.program},
                {"number", nullptr},
                {"planned", cases.size()},
                {"cases", size_t{0}},
                {"seconds", 0.0},
                {"interrupted", false},
                {"kinds", nullptr},
                {"findings", ordered_json::array()}};
    if (_station.number) _summary["number"] = *_station.number;
    for (const std::string& kind : kKinds) {
      _summary["kinds"][kind]["cases"] = size_t{0};
      for (const std::string& finding : kFindings) _summary["kinds"][kind][finding] = size_t{0};
    }
    const double estimate = _good.run.seconds * static_cast<double>(cases.size()) / _options.jobs;
    std::fprintf(stderr, "%s: %zu cases on %u processors, about %.0f s\n", _station.program.c_str(),
                 cases.size(), _options.jobs, estimate + 1);
    const Clock::time_point begin = Clock::now();
    std::atomic<size_t> next = 0;
    const auto tryUntilNone = [&] {
      try {
        for (size_t i = next++; i < cases.size() && secondsSince(begin) < _options.maxSeconds;
             i = next++) {
          tryCase(cases[i], _folder / ("case-" + std::to_string(i)));
        }
      } catch (...) {
        next = cases.size();
        throw;
      }
    };
    std::vector<std::future<void>> jobs(std::min<size_t>(_options.jobs, cases.size()));
    for (auto& job : jobs) job = std::async(std::launch::async, tryUntilNone);
    for (auto& job : jobs) job.get();
    if (isatty(STDERR_FILENO)) std::fputs("\r\x1b[K", stderr);
    _summary["seconds"] = secondsSince(begin);
    _summary["interrupted"] = gIsInterrupted.load();
    std::ranges::sort(
        _summary["findings"].get_ref<ordered_json::array_t&>(), {},
        [](const ordered_json& found) { return std::pair(found["kind"], found["case"]); });
  }

  void tryCase(const Case& what, const fs::path& folder) {
    constexpr double kMinLimit = 5;
    Run run;
    run.isReached = what.obstacle.empty();
    if (run.isReached) {
      run = runStation(_station, what, folder, std::max(kMinLimit, 5 * _good.run.seconds));
    }
    if (!gIsInterrupted) note(what, judge(_station, _good, what, run), folder);
    fs::remove_all(folder);
  }

  void note(const Case& what, const Judgement& judgement, const fs::path& folder) {
    const std::lock_guard lock(_lock);
    ordered_json& counts = _summary["kinds"][what.kind];
    for (ordered_json* count : {&_summary["cases"], &counts["cases"], &counts[judgement.finding]}) {
      increase(*count);
    }
    if (isatty(STDERR_FILENO)) {
      std::fprintf(stderr, "\r%s of %s", _summary["cases"].dump().c_str(),
                   _summary["planned"].dump().c_str());
    }
    if (judgement.reason.empty()) return;
    const bool isKept = !_options.keep.empty() && what.obstacle.empty();
    if (isKept) keep(what, folder);
    _summary["findings"].push_back({{"kind", what.kind},
                                    {"case", what.name},
                                    {"finding", judgement.finding},
                                    {"reason", judgement.reason},
                                    {"repeat", repeatOf(what)}});
  }

  fs::path keptFolder(const Case& what) const {
    std::string name = what.name;
    std::ranges::replace(name, '/', '_');
    return fs::path(_options.keep) / name;
  }

  /// Replaces what an earlier trial kept of the case.
  void keep(const Case& what, const fs::path& folder) const {
    const fs::path kept = keptFolder(what);
    fs::create_directories(kept);
    for (const auto& [from, name] : {std::pair(folder / "unit", "unit"),
                                     {folder / "results", "results"},
                                     {folder / "output", "output"},
                                     {what.unit, "before"}}) {
      fs::remove_all(kept / name);
      if (!fs::exists(from)) continue;
      fs::copy(from, kept / name, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    }
  }

  std::string repeatOf(const Case& what) const {
    std::string arguments;
    for (const std::string& argument : _station.arguments) arguments += " " + quoted(argument);
    const bool isRule = !what.faults.empty() && !what.meddling;
    if (isRule && !_options.keep.empty()) {
      return "CORVANE_DEVICE=" + quoted(keptFolder(what) / "before") +
             " CORVANE_FAULTS=" + quoted(what.faults) + " " + quoted(_station.program) + arguments;
    }
    std::string options = " --seed " + std::to_string(_options.seed);
    if (!_station.isOfKit) {
      options += " --status " + std::to_string(_station.statusOffset) + " --poison " +
                 std::to_string(_station.poisonOffset);
      if (_station.number) options += " --record " + std::to_string(*_station.number);
    }
    return "corvane trial " + quoted(_station.program) + options + " --case " + quoted(what.name) +
           (arguments.empty() ? "" : " --" + arguments);
  }

  const Options& _options;
  Station _station;
  const fs::path _folder;
  std::mt19937 _random;
  GoodRun _good;
  ordered_json _summary;
  std::mutex _lock;
};

}  // namespace

std::atomic<bool> gIsInterrupted = false;

ordered_json tryStation(const Options& options) {
  // Station processes whose own parents end become children of this process.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    std::signal(signal, [](int) { gIsInterrupted = true; });
  }
  std::string folder = fs::temp_directory_path() / "corvane-trial-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    throw CommandError(kFailed, "no folder can be made in " + fs::temp_directory_path().string());
  }
  const std::shared_ptr<void> remover(nullptr, [&](void*) {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  });
  return Trial(options, folder).run();
}

}  // namespace corvane::tools::trial
