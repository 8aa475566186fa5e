#include "tools/log/log_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "tools/log/log_record.h"

namespace corvane::tools {

void LogReader::skipToLast(size_t lines) {
  if (!_log && !open()) return;
  off_t position = _log->facts().st_size, lineBegin = position;
  std::array<char, 65536> piece;
  for (size_t feeds = 0;
       feeds <= lines && position > 0 && lineBegin - position < static_cast<off_t>(kMaxRecord);) {
    const off_t begin = std::max<off_t>(0, position - std::ssize(piece));
    const size_t count = _log->readAt(begin, {piece.data(), static_cast<size_t>(position - begin)});
    position = begin;
    std::string_view text(piece.data(), count);
    for (size_t feed = 0; feeds <= lines && (feed = text.rfind('\n')) != text.npos;
         text = text.substr(0, feed)) {
      lineBegin = begin + static_cast<off_t>(feed) + 1;
      if (++feeds > lines) position = lineBegin;
    }
  }
  _log->seek(position);
}

std::optional<std::string> LogReader::next() {
  size_t end = 0;
  while ((end = _text.find('\n', _searched)) == std::string::npos) {
    _searched = _text.size();
    if (_searched - _begin >= kMaxRecord) {
      std::string cut = _text.substr(_begin);
      _begin = _searched;
      return cut;
    }
    if (!readMore()) return {};
  }
  std::string line = _text.substr(_begin, end - _begin);
  _begin = _searched = end + 1;
  return line;
}

void LogReader::forget(size_t length) {
  _text.erase(0, length);
  _searched = length > _searched ? 0 : _searched - length;
  _begin = 0;
}

/// Returns whether there is something new to look at.
bool LogReader::readMore() {
  if (!_log && !open()) return false;
  forget(_begin);
  std::array<char, 65536> piece;
  if (const size_t count = _log->read(piece)) {
    _text.append(piece.data(), count);
    return true;
  }

  const struct stat opened = _log->facts();
  struct stat named {};
  const bool isThere = ::lstat(_file.c_str(), &named) == 0;
  if (isThere && named.st_ino == opened.st_ino && named.st_dev == opened.st_dev) {
    if (opened.st_size >= _log->position()) return false;
    _log->seek(0);
    forget(_text.size());
    return true;
  }
  _log.reset();
  forget(_text.size());
  return isThere;
}

bool LogReader::open() {
  _log.emplace(_file);
  if (!*_log) _log.reset();
  return isOpen();
}

}  // namespace corvane::tools
