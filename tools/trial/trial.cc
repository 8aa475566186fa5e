#include "tools/trial/trial.h"

#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <future>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <regex>

#include "controlbits/control_bit_byte.h"
#include "host/include/virtual_device.h"
#include "host/linux/system_calls.h"
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

class Trial {
 public:
  Trial(const Options& options, fs::path folder)
      : _options(options),
        _station(options.station),
        _folder(std::move(folder)),
        _random(options.seed) {
    _station.isOfKit = !options.toldStatusOffset;
    _station.statusOffset = options.toldStatusOffset.value_or(0);
  }

  ordered_json run() {
    if (_station.isOfKit) describe();
    _good.unit = makeGoodUnit(_station, _folder / "good");
    tryGoodUnit({"units", "good unit", _good.unit});
    return tryAll(chosen(casesOf(_station, _good, _folder, _random)));
  }

 private:
  void describe() {
    Station station{.program = _station.program, .arguments = {"--describe"}, .isOfKit = false};
    const fs::path unit = host::VirtualDevice(_folder / "unit").folder();
    const Run run = runOnce(station, {"units", "--describe", unit});
    const auto profile = nlohmann::json::parse(run.output, nullptr, false);
    if (run.waitStatus != 0 || !profile.contains("statusOffset")) {
      throw CommandError(kNotReady, _station.program +
                                        " does not describe itself (--describe); tell its places "
                                        "with --status, --poison and --record");
    }
    const auto key = [&](const char* name) {
      return profile[name].is_null() ? 0 : unit::keyOf(profile[name].get<std::string>());
    };
    _station.number = profile["number"].get<uint8_t>();
    _station.statusOffset = profile["statusOffset"];
    _station.poisonOffset = profile["poisonOffset"];
    _station.runCountKey = key("runCountKey");
    _station.unitKey = key("unitKey");
    const auto& models = profile["conditions"]["models"];
    if (!models.empty()) _station.model = models[0];
  }

  /// Runs the station on the good unit, and once more for each of its writes, to see what it has
  /// changed when that write begins.
  void tryGoodUnit(const Case& what) {
    constexpr char kWrite[] = "IORegistryEntrySetCFProperties";
    _good.run = runOnce(_station, what);
    if (_good.run.waitStatus != 0) {
      throw CommandError(kNotReady, _station.program + " does not pass on a good unit: " +
                                        printable(_good.run.output));
    }
    noteChanges(_good.run);
    const Judgement judgement = judge(_station, _good, what, _good.run);
    if (judgement.finding != "honest") {
      throw CommandError(kNotReady, _station.program + " on a good unit: " + judgement.reason);
    }
    // The first run of a program takes longer than the others.
    _good.run.seconds = std::min(_good.run.seconds, runOnce(_station, what).seconds);
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
    _good.places.merge(changedPlaces(placesOf(before), placesOf(after)));
    const uint32_t status = testStatusOf(after.diagnostics[_station.statusOffset]);
    _good.writesRecordFirst |=
        after.records().size() > before.records().size() && status != kCorvaneCotnrolBitsPassed;
  }

  /// Returns the cases that were asked for, in an order in which each kind has its share of however
  /// many are run.
  std::vector<Case> chosen(std::vector<Case> cases) {
    const std::string& name = _options.onlyCase;
    std::ranges::shuffle(cases, _random);
    std::erase_if(cases, [&, &kinds = _options.kinds](const Case& what) {
      const bool isOfKind = kinds.empty() || std::ranges::count(kinds, what.kind) > 0;
      return name.empty() ? !isOfKind : what.name != name;
    });
    if (cases.empty()) throw CommandError(kUsage, "there is no such case");
    std::map<std::string, size_t> counts;
    for (Case& what : cases) what.share = counts[what.kind]++;
    std::ranges::stable_sort(cases, {}, &Case::share);
    cases.resize(std::min(cases.size(), _options.maxCases));
    return cases;
  }

  /// Prints how long the trial will take, and begins the counts.
  void announce(size_t planned) {
    for (const std::string& kind : kKinds) {
      _kinds[kind]["cases"] = size_t{0};
      for (const std::string& finding : kFindings) _kinds[kind][finding] = size_t{0};
    }
    const double estimate = _good.run.seconds * static_cast<double>(planned) / _options.jobs;
    std::fprintf(stderr, "%s: %zu cases on %u processors, about %.0f s\n", _station.program.c_str(),
                 planned, _options.jobs, estimate + 1);
  }

