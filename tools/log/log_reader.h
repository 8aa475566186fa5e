#ifndef CORVANE_TOOLS_LOG_LOG_READER_H_
#define CORVANE_TOOLS_LOG_LOG_READER_H_

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "log/log.h"
#include "platform/file_descriptor.h"
#include "tools/command_error.h"

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
  explicit LogReader(const std::string& file) : _file(file) { open(); }

  /// Returns whether there was a file.
  bool isOpen() const { return static_cast<bool>(_descriptor); }

  void skipToEnd();
  /// Skips to the last `lines` lines of what the file holds now, or to somewhere before them.
  /// Leaves out those before a line of more than `kMaxRecord` bytes.
  void skipToLast(size_t lines);

  /// Reads on after what is kept in `text`. Returns false at the end.
  bool readMore();
  /// Returns what was read and not taken yet.
  std::string_view text() const { return std::string_view(_text).substr(_begin); }
  /// Drops the beginning of `text`.
  void take(size_t size) { _begin += size; }

  /// Takes the next line, without its line feed; nothing when there is no other whole line yet.
  /// What follows `kMaxRecord` bytes without a line feed counts as a line of its own.
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
  FileDescriptor _descriptor;
  off_t _position = 0;
  std::string _text;
  size_t _begin = 0;
  /// Zero bytes that are not reported yet.
  off_t _zeros = 0;
};

/// Runs `write` and checks that the log grew by as many whole lines as it returns: the library does
/// not report a line that it cannot write, and a disk may become full within one. Throws
/// CommandError when there are fewer, and before `write` when the log cannot be read.
ExitStatus writeToLog(const std::function<size_t()>& write);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_LOG_READER_H_
