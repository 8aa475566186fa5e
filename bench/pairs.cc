#include "bench/pairs.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <vector>

namespace corvane::bench {
namespace {

constexpr char kSubject[] = "/subject";
constexpr char kBaseline[] = "/baseline";
constexpr char kExcluded[] = "/excluded";
constexpr char kBareSubject[] = "/bare-subject";
constexpr char kBareBaseline[] = "/bare-baseline";

std::vector<Pair>& pairs() {
  static std::vector<Pair> all;
  return all;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

/// Returns why the run failed; nothing when it did not. From version 1.8 of the benchmark library
/// on, a run that failed is one that was skipped.
std::optional<std::string> failureOf(const auto& run) {
  if constexpr (requires { run.error_occurred; }) {
    return run.error_occurred ? std::optional(run.error_message) : std::nullopt;
  } else {
    return run.skipped != 0 ? std::optional(run.skip_message) : std::nullopt;
  }
}

/// Keeps the microseconds per operation of each repetition instead of printing them.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (const auto failure = failureOf(run)) {
        std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(), failure->c_str());
        _hasFailed = true;
      } else if (run.run_type == Run::RT_Iteration) {
        _times[run.run_name.function_name].push_back(run.real_accumulated_time /
                                                     static_cast<double>(run.iterations) * 1e6);
      }
    }
  }

  bool hasFailed() const { return _hasFailed; }

  /// Returns the median of what was kept for `side`; no value when it was not measured.
  std::optional<double> medianOf(const std::string& side) const {
    const auto found = _times.find(side);
    if (found == _times.end()) return {};
    return median(found->second);
  }

 private:
  std::map<std::string, std::vector<double>> _times;
  bool _hasFailed = false;
};

struct Result {
  std::string name;
  double bound;
  double subject;
  double baseline;
  double excluded;
  double bareRatio;

  double ratio() const { return (subject - excluded) / baseline / bareRatio; }
  bool isOver() const { return !(ratio() <= bound); }
};

/// Returns the results of the pairs of which all sides were measured.
std::vector<Result> resultsOf(const Collector& measured) {
  std::vector<Result> results;
  for (const Pair& pair : pairs()) {
    const auto subject = measured.medianOf(pair.name + kSubject);
    const auto baseline = measured.medianOf(pair.name + kBaseline);
    const auto excluded = pair.excluded ? measured.medianOf(pair.name + kExcluded) : 0.0;
    const auto bareSubject = pair.bareSubject ? measured.medianOf(pair.name + kBareSubject) : 1.0;
    const auto bareBaseline =
        pair.bareBaseline ? measured.medianOf(pair.name + kBareBaseline) : 1.0;
    if (!subject || !baseline || !excluded || !bareSubject || !bareBaseline) continue;
    results.push_back(
        {pair.name, pair.bound, *subject, *baseline, *excluded, *bareSubject / *bareBaseline});
  }
  return results;
}

void print(const std::vector<Result>& results) {
  std::printf("%-28s %12s %12s %12s %7s %7s %7s\n", "pair (medians in us)", "subject", "excluded",
              "baseline", "bare", "ratio", "bound");
  for (const Result& result : results) {
    std::printf("%-28s %12.3f %12.3f %12.3f %7.2f %7.2f %7.2f  %s\n", result.name.c_str(),
                result.subject, result.excluded, result.baseline, result.bareRatio, result.ratio(),
                result.bound, result.isOver() ? "OVER" : "ok");
  }
}

/// Returns the arguments with our own settings before them, so that the caller's override ours.
std::vector<char*> withDefaults(int argc, char** argv) {
  static char repetitions[] = "--benchmark_repetitions=41";
  static char minimumSeconds[] = "--benchmark_min_time=0.05";
  static char order[] = "--benchmark_enable_random_interleaving=true";
  std::vector<char*> arguments = {argv[0], repetitions, minimumSeconds, order};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  return arguments;
}

void registerSide(const Pair& pair, const char* name, Side side) {
  if (!side) return;
  // Wall-clock time: what the operations wait for is part of their cost.
  auto* const registered =
      benchmark::RegisterBenchmark((pair.name + name).c_str(), side)->UseRealTime();
  if (pair.repetitions > 0) registered->Repetitions(pair.repetitions);
}

}  // namespace

bool addPair(const Pair& pair) {
  pairs().push_back(pair);
  return true;
}

int runPairs(int argc, char** argv) {
  std::vector<char*> arguments = withDefaults(argc, argv);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  for (const Pair& pair : pairs()) {
    registerSide(pair, kSubject, pair.subject);
    registerSide(pair, kBaseline, pair.baseline);
    registerSide(pair, kExcluded, pair.excluded);
    registerSide(pair, kBareSubject, pair.bareSubject);
    registerSide(pair, kBareBaseline, pair.bareBaseline);
  }
  Collector measured;
  benchmark::RunSpecifiedBenchmarks(&measured);
  benchmark::Shutdown();

  const std::vector<Result> results = resultsOf(measured);
  if (!results.empty()) print(results);
  if (measured.hasFailed()) return 1;
  if (results.empty()) {
    std::fprintf(stderr, "no pair was measured as a whole\n");
    return 2;
  }
  return std::any_of(results.begin(), results.end(), [](const Result& r) { return r.isOver(); });
}

}  // namespace corvane::bench
