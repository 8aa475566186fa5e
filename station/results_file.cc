#include "station/results_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <system_error>

#include "platform/files.h"
#include "platform/number.h"
#include "platform/time_text.h"
#include "station/results_line.h"

namespace corvane::station {
namespace {

using nlohmann::ordered_json;

std::string runIdText(uint64_t id) { return hexNumber(id, 16).substr(2); }

/// Returns the time now as ISO 8601 in local time, with milliseconds and zone.
std::string timeNow() {
  using std::chrono::milliseconds;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return isoMillisecondsText(std::chrono::duration_cast<milliseconds>(now).count()).value_or("");
}

/// Returns the text, cut after the last whole character within `maxSize` bytes, with its length
/// told.
std::string cutText(const std::string& text, size_t maxSize) {
  if (text.size() <= maxSize) return text;
  size_t end = maxSize;
  while (end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end) + "... (" + std::to_string(text.size()) + " bytes)";
}

/// Returns the line with its texts cut, also those in the objects that it holds.
ordered_json withCutTexts(ordered_json value, size_t maxSize) {
  if (value.is_string()) return cutText(value.get_ref<const std::string&>(), maxSize);
  for (ordered_json& part : value) {
    if (part.is_structured() || part.is_string()) part = withCutTexts(std::move(part), maxSize);
  }
  return value;
}

/// Returns the line's bytes, kMaxResultsLine at most: where its escapes, which can make a text six
/// times as long, exceed that, all its texts are cut further.
std::string textOfLine(const ordered_json& line) {
  for (size_t maxText = kMaxResultsText;; maxText /= 2) {
    std::string bytes =
        withCutTexts(line, maxText).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    if (bytes.size() < kMaxResultsLine) return bytes + "\n";
  }
}

/// Makes a write of this thread into a pipe without a reader fail with EPIPE, instead of ending
/// the process, while it exists. Other threads and the process handle SIGPIPE as before.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() : _wasPending(isPending()) {
    sigemptyset(&_signals);
    sigaddset(&_signals, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &_signals, &_before);
  }
  ~BrokenPipeGuard() {
    int signal = 0;
    if (!_wasPending && isPending()) ::sigwait(&_signals, &signal);
    ::pthread_sigmask(SIG_SETMASK, &_before, nullptr);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  static bool isPending() {
    sigset_t pending = {};
    return ::sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t _signals = {};
  sigset_t _before = {};
  bool _wasPending;
};

}  // namespace

ResultsFile::ResultsFile(const std::filesystem::path& path, uint64_t runId)
    : _path(path), _run(runIdText(runId)) {
  if (path.empty()) return;
  std::error_code ignored;
  _absolutePath = std::filesystem::absolute(path, ignored).string();
  // For writing only: a pipe breaks only when no end of it is open for reading.
  _file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  // O_CREAT is refused for another user's file or pipe in a folder such as /tmp.
  if (_file < 0) _file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  struct stat status = {};
  if (_file < 0 || ::fstat(_file, &status) != 0) fail(errno);
  _id = {status.st_dev, status.st_ino};
}

ResultsFile::~ResultsFile() {
  if (_file >= 0) ::close(_file);
}

void ResultsFile::identify(const std::string& station, const std::string& unit) {
  const std::lock_guard lock(_lock);
  _station = station;
  _unit = unit;
}

std::string ResultsFile::error() const {
  const std::lock_guard lock(_lock);
  return _error;
}

void ResultsFile::append(const char* type, const ordered_json& fields) noexcept {
  const std::lock_guard lock(_lock);
  if (_file < 0 || _isEnded || !_error.empty()) return;
  try {
    write(type, fields);
  } catch (const std::exception& error) {
    _error = error.what();
  }
}

void ResultsFile::end(const ordered_json& fields) noexcept {
  append(line_type::kEnd, fields);
  const std::lock_guard lock(_lock);
  if (_file < 0 || std::exchange(_isEnded, true)) return;
  try {
    reopenUnlessOurs();
    const bool isSynced = ::fsync(_file) == 0;
    // What cannot be synced, such as a pipe, is as safe as it can be.
    if (!isSynced && errno != EINVAL && errno != EROFS) fail(errno);
  } catch (const ResultsError& error) {
    if (_error.empty()) _error = error.what();
  }
  if (_file >= 0) ::close(std::exchange(_file, -1));
}

void ResultsFile::write(const char* type, const ordered_json& fields) {
  ordered_json line = {{line_field::kSchema, kResultsSchema}, {line_field::kType, type},
                       {line_field::kTime, timeNow()},        {line_field::kRun, _run},
                       {line_field::kStation, _station},      {line_field::kUnit, nullptr}};
  if (!_unit.empty()) line[line_field::kUnit] = _unit;
  line.update(fields);
  std::string text = textOfLine(line);
  reopenUnlessOurs();
  if (endsInsideOurLine()) text.insert(0, "\n");

  const BrokenPipeGuard guard;
  if (!writeAll(_file, text.data(), text.size())) fail(errno);
}

/// A body may have closed the descriptor, and opened a file of its own that got the same number.
void ResultsFile::reopenUnlessOurs() {
  struct stat status = {};
  if (::fstat(_file, &status) == 0 && FileId(status.st_dev, status.st_ino) == _id) return;
  // Not a pipe, whose reader took the closed end for the end of the results.
  _file =
      ::open(_absolutePath.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
  if (_file < 0 || ::fstat(_file, &status) != 0) fail(errno);
  ::fcntl(_file, F_SETFL, O_APPEND);
  _id = {status.st_dev, status.st_ino};
}

/// Not for a pipe, which the check would open for reading for a moment, and not for another file
/// that got the path since.
bool ResultsFile::endsInsideOurLine() const {
  struct stat status = {};
  return ::stat(_absolutePath.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         FileId(status.st_dev, status.st_ino) == _id && endsInsideLine(_absolutePath);
}

void ResultsFile::fail(int error) const {
  throw ResultsError("results file " + _path.string() + ": " + std::strerror(error));
}

}  // namespace corvane::station
