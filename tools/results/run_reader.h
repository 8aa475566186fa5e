#ifndef CORVANE_TOOLS_RESULTS_RUN_READER_H_
#define CORVANE_TOOLS_RESULTS_RUN_READER_H_

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "tools/results/line_source.h"
#include "tools/results/run.h"

namespace corvane::tools {

/// Assembles runs from the lines of results. Holds what it knows of runs that did not end yet, and
/// nothing of the others.
class RunReader {
 public:
  /// Called with each run, once it has ended or its file has.
  using TakeRun = std::function<void(const Run&)>;
  /// Called for each line that is damaged.
  using TakeDamage =
      std::function<void(const std::string& file, uint64_t line, const std::string& reason)>;

  RunReader(Names& names, TakeRun takeRun, TakeDamage takeDamage);
  ~RunReader();
  RunReader(const RunReader&) = delete;
  RunReader& operator=(const RunReader&) = delete;

  /// Reads a file, or standard input for "-". Throws CommandError when it cannot be read.
  void read(const std::string& path);

 private:
  class Parser;
  using OpenRuns = std::list<Run>;

  /// Returns the run that the line belongs to, a new one when it is not open. Returns null when a
  /// new run needs the line's time and that is wrong. Parsing the times of all lines would take too
  /// long.
  Run* runOf(const Parser& line);
  void end(OpenRuns::iterator run);
  /// Returns what is wrong with the line, or an empty text.
  std::string takeLine(const Parser& line);

  Names& _names;
  const TakeRun _takeRun;
  const TakeDamage _takeDamage;
  std::unique_ptr<Parser> _parser;
  /// In the order in which they began, the newest last.
  OpenRuns _open;
  std::unordered_map<std::string_view, OpenRuns::iterator> _openById;
  /// Ended runs, whose memory the next ones take.
  OpenRuns _spare;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_RUN_READER_H_
