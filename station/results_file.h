#ifndef CORVANE_STATION_RESULTS_FILE_H_
#define CORVANE_STATION_RESULTS_FILE_H_

#include <sys/types.h>

#include <filesystem>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <utility>

namespace corvane::station {

/// Thrown when the results cannot be written; the text names the file and the reason.
class ResultsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A run's results: JSON lines appended to a file, each with one write. docs/results.md describes
/// them. The functions may be called from any thread.
class ResultsFile {
 public:
  /// Opens the file, which is created when it is missing, for the run `runId`. Waits for a reader
  /// when the file is a pipe. Nothing is written when the path is empty. Throws ResultsError.
  ResultsFile(const std::filesystem::path& path, uint64_t runId);
  ~ResultsFile();
  ResultsFile(const ResultsFile&) = delete;
  ResultsFile& operator=(const ResultsFile&) = delete;

  /// Sets the station and the unit that every line names; an empty `unit` is null.
  void identify(const std::string& station, const std::string& unit);

  /// Appends a line: the schema, `type`, the time, the run, and `fields`. Does nothing after a
  /// failure, and after `end`.
  void append(const char* type, const nlohmann::ordered_json& fields) noexcept;
  /// Appends the last line and syncs all of them to the disk.
  void end(const nlohmann::ordered_json& fields) noexcept;

  /// Returns why the results cannot be written; empty when they can. It names the file.
  std::string error() const;

 private:
  using FileId = std::pair<dev_t, ino_t>;

  void write(const char* type, const nlohmann::ordered_json& fields);
  void reopenUnlessOurs();
  bool endsInsideOurLine() const;
  [[noreturn]] void fail(int error) const;

  mutable std::mutex _lock;
  std::filesystem::path _path;
  /// Holds wherever a station changes its working folder to.
  std::string _absolutePath;
  int _file = -1;
  FileId _id = {};
  std::string _run;
  std::string _station;
  std::string _unit;
  std::string _error;
  bool _isEnded = false;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_RESULTS_FILE_H_
