#ifndef CORVANE_TOOLS_LOG_TEST_LOG_H_
#define CORVANE_TOOLS_LOG_TEST_LOG_H_

#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "platform/file_descriptor.h"

/// The test log as the tool reads it. The log does not mark where a record ends: after a line feed
/// in a message, the next line does not begin a record, and neither does a line written without a
/// time. Such a line continues the record before it.
namespace corvane::tools {

/// How much of a line or record is kept until its end is found. What follows counts as another one.
inline constexpr size_t kMaxRecord = size_t{16} << 20;

/// Reads a test log, also one that is being written. What a unit's folder holds in its place is not
/// trusted: only a regular file is read, no link is followed, and no open waits for another
/// process. Zero bytes, which a power cut can leave in great numbers, are left out and reported on
/// standard error. Throws CommandError (not done) with the file's name and the reason when it
/// cannot be read.
class LogReader {
 public:
  /// A missing file is an error unless it `mayCome` later.
  LogReader(const std::string& file, bool mayCome) : _file(file), _mayCome(mayCome) { open(); }

  /// Skips to the last `lines` lines of what the file holds now. Leaves out those before a line of
  /// more than `kMaxRecord` bytes.
  void skipToLast(size_t lines);

  /// Reads on after what is kept in `text`. Returns false at the end.
  bool readMore();
  /// Returns what was read and not taken yet.
  std::string_view text() const { return std::string_view(_text).substr(_begin); }
  /// Drops the beginning of `text`.
  void take(size_t size) { _begin += size; }
  /// Takes the next line, without its line feed; nothing when there is no other whole line yet.
  std::optional<std::string> nextLine();

  /// Goes on at the file's new beginning when it was removed, created again or truncated.
  void followOn();

 private:
  void open();
  struct stat facts() const;
  size_t readAt(off_t position, std::string& piece) const;
  void skipHole();
  [[noreturn]] void fail(const std::string& reason) const;

  std::string _file;
  bool _mayCome;
  FileDescriptor _descriptor;
  off_t _position = 0;
  std::string _text;
  size_t _begin = 0;
  /// Zero bytes that are not reported yet.
  off_t _zeros = 0;
};

/// Runs `write` and checks that the log grew by `lines` whole lines: the library does not report a
/// line that it cannot write, and a disk may become full within one. Throws CommandError when it
/// did not, and before `write` when the log cannot be read.
void writeToLog(size_t lines, const std::function<void()>& write);

/// Returns a record, or one of its lines, as text that is safe for a terminal, with "| " in front
/// of a line that does not begin a record, or as a line of JSON.
std::string shownRecord(std::string_view record, bool json);

/// Which records to show; each condition that is set must hold.
struct LogFilter {
  std::optional<std::string> test = {};
  /// Local times as `parseTime` takes them, from the first second of one to the last of the other.
  /// A record without a time is in neither.
  std::optional<std::string> since = {}, until = {};
  std::string grep = {};
  bool stationMessages = false;
};

/// Copies the records that pass the filter to `out`, in memory that does not depend on the log's
/// size. Returns whether a record passed. Throws CommandError when the log cannot be read.
bool showLog(const std::string& file, LogFilter filter, bool json, std::ostream& out);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_TEST_LOG_H_
