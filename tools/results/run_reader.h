#ifndef CORVANE_TOOLS_RESULTS_RUN_READER_H_
#define CORVANE_TOOLS_RESULTS_RUN_READER_H_

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/results/line_source.h"
#include "tools/results/run.h"

namespace corvane::tools {

/// The runs that have ended, with their verdicts, in 8 bytes a run and the room to grow. A run is
/// known by 61 bits of its id, or of a hash of it.
class EndedRuns {
 public:
  /// Adds a run that is not among them.
  void add(std::string_view id, Verdict verdict);
  /// Returns the run's verdict; nothing when it has not ended.
  std::optional<Verdict> verdictOf(std::string_view id) const;

 private:
  size_t placeOf(uint64_t key) const;

  /// Key and verdict + 1 in the lowest three bits; 0 is a free slot.
  std::vector<uint64_t> _slots = std::vector<uint64_t>(1024);
  size_t _count = 0;
};

/// Assembles runs from the lines of results. A run is known by its id: its lines may lie in several
/// files, and lines that were read before count once. Of a run that has ended only its verdict is
/// kept.
class RunReader {
 public:
  /// Called with each run, when all that is known of it has been read.
  using TakeRun = std::function<void(const Run&)>;
  /// Called for each line that is damaged.
  using TakeDamage =
      std::function<void(const std::string& file, uint64_t line, const std::string& reason)>;

  RunReader(Names& names, TakeRun takeRun, TakeDamage takeDamage);
  ~RunReader();
  RunReader(const RunReader&) = delete;
  RunReader& operator=(const RunReader&) = delete;

  /// Reads a file, or standard input for "-". Throws CommandError when it cannot be read; what was
  /// read of it before counts.
  void read(const std::string& path);
  /// Takes the runs that have no end. Call it after the last file.
  void finish();

  /// Returns the number of lines that were left out because they had been read before, or came
  /// after the end of their run.
  uint64_t repeatedLines() const { return _repeatedLines; }

 private:
  struct LineFields;
  class Parser;
  struct OpenRun : Run {
    bool hasBegin = false, hasEnd = false;
    uint64_t file = 0;  ///< The number of the file that its last line is from.
    /// Hashes of its lines; the first `earlier` of them, sorted, are from earlier files.
    std::vector<uint64_t> lines;
    size_t earlier = 0;
  };
  using OpenRuns = std::list<OpenRun>;

  /// Returns the open run, or null.
  OpenRun* find(std::string_view id);
  OpenRun* openRun(const Parser& line, int64_t time);
  /// Goes on with a run that began in another file, or in a later line.
  OpenRun* continueRun(OpenRun& run, const Parser& line, int64_t time);
  void take(OpenRuns::iterator run);
  /// Returns whether the line was read before.
  static bool isRepeated(OpenRun& run, const Parser& line);
  /// Returns what is wrong with the line, or an empty text.
  std::string takeLine(const Parser& line);
  void takeBegin(OpenRun& run, const Parser& line);
  void takePhase(OpenRun& run, const Parser& line, bool isBegin);
  void takeMeasurement(OpenRun& run, const Parser& line);
  std::string takeEnd(OpenRun& run, const Parser& line);

  Names& _names;
  const TakeRun _takeRun;
  const TakeDamage _takeDamage;
  std::unique_ptr<Parser> _parser;
  /// In the order in which they began, the newest last.
  OpenRuns _open;
  std::unordered_map<std::string_view, OpenRuns::iterator> _openById;
  /// Runs that were taken, whose memory the next ones use.
  OpenRuns _spare;
  EndedRuns _ended;
  uint64_t _file = 0;
  uint64_t _repeatedLines = 0;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_RUN_READER_H_
