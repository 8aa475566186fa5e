#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

#include "controlbits/diagnostic_record.h"
#include "host/linux/system_calls.h"
#include "platform/file_descriptor.h"
#include "tools/command_error.h"
#include "tools/files.h"
#include "tools/trial/trial.h"

namespace corvane::tools::trial {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMaxFile = size_t{1} << 20;

/// Returns what the file holds; empty when it cannot be read.
std::string textOf(const fs::path& path) {
  try {
    const std::vector<uint8_t> bytes = readFile(path, kMaxFile).bytes;
    return {bytes.begin(), bytes.end()};
  } catch (const CommandError&) {
    return {};
  }
}

/// Returns the counts of each process that has called the platform.
std::vector<std::pair<pid_t, Calls>> processesIn(const fs::path& file) {
  std::vector<std::pair<pid_t, Calls>> processes;
  std::istringstream lines(textOf(file));
  for (std::string line; std::getline(lines, line);) {
    const auto process = nlohmann::json::parse(line, nullptr, false);
    if (!process.is_discarded()) processes.emplace_back(process["process"], process["calls"]);
  }
  return processes;
}

Calls callsIn(const fs::path& file) {
  Calls calls;
  for (const auto& [process, counts] : processesIn(file)) {
    for (const auto& [call, count] : counts) calls[call] = std::max(calls[call], count);
  }
  return calls;
}

constexpr std::pair<const char*, Bytes UnitState::*> kFiles[] = {
    {"data/VelmoDiagnosticData.bin", &UnitState::diagnostics},
    {"data/VelmoDiagnosticDataSysCfg.bin", &UnitState::configuration},
    {"nvram.plist", &UnitState::nvram},
    {"device.plist", &UnitState::device}};

/// Returns the environment without what names a unit, folders or rules, and with the case's own.
std::vector<std::string> environmentOf(const Case& what, const fs::path& folder) {
  constexpr std::string_view kOwn[] = {"CORVANE_", "XDG_", "HOME=", "TMPDIR="};
  const std::string place = folder.string();
  std::vector<std::string> variables = {
      "CORVANE_DEVICE=" + place + "/unit", "CORVANE_CALLS=" + place + "/calls",
      "CORVANE_FAULTS=" + what.faults,     "HOME=" + place + "/home",
      "XDG_RUNTIME_DIR=" + place,          "TMPDIR=" + place};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (std::ranges::none_of(kOwn, [&](auto name) { return text.starts_with(name); })) {
      variables.emplace_back(text);
    }
  }
  return variables;
}

std::vector<std::string> commandOf(const Station& station, const Case& what,
                                   const fs::path& folder) {
  std::vector<std::string> words = {station.program};
  if (!what.setup.empty()) {
    words = {"/bin/sh", "-c", what.setup + "\nexec \"$@\"", "sh", station.program};
  }
  words.insert(words.end(), station.arguments.begin(), station.arguments.end());
  if (station.isOfKit) words.insert(words.end(), {"--results", folder / "results"});
  return words;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// Starts the station as the leader of a new session.
pid_t start(const Station& station, const Case& what, const fs::path& folder) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  const std::string output = folder / "output";
  posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, 1, output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  posix_spawn_file_actions_adddup2(&files, 1, 2);

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);

  std::vector<std::string> words = commandOf(station, what, folder);
  std::vector<std::string> variables = environmentOf(what, folder);
  pid_t process = 0;
  const int error = posix_spawnp(&process, words[0].c_str(), &files, &attributes,
                                 pointersTo(words).data(), pointersTo(variables).data());
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) {
    throw CommandError(kNotReady, station.program + " cannot be started: " + std::strerror(error));
  }
  return process;
}

