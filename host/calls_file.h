#ifndef CORVANE_HOST_CALLS_FILE_H_
#define CORVANE_HOST_CALLS_FILE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::host {

/// One line of a file for this process: how often it called each function, as JSON.
///
///     {"process":     4711,"calls":{"access":       0, ... "time":      12}}
///
/// The file is mapped into memory and each count is stored there at once, so that the file has the
/// counts after SIGKILL too. A child of `fork` adds a line of its own, which begins with its
/// parent's counts.
class CallsFile {
 public:
  /// Prepares a line that names each of the functions.
  CallsFile(std::string path, const std::vector<std::string_view>& functions);
  CallsFile(const CallsFile&) = delete;
  CallsFile& operator=(const CallsFile&) = delete;

  /// Appends the line to the file, which is made when it is missing. Returns false, with `errno`,
  /// when it cannot.
  bool appendLine();
  /// Shows `count` as the count of the function with this index; 99999999 when it is higher.
  void show(size_t function, const std::atomic<uint64_t>& count);

 private:
  const std::string _path;
  std::string _line;
  /// Where each count begins in the line.
  std::vector<size_t> _places;
  /// The line in the file; null while there is none.
  std::atomic<char*> _shown = nullptr;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_CALLS_FILE_H_
