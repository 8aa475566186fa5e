#include "station/results_file.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <random>
#include <system_error>

#include "platform/files.h"
#include "station/results_line.h"

namespace corvane::station {
namespace {

/// Returns 16 random hexadecimal digits, which identify the run.
std::string newRunId() {
  std::random_device random;
  char text[17];
  std::snprintf(text, sizeof text, "%08x%08x", random(), random());
  return text;
}

/// Makes a write of this thread into a pipe that nobody reads fail with EPIPE, instead of ending
/// the process, while it exists. Other threads and the process handle SIGPIPE as before.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() : _wasPending(isPending()) {
    ::sigemptyset(&_signals);
    ::sigaddset(&_signals, SIGPIPE);
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
    return ::sigpending(&pending) == 0 && ::sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t _signals = {};
  sigset_t _before = {};
  bool _wasPending;
};

}  // namespace

std::string timeNow() {
  const auto now = std::chrono::system_clock::now();
  const time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  struct tm local = {};
  ::localtime_r(&seconds, &local);
  char date[32] = "";
  char zone[8] = "";
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
  std::strftime(zone, sizeof zone, "%z", &local);
  char text[64];
  std::snprintf(text, sizeof text, "%s.%03d%.3s:%s", date, static_cast<int>(milliseconds), zone,
                std::strlen(zone) == 5 ? zone + 3 : "00");
  return text;
}

ResultsFile::ResultsFile(const std::filesystem::path& path) : _path(path), _run(newRunId()) {
  if (path.empty()) return;
  std::error_code ignored;
  _absolutePath = std::filesystem::absolute(path, ignored).string();
  // For writing only: a pipe breaks only when no end of it is open for reading.
  _file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  // O_CREAT is refused for another user's file or pipe in a folder such as /tmp.
  if (_file < 0) _file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (_file < 0) fail(errno);
}

ResultsFile::~ResultsFile() {
  if (_file >= 0) ::close(_file);
}

void ResultsFile::identify(const std::string& station, const std::string& unit) {
  _station = station;
  _unit = unit;
}

void ResultsFile::append(const char* type, const nlohmann::ordered_json& fields) {
  if (_file < 0) return;
  nlohmann::ordered_json line = {
      {line_field::kSchema, kResultsSchema}, {line_field::kType, type},
      {line_field::kTime, timeNow()},        {line_field::kRun, _run},
      {line_field::kStation, _station},      {line_field::kUnit, nullptr}};
  if (!_unit.empty()) line[line_field::kUnit] = _unit;
  line.update(fields);
  std::string text =
      line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
  // Only for a file: to check a pipe would open it for reading for a moment.
  std::error_code ignored;
  if (std::filesystem::is_regular_file(_absolutePath, ignored) && endsInsideLine(_absolutePath)) {
    text.insert(0, "\n");
  }

  const BrokenPipeGuard guard;
  for (std::string_view rest = text; !rest.empty();) {
    const ssize_t written = ::write(_file, rest.data(), rest.size());
    if (written < 0 && errno != EINTR) fail(errno);
    if (written > 0) rest.remove_prefix(static_cast<size_t>(written));
  }
}

void ResultsFile::sync() {
  if (_file < 0 || ::fsync(_file) == 0) return;
  if (errno != EINVAL && errno != EROFS) fail(errno);  // What cannot be synced, such as a pipe.
}

void ResultsFile::fail(int error) const {
  throw ResultsError("results file " + _path.string() + ": " + std::strerror(error));
}

}  // namespace corvane::station
