#include "tools/results/line_source.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/command_error.h"
#include "tools/files.h"

namespace corvane::tools {

LineSource::LineSource(const std::string& path)
    : _path(path), _file(openFile(path)), _buffer(4 * kMaxLine + kPadding) {}

/// Moves the remaining bytes to the front and reads more after them. Returns false at the end.
bool LineSource::fill() {
  std::memmove(_buffer.data(), _buffer.data() + _begin, _end - _begin);
  _end -= _begin;
  _begin = 0;
  const size_t room = _buffer.size() - kPadding - _end;
  const size_t count = std::fread(_buffer.data() + _end, 1, room, _file.get());
  if (std::ferror(_file.get())) throw CommandError(kUsage, _path + ": " + std::strerror(errno));
  _end += count;
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
