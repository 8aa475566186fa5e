#include "tools/log_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "tools/command_error.h"

namespace corvane::tools {

LogReader::~LogReader() { close(); }

std::optional<std::string> LogReader::next() {
  size_t end = 0;
  while ((end = _text.find('\n')) == std::string::npos) {
    if (!readMore()) return {};
  }
  std::string line = _text.substr(0, end);
  _text.erase(0, end + 1);
  return line;
}

/// Returns whether there is something new to look at.
bool LogReader::readMore() {
  if (_descriptor < 0 && !open()) return false;
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
    _text.clear();
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
  _text.clear();
}

void LogReader::fail(int error) const {
  throw CommandError(kFailed, _file + ": " + std::strerror(error));
}

}  // namespace corvane::tools