/// Ends the processes of the station's session. Returns how the station ended when all are gone.
int endSession(pid_t station) {
  constexpr double kPatience = 5;
  const Clock::time_point begin = Clock::now();
  // The station is waited for last, so that its id stays the session's.
  for (bool isGone = false; !isGone && secondsSince(begin) < kPatience;) {
    isGone = true;
    for (const pid_t process : host::processIds()) {
      if (getsid(process) != station) continue;
      kill(process, SIGKILL);
      if (process == station) continue;
      waitpid(process, nullptr, WNOHANG);
      isGone = false;
    }
    if (!isGone) std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  int status = 0;
  waitpid(station, &status, 0);
  return status;
}

/// Changes the unit of the stopped station as another program does, under the unit's lock. Changes
/// nothing when the station holds the lock.
void meddle(const Case& what, const fs::path& unit, Run& run) {
  const FileDescriptor lock(open((unit / ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!lock || flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return;
  try {
    const UnitState before = readUnit(unit);
    UnitState after = before;
    what.meddling(after);
    writeUnit(unit, after);
    run.meddled.emplace(before, after);
  } catch (const CommandError&) {
    // Not reached: the unit cannot be read at this moment.
  }
}

/// Lets the processes go on that the case's fault rule has stopped; before that, changes the unit
/// unless that is done. A process that is not stopped gets no signal: it would take away the
/// SIGSTOP with which a debugger or a leak checker attaches, and that would wait without end.
void resume(const Case& what, const fs::path& folder, Run& run) {
  for (const auto& [process, counts] : processesIn(folder / "calls")) {
    if (!host::isStopped(process)) continue;
    if (!run.meddled) {
      run.callsAtStop = callsIn(folder / "calls");
      meddle(what, folder / "unit", run);
    }
    kill(process, SIGCONT);
  }
}

/// Waits for the end of the station and does to it what the case says.
void attend(pid_t process, const Case& what, const fs::path& folder, double limit, Run& run) {
  const FileDescriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  const Clock::time_point begin = Clock::now();
  bool isSignalDue = what.signalAfter.has_value();
  const timespec step = {0, isSignalDue || what.meddling ? 200'000 : 100'000'000};
  for (pollfd end = {handle.get(), POLLIN, 0}; ppoll(&end, 1, &step, nullptr) <= 0;) {
    if (isSignalDue && secondsSince(begin) >= *what.signalAfter) {
      isSignalDue = false;
      kill(-process, what.signal);
    }
    if (what.meddling) resume(what, folder, run);
    run.isHung = secondsSince(begin) >= limit;
    if (run.isHung || gIsInterrupted) break;
  }
  run.seconds = secondsSince(begin);
  run.isReached = !isSignalDue && (!what.meddling || run.meddled);
}

}  // namespace

UnitState readUnit(const fs::path& folder) {
  UnitState state;
  for (const auto& [name, contents] : kFiles) {
    const fs::path file = folder / name, committed = fs::path(file).replace_extension("committed");
    state.*contents = readFile(fs::exists(committed) ? committed : file, kMaxFile).bytes;
  }
  if (state.diagnostics.size() < slotOffset<time_t>(kRecordSlots)) {
    throw CommandError(kNotReady, "VelmoDiagnosticData is too short");
  }
  return state;
}

void writeUnit(const fs::path& folder, const UnitState& state) {
  for (const auto& [name, contents] : kFiles) writeFile(folder / name, state.*contents);
}

Run runStation(const Station& station, const Case& what, const fs::path& folder, double limit) {
  Run run;
  const fs::path unit = folder / "unit";
  fs::create_directories(folder / "home");
  fs::copy(what.unit, unit, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  run.before = readUnit(unit);
  const pid_t process = start(station, what, folder);
  attend(process, what, folder, limit, run);
  run.waitStatus = endSession(process);

  for (const fs::path& place : {unit, unit / "data"}) {  // A case may have made them read-only.
    std::error_code ignored;
    fs::permissions(place, fs::perms::owner_write, fs::perm_options::add, ignored);
  }
  run.calls = callsIn(folder / "calls");
  const auto& [call, occurrence] = what.takesEffectAt;
  if (!call.empty()) run.isReached &= run.calls[call] >= occurrence;
  run.output = textOf(folder / "output");
  run.results = textOf(folder / "results");
  try {
    run.after = readUnit(unit);
  } catch (const std::exception& error) {
    run.unreadable = error.what();
  }
  return run;
}

}  // namespace corvane::tools::trial
