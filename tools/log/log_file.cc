#include "tools/log/log_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <string_view>
#include <utility>

#include "platform/device_path.h"
#include "platform/printable.h"

namespace corvane::tools {
namespace {

/// Fewer zero bytes in a row are shown.
constexpr size_t kMinGap = 4096;

/// Returns begin and end of the first run of zeros that is a gap, that goes on with one if
/// `isInGap`, or that what follows can make one. Both are the end of the text when there is none.
std::pair<size_t, size_t> firstGap(std::string_view text, bool isInGap) {
  for (size_t end = 0;;) {
    const size_t begin = std::min(text.find('\0', end), text.size());
    end = std::min(text.find_first_not_of('\0', begin), text.size());
    const bool goesOn = begin == 0 ? isInGap : end == text.size();
    if (begin == text.size() || goesOn || end - begin >= kMinGap) return {begin, end};
  }
}

/// Returns how many whole lines the file has after its first `start` bytes; 0 when the last is cut
/// short.
size_t linesFrom(const std::string& file, off_t start) {
  LogFile log(file);
  if (!log) return 0;
  log.seek(start);
  size_t lines = 0;
  char last = 0;
  std::array<char, 4096> piece;
  while (const size_t count = log.read(piece)) {
    lines += static_cast<size_t>(std::count(piece.data(), piece.data() + count, '\n'));
    last = piece[count - 1];
  }
  return last == '\n' ? lines : 0;
}

}  // namespace

LogFile::LogFile(const std::string& file)
    : _file(file),
      _descriptor(::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)) {
  if (!_descriptor) {
    if (errno == ENOENT) return;
    if (errno == ELOOP) throw CommandError(kFailed, file + ": is a symbolic link");
    fail(errno);
  }
  const mode_t mode = facts().st_mode;
  if (S_ISDIR(mode)) fail(EISDIR);
  if (!S_ISREG(mode)) throw CommandError(kFailed, file + ": is not a regular file");
}

struct stat LogFile::facts() const {
  struct stat facts {};
  if (::fstat(_descriptor.get(), &facts) != 0) fail(errno);
  return facts;
}

size_t LogFile::read(std::span<char> piece) {
  const off_t begin = _position;
  off_t gap = 0;
  for (;;) {
    const size_t count = readAt(_position, piece);
    const auto [gapBegin, gapEnd] = firstGap({piece.data(), count}, gap > 0);
    if (gapBegin > 0 || count == 0) {
      if (gap > 0) {
        std::cerr << "corvane: " << printable(_file) << ": left out " << gap
                  << " bytes that are all zero, from byte " << begin << " on\n";
      }
      _position += static_cast<off_t>(gapBegin);
      return gapBegin;
    }
    off_t next = _position + static_cast<off_t>(gapEnd);
    if (gapEnd == count) {
      // The size first: what is written after the look for data is read, not passed over.
      const off_t size = facts().st_size;
      const off_t data = ::lseek(_descriptor.get(), next, SEEK_DATA);
      next = std::max(next, data < 0 && errno == ENXIO ? size : data);
    }
    gap += next - _position;
    _position = next;
  }
}

size_t LogFile::readAt(off_t position, std::span<char> piece) const {
  for (;;) {
    const ssize_t count = ::pread(_descriptor.get(), piece.data(), piece.size(), position);
    if (count >= 0) return static_cast<size_t>(count);
    if (errno != EINTR) fail(errno);
  }
}

void LogFile::fail(int error) const {
  throw CommandError(kFailed, _file + ": " + std::strerror(error));
}

ExitStatus writeToLog(const std::function<size_t()>& write) {
  const std::string file = devicePath(kLogFile);
  if (file.empty()) throw CommandError(kNotReady, "the unit is not ready");
  const LogFile log(file);
  const off_t before = log ? log.facts().st_size : 0;
  const size_t lines = write();
  if (linesFrom(file, before) >= lines) return kDone;
  throw CommandError(kFailed, (lines == 1 ? "the line" : "the lines") +
                                  std::string(" could not be written to ") + file);
}

}  // namespace corvane::tools