  /// Runs the cases, as many at a time as there are jobs, and returns the summary.
  ordered_json tryAll(const std::vector<Case>& cases) {
    constexpr double kMinLimit = 5;
    announce(cases.size());
    const Clock::time_point begin = Clock::now();
    const double limit = std::max(kMinLimit, 5 * _good.run.seconds);
    const auto isOver = [&] {
      return gIsInterrupted || secondsSince(begin) >= _options.maxSeconds;
    };
    std::atomic<size_t> next = 0;
    const auto tryUntilNone = [&] {
      for (size_t i = next++; i < cases.size() && !isOver(); i = next++) {
        const fs::path folder = _folder / ("case-" + std::to_string(i));
        const Run run = runStation(_station, cases[i], folder, limit);
        if (!gIsInterrupted) note(cases[i], judge(_station, _good, cases[i], run), folder);
        fs::remove_all(folder);
      }
    };
    std::vector<std::future<void>> jobs(std::min<size_t>(_options.jobs, cases.size()));
    for (auto& job : jobs) job = std::async(std::launch::async, tryUntilNone);
    for (auto& job : jobs) job.get();
    if (isatty(STDERR_FILENO)) std::fputs("\r\x1b[K", stderr);
    std::sort(_findings.begin(), _findings.end());
    return {{"station", _station.program},
            {"number", _station.number ? ordered_json(*_station.number) : ordered_json()},
            {"planned", cases.size()},
            {"cases", _count},
            {"seconds", secondsSince(begin)},
            {"interrupted", gIsInterrupted.load()},
            {"kinds", _kinds},
            {"findings", _findings}};
  }

  void note(const Case& what, const Judgement& judgement, const fs::path& folder) {
    const std::lock_guard lock(_lock);
    ++_count;
    ++_kinds[what.kind]["cases"].get_ref<uint64_t&>();
    ++_kinds[what.kind][judgement.finding].get_ref<uint64_t&>();
    if (isatty(STDERR_FILENO)) std::fprintf(stderr, "\r%zu", _count);
    if (judgement.reason.empty()) return;
    if (!_options.keep.empty()) keep(what, folder);
    _findings.push_back({{"kind", what.kind},
                         {"case", what.name},
                         {"finding", judgement.finding},
                         {"reason", judgement.reason},
                         {"repeat", repeatOf(what)}});
  }

  /// Replaces what an earlier trial kept of the case.
  void keep(const Case& what, const fs::path& folder) const {
    constexpr auto kWhole = fs::copy_options::recursive | fs::copy_options::copy_symlinks;
    fs::copy(what.unit, folder / "before", kWhole);
    const fs::path kept = fs::path(_options.keep) / what.name;
    fs::create_directories(kept);
    for (const char* name : {"before", "unit", "results", "output"}) {
      fs::remove_all(kept / name);
      if (fs::exists(folder / name)) fs::copy(folder / name, kept / name, kWhole);
    }
  }

  std::string repeatOf(const Case& what) const {
    std::string arguments;
    for (const std::string& argument : _station.arguments) arguments += " " + quoted(argument);
    const std::string program = quoted(_station.program);
    if (!what.faults.empty() && !what.meddling && !_options.keep.empty()) {
      return "CORVANE_DEVICE=" + quoted(fs::path(_options.keep) / what.name / "before") +
             " CORVANE_FAULTS=" + quoted(what.faults) + " " + program + arguments;
    }
    std::string places;
    if (!_station.isOfKit) {
      places = " --status " + std::to_string(_station.statusOffset) + " --poison " +
               std::to_string(_station.poisonOffset);
      if (_station.number) places += " --record " + std::to_string(*_station.number);
    }
    return "corvane trial " + program + places + " --seed " + std::to_string(_options.seed) +
           " --case " + quoted(what.name) + (arguments.empty() ? "" : " --" + arguments);
  }

  const Options& _options;
  Station _station;
  const fs::path _folder;
  std::mt19937 _random;
  GoodRun _good;
  std::mutex _lock;
  size_t _count = 0;
  ordered_json _kinds, _findings = ordered_json::array();
};

/// Ends the processes that have left their station's session, which this process has adopted.
void endChildren() {
  siginfo_t child;
  for (bool isGone = false; !isGone;) {
    isGone = true;
    for (const pid_t process : host::processIds()) {
      if (waitid(P_PID, id_t(process), &child, WEXITED | WNOHANG | WNOWAIT) != 0) continue;
      if (kill(process, SIGKILL) == 0) isGone &= waitpid(process, nullptr, 0) < 0;
    }
  }
}

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
    endChildren();
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  });
  return Trial(options, folder).run();
}

}  // namespace corvane::tools::trial
