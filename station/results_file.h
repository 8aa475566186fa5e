#ifndef CORVANE_STATION_RESULTS_FILE_H_
#define CORVANE_STATION_RESULTS_FILE_H_

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>

namespace corvane::station {

/// Thrown when the results cannot be written; the text names the file and the reason.
class ResultsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Returns the time now as ISO 8601 in local time, with milliseconds and zone:
/// "2026-11-16T00:05:09.042+01:00".
std::string timeNow();

/// A run's results: JSON lines appended to a file, each with one write. docs/results.md describes
/// them.
class ResultsFile {
 public:
  /// Opens the file, which is created when it is missing. Waits for a reader when the file is a
  /// pipe. Nothing is written when the path is empty. Throws ResultsError.
  explicit ResultsFile(const std::filesystem::path& path);
  ~ResultsFile();
  ResultsFile(const ResultsFile&) = delete;
  ResultsFile& operator=(const ResultsFile&) = delete;

  /// Sets the station and the unit that every line names; an empty `unit` is null.
  void identify(const std::string& station, const std::string& unit);

  /// Appends a line: the schema, `type`, the time, the run, and `fields`. Throws ResultsError, also
  /// for a pipe that nobody reads any more.
  void append(const char* type, const nlohmann::ordered_json& fields);

  /// Syncs the lines to the disk. Throws ResultsError.
  void sync();

 private:
  [[noreturn]] void fail(int error) const;

  std::filesystem::path _path;
  /// Holds wherever a station changes its working folder to.
  std::string _absolutePath;
  int _file = -1;
  std::string _run;
  std::string _station;
  std::string _unit;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_RESULTS_FILE_H_
