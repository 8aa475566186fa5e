#include "tools/log_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "tools/command_error.h"

namespace corvane::tools {

LogReader::~LogReader() { close(); }

void LogReader::skipToLast(size_t lines) {
  if (_descriptor < 0 && !open()) return;
  _position = ::lseek(_descriptor, 0, SEEK_END);
  std::array<char, 65536> piece;
  for (size_t feeds = 0; feeds <= lines && _position > 0;) {
    const size_t length = std::min(piece.size(), static_cast<size_t>(_position));
    const off_t begin = _position - static_cast<off_t>(length);
    const ssize_t count = ::pread(_descriptor, piece.data(), length, begin);
    if (count < 0) fail(errno);
    _position = begin;
    for (auto at = static_cast<size_t>(count); at > 0 && feeds <= lines; --at) {
      feeds += piece[at - 1] == '\n';
      if (feeds > lines) _position = begin + static_cast<off_t>(at);
    }
  }
  ::lseek(_descriptor, _position, SEEK_SET);
}

std::optional<std::string> LogReader::next() {
  size_t end = 0;
  while ((end = _text.find('\n', _searched)) == std::string::npos) {
    _searched = _text.size();
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
  if (_descriptor < 0 && !open()) return false;
  forget(_begin);
  std::array<char, 65536> piece;
  const ssize_t count = ::read(_descriptor, piece.data(), piece.size());
  if (count < 0) fail(errno);
  if (count > 0) {
    _text.append(piece.data(), static_cast<size_t>(count));
    _position += count;
    return true;
  }

  struct stat opened {
  }, named{};
  if (::fstat(_descriptor, &opened) != 0) fail(errno);
  const bool isThere = ::stat(_file.c_str(), &named) == 0;
  if (isThere && named.st_ino == opened.st_ino && named.st_dev == opened.st_dev) {
    if (opened.st_size >= _position) return false;
    ::lseek(_descriptor, 0, SEEK_SET);
    _position = 0;
    forget(_text.size());
    return true;
  }
  close();
  return isThere;
}

bool LogReader::open() {
  const int descriptor = ::open(_file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) {
    if (errno == ENOENT) return false;
    fail(errno);
  }
  _descriptor = descriptor;
  struct stat file {};
  if (::fstat(_descriptor, &file) != 0) fail(errno);
  if (S_ISDIR(file.st_mode)) fail(EISDIR);
  if (!S_ISREG(file.st_mode)) throw CommandError(kFailed, _file + ": is not a regular file");
  return true;
}

void LogReader::close() {
  if (_descriptor >= 0) ::close(_descriptor);
  _descriptor = -1;
  _position = 0;
  forget(_text.size());
}

void LogReader::fail(int error) const {
  throw CommandError(kFailed, _file + ": " + std::strerror(error));
}

}  // namespace corvane::tools
