#include "tools/results/line_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/command_error.h"

namespace corvane::tools {

LineSource::LineSource(const std::string& path) : _path(path), _buffer(4 * kMaxLine + kPadding) {
  _file = path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                      : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (_file < 0) throw CommandError(kUsage, path + ": " + std::strerror(errno));
}

LineSource::~LineSource() { ::close(_file); }

/// Moves the remaining bytes to the front and reads more after them. Returns false at the end.
bool LineSource::fill() {
  if (_isAtEnd) return false;
  std::memmove(_buffer.data(), _buffer.data() + _begin, _end - _begin);
  _end -= _begin;
  _begin = 0;
  ssize_t count = 0;
  do {
    count = ::read(_file, _buffer.data() + _end, _buffer.size() - kPadding - _end);
  } while (count < 0 && errno == EINTR);
  if (count < 0) throw CommandError(kUsage, _path + ": " + std::strerror(errno));
  _end += static_cast<size_t>(count);
  _isAtEnd = count == 0;
  return count > 0;
}

void LineSource::skipByteOrderMark(Line& line) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (line.number == 1 && line.text.starts_with(kMark)) line.text.remove_prefix(kMark.size());
}

bool LineSource::next(Line& line) {
  size_t searched = 0;
  line.isCut = false;
  for (;;) {
    const char* const begin = _buffer.data() + _begin;
    const void* const feed = std::memchr(begin + searched, '\n', _end - _begin - searched);
    if (feed) {
      const auto length = static_cast<size_t>(static_cast<const char*>(feed) - begin);
      line = {{begin, length}, ++_number, line.isCut || length > kMaxLine, true};
      _begin += length + 1;
      skipByteOrderMark(line);
      return true;
    }
    searched = _end - _begin;
    if (searched > kMaxLine) {  // Left out, so that the buffer never needs to grow.
      line.isCut = true;
      _begin = _end;
      searched = 0;
    }
    if (fill()) continue;
    if (_begin == _end && !line.isCut) return false;
    line = {{_buffer.data() + _begin, _end - _begin}, ++_number, line.isCut, false};
    _begin = _end;
    skipByteOrderMark(line);
    return true;
  }
}

}  // namespace corvane::tools
