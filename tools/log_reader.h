#ifndef CORVANE_TOOLS_LOG_READER_H_
#define CORVANE_TOOLS_LOG_READER_H_

#include <optional>
#include <string>

namespace corvane::tools {

/// Reads a log line by line, also one that is being written: a file that is removed, made anew or
/// cut to a shorter one is read on from its new beginning.
class LogReader {
 public:
  explicit LogReader(const std::string& file) : _file(file) {}
  ~LogReader();
  LogReader(const LogReader&) = delete;
  LogReader& operator=(const LogReader&) = delete;

  /// Goes on at the last `lines` whole lines of what the file holds now.
  void skipToLast(size_t lines);

  /// Returns the next line without its line feed; nothing when there is no further whole line now.
  /// Throws CommandError (not done) with the file's name and the reason when it cannot be read.
  std::optional<std::string> next();

  /// Whether there was a file at the last look.
  bool isOpen() const { return _descriptor >= 0; }

 private:
  bool readMore();
  /// Drops the beginning of `_text`.
  void forget(size_t length);
  bool open();
  void close();
  [[noreturn]] void fail(int error) const;

  std::string _file;
  int _descriptor = -1;
  off_t _position = 0;
  /// What was read. From `_begin` on it was not handed out yet, up to `_searched` it has no further
  /// line feed.
  std::string _text;
  size_t _begin = 0, _searched = 0;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_READER_H_
