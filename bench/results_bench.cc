#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "bench/pairs.h"

namespace corvane::bench {
namespace {

constexpr int kRuns = 10'000;
constexpr int kManyRuns = 1'000'000;

/// A file with the results of `runs` runs, ten lines each; the destructor removes it.
class ResultsFile {
 public:
  explicit ResultsFile(int runs) {
    std::ofstream file(_path);
    for (int run = 0; run < runs; ++run) writeRun(file, run);
  }
  ~ResultsFile() {
    std::error_code error;
    std::filesystem::remove(_path, error);
  }

  const std::string& path() const { return _path; }

 private:
  static void writeRun(std::ofstream& file, int run) {
    char head[256];
    std::snprintf(head, sizeof head,
                  R"("time":"2026-11-%02dT%02d:%02d:09.042+01:00","run":"%016x","station":"%s",)"
                  R"("unit":"SN%06d",)",
                  1 + run % 28, run % 24, run % 60, static_cast<unsigned>(run),
                  run % 2 == 0 ? "speaker" : "camera", run / 3);
    const auto add = [&](const char* type, const std::string& fields) {
      file << R"({"schema":1,"type":")" << type << "\"," << head << fields << "}\n";
    };
    const bool isPassed = run % 13 != 0;
    add("begin", R"("count":1,"number":7,"facts":{"model":"T33AP","build":"1A100","wifi":true},)"
                 R"("before":{"byte":255,"status":"not-tested","failCount":0})");
    for (const char* phase : {"tone", "noise"}) {
      const std::string name = std::string(R"("phase":")") + phase + "\",";
      add("phaseBegin", name + R"("x":0)");
      for (const char* measurement : {"loudness", "distortion"}) {
        add("measurement",
            name + R"("name":")" + measurement + R"(","value":)" + std::to_string(60 + run % 17) +
                R"(.25,"unitOfMeasure":"dB","lower":55.0,"upper":null,"inside":true)");
      }
      add("phase", name + R"("verdict":")" + (isPassed ? "passed" : "failed") +
                       R"(","seconds":1.25,"reason":null)");
    }
    add("end", std::string(R"("count":1,"verdict":")") + (isPassed ? "passed" : "failed") +
                   R"(","reason":null,"seconds":2.5)");
  }

  static inline int _count = 0;
  const std::string _path =
      (std::filesystem::temp_directory_path() /
       ("corvane-results-" + std::to_string(::getpid()) + "-" + std::to_string(_count++)))
          .string();
};

/// Runs the command over `runs` runs.
void runOver(benchmark::State& state, const std::string& command, int runs) {
  static std::map<int, ResultsFile> files;
  const ResultsFile& results = files.try_emplace(runs, runs).first->second;
  const std::string line = command + " '" + results.path() + "' >/dev/null";
  for (auto _ : state) {
    if (std::system(line.c_str()) != 0) return state.SkipWithError("the program failed");
  }
}

// Computes the yields of each station, with everything else that the command reports.
constexpr char kByTool[] = CORVANE_TOOL " results --json";
// Counts the runs and passed runs of each station, and nothing else.
constexpr char kByJq[] =
    "jq -nc 'reduce inputs as $line ({}; if $line.type == \"end\" then "
    ".[$line.station].runs += 1 | if $line.verdict == \"passed\" then "
    ".[$line.station].passed += 1 else . end else . end)'";

template <const char* command, int runs>
void yields(benchmark::State& state) {
  runOver(state, command, runs);
}

const bool gResultsPairsAdded =
    addPair({"results-to-jq", 0.2, yields<kByTool, kRuns>, yields<kByJq, kRuns>}) &&
    addPair({.name = "results-of-many-runs-to-jq",
             .bound = 0.2,
             .subject = yields<kByTool, kManyRuns>,
             .baseline = yields<kByJq, kManyRuns>,
             .repetitions = 3});

}  // namespace
}  // namespace corvane::bench
