#ifndef CORVANE_TOOLS_LOG_LOG_FILE_H_
#define CORVANE_TOOLS_LOG_LOG_FILE_H_

#include <sys/stat.h>

#include <functional>
#include <span>
#include <string>

#include "log/log.h"
#include "platform/file_descriptor.h"
#include "tools/command_error.h"

namespace corvane::tools {

/// A test log, open for reading. What a unit's folder holds in its place is not trusted: only a
/// regular file is read, no link is followed, and no open waits for another process. Throws
/// CommandError (not done) with the file's name and the reason when it cannot be read.
class LogFile {
 public:
  /// Opens the log at its beginning.
  explicit LogFile(const std::string& file);

  /// Returns false when there was no file.
  explicit operator bool() const { return static_cast<bool>(_descriptor); }

  struct stat facts() const;
  off_t position() const { return _position; }
  void seek(off_t position) { _position = position; }

  /// Reads on into `piece`, which has room for 4096 bytes or more. Returns how many bytes it got; 0
  /// at the end. A run of 4096 or more zero bytes, as a power cut can leave it, is left out and
  /// reported on standard error; one that takes no space on the disk costs no time.
  size_t read(std::span<char> piece);

  /// Reads `piece` whole from `position` on, zero bytes too. Returns how many bytes there were.
  size_t readAt(off_t position, std::span<char> piece) const;

 private:
  [[noreturn]] void fail(int error) const;

  std::string _file;
  FileDescriptor _descriptor;
  off_t _position = 0;
};

/// Runs `write` and checks that the log grew by as many whole lines as it returns: the library does
/// not report a line that it cannot write, and a disk may become full within one. Throws
/// CommandError when there are fewer, and before `write` when the log cannot be read.
ExitStatus writeToLog(const std::function<size_t()>& write);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_LOG_FILE_H_
