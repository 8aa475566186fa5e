#ifndef CORVANE_TOOLS_LOG_LOG_READER_H_
#define CORVANE_TOOLS_LOG_LOG_READER_H_

#include <optional>
#include <string>

#include "tools/log/log_file.h"

namespace corvane::tools {

/// Reads a log line by line, also one that is being written: when the file is removed, created
/// again or truncated, reading goes on at its new beginning.
class LogReader {
 public:
  explicit LogReader(const std::string& file) : _file(file) {}

  /// Skips to the last `lines` whole lines of what the file holds now, or into a line of more than
  /// `kMaxRecord` bytes that is among them.
  void skipToLast(size_t lines);

  /// Returns the next line without its line feed; nothing when there is no further whole line now.
  /// What follows `kMaxRecord` bytes without a line feed counts as a line of its own. Throws
  /// CommandError (not done) with the file's name and the reason when it cannot be read.
  std::optional<std::string> next();

  /// Returns what was read after the last line feed: a line that is being written, or that was cut
  /// short.
  std::string rest() const { return _text.substr(_begin); }

  /// Returns whether the file existed when it was last read.
  bool isOpen() const { return _log.has_value(); }

 private:
  bool readMore();
  /// Drops the beginning of `_text`.
  void forget(size_t length);
  bool open();

  std::string _file;
  std::optional<LogFile> _log;
  /// What was read. `next` has not returned what begins at `_begin`; there is no line feed between
  /// that and `_searched`.
  std::string _text;
  size_t _begin = 0, _searched = 0;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_LOG_READER_H_
