#include "host/linux/machine.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>

namespace corvane::host {
namespace {

constexpr char kProc[] = "/proc/";
constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;

int64_t nanosecondsSinceBoot() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

int64_t nanosecondsOfTicks(uint64_t ticks) {
  return static_cast<int64_t>(ticks) *
         (kNanosecondsPerSecond / static_cast<int64_t>(ticksPerSecond()));
}

bool isRunning(int32_t pid) { return pid > 0 && (kill(pid, 0) == 0 || errno == EPERM); }

/// The line is longer, but what is read of it comes first.
using StatBuffer = std::array<char, 1024>;

std::optional<ThreadStat> readStatFile(const ProcFolder& folder, const IdPath& path) {
  StatBuffer buffer;
  const auto line = folder.readStart(path.get(), buffer);
  return line ? parseThreadStat(*line) : std::nullopt;
}

/// The executable's path as it was when the process began.
std::string executablePath(int32_t pid) {
  constexpr std::string_view kDeleted = " (deleted)";
  std::string path = linkTarget(IdPath(kProc, pid, "exe").get());
  if (path.ends_with(kDeleted) && access(path.c_str(), F_OK) != 0) {
    path.resize(path.size() - kDeleted.size());
  }
  return path;
}

}  // namespace

std::optional<ThreadStat> Machine::readStat(int32_t pid, int32_t thread) {
  const auto stat =
      pid == _openPid
          ? readStatFile(_openFolder, IdPath("", thread, "stat"))
          : readStatFile({}, IdPath(pid == kKernelTask ? kProc : IdPath(kProc, pid, "task/").get(),
                                    thread, "stat"));
  const bool isOfKernel = pid == kKernelTask;
  if (!stat || stat->isKernelThread == isOfKernel) return stat;
  // The thread that was asked about has gone, and one of the other kind has got its id.
  const auto known = _tasks.find(isOfKernel ? thread : pid);
  if (known != _tasks.end()) known->second.isKernelThread = stat->isKernelThread;
  return {};
}

/// The process of that id; null when there is none.
Machine::KnownTask* Machine::find(int32_t pid) {
  const auto [task, isNew] = _tasks.try_emplace(pid);
  if (!isNew || pid == kKernelTask) return &task->second;
  const auto stat = readStatFile({}, IdPath(kProc, pid, "stat"));
  if (!stat) {
    _tasks.erase(task);
    return nullptr;
  }
  task->second.isKernelThread = stat->isKernelThread;
  return &task->second;
}

/// Fills `_ids` with all processes that there are, and forgets the others.
bool Machine::listProcesses() {
  if (!ProcFolder(kProc).listNumbers(_ids)) return false;
  ++_listings;
  std::erase_if(_ids, [this](int32_t pid) {
    KnownTask* const task = find(pid);
    if (task) task->seenIn = _listings;
    return !task;
  });
  std::erase_if(_tasks, [this](const auto& task) {
    return task.first != kKernelTask && task.second.seenIn != _listings;
  });
  return true;
}

/// Fills `_ids` with the task's threads, and forgets its others.
bool Machine::listThreads(int32_t pid) {
  if (pid == kKernelTask) {
    if (!listProcesses()) return false;
    std::erase_if(_ids, [this](int32_t id) { return !_tasks[id].isKernelThread; });
  } else {
    _openPid = pid;
    _openFolder = ProcFolder(IdPath(kProc, pid, "task").get());
    if (!_openFolder.listNumbers(_ids)) return false;
  }
  KnownTask* const task = find(pid);
  if (!task) return false;

  std::vector<KnownThread> threads(_ids.size());
  auto known = task->threads.begin();
  for (size_t i = 0; i < _ids.size(); ++i) {
    while (known != task->threads.end() && known->id < _ids[i]) ++known;
    if (known != task->threads.end() && known->id == _ids[i]) threads[i] = *known;
    threads[i].id = _ids[i];
    threads[i].isUncounted = false;
  }
  task->threads = std::move(threads);
  return true;
}

std::optional<std::vector<int32_t>> Machine::tasks() {
  const std::lock_guard lock(_mutex);
  if (!listProcesses()) return {};
  std::vector<int32_t> pids = {kKernelTask};
  std::copy_if(_ids.begin(), _ids.end(), std::back_inserter(pids),
               [this](int32_t pid) { return !_tasks[pid].isKernelThread; });
  return pids;
}

bool Machine::hasTask(int32_t pid) {
  const std::lock_guard lock(_mutex);
  if (pid == kKernelTask) return true;
  if (!isRunning(pid)) return false;
  const KnownTask* task = find(pid);
  return task && !task->isKernelThread;
}

std::optional<std::vector<int32_t>> Machine::threads(int32_t pid) {
  const std::lock_guard lock(_mutex);
  if (!listThreads(pid)) return {};
  return _ids;
}

/// In thousandths of one processor.
integer_t Machine::usage(const KnownThread& known, const ThreadStat& stat, int64_t now) {
  const bool isSame = known.askedAt != 0 && known.stat.startTicks == stat.startTicks;
  const int64_t since = isSame ? known.askedAt : nanosecondsOfTicks(stat.startTicks);
  const uint64_t before = isSame ? known.stat.userTicks + known.stat.systemTicks : 0;
  const uint64_t after = stat.userTicks + stat.systemTicks;
  if (after <= before) return 0;

  const int64_t used = nanosecondsOfTicks(after - before);
  const int64_t elapsed = std::max(now - since, nanosecondsOfTicks(1));
  // Ticks are coarse: over a short time a thread seems to have used more than there was.
  return static_cast<integer_t>(
      std::min<int64_t>(used / (elapsed / TH_USAGE_SCALE), TH_USAGE_SCALE));
}

std::optional<thread_basic_info_data_t> Machine::threadInfo(int32_t pid, int32_t thread) {
  const std::lock_guard lock(_mutex);
  const auto stat = readStat(pid, thread);
  if (!stat) return {};
  const int64_t now = nanosecondsSinceBoot();
  KnownThread unlisted;
  KnownThread* known = &unlisted;
  if (KnownTask* const task = find(pid)) {
    const auto listed = std::ranges::lower_bound(task->threads, thread, {}, &KnownThread::id);
    if (listed != task->threads.end() && listed->id == thread) known = &*listed;
  }

  thread_basic_info_data_t info{};
  info.user_time = timeOfTicks(stat->userTicks);
  info.system_time = timeOfTicks(stat->systemTicks);
  info.cpu_usage = usage(*known, *stat, now);
  setRunState(stat->state, info);
  *known = {thread, true, now, *stat};
  return info;
}

std::optional<task_thread_times_info_data_t> Machine::taskTimes(int32_t pid) {
  const std::lock_guard lock(_mutex);
  if (pid != kKernelTask && !isRunning(pid)) return {};
  KnownTask* task = find(pid);
  if (!task) return {};
  if (std::ranges::none_of(task->threads, &KnownThread::isUncounted)) {
    if (!listThreads(pid)) return {};
    task = find(pid);
  }
  uint64_t userTicks = 0;
  uint64_t systemTicks = 0;
  for (KnownThread& thread : task->threads) {
    const auto stat = thread.isUncounted ? thread.stat : readStat(pid, thread.id);
    thread.isUncounted = false;
    if (!stat) continue;
    userTicks += stat->userTicks;
    systemTicks += stat->systemTicks;
  }
  _openPid = -1;
  _openFolder = {};
  return task_thread_times_info_data_t{timeOfTicks(userTicks), timeOfTicks(systemTicks)};
}

std::optional<TaskSource::Arguments> Machine::arguments(int32_t pid) {
  Arguments arguments{executablePath(pid), {}};
  if (arguments.path.empty()) return {};
  std::string& words = arguments.words;
  words = readWhole(IdPath(kProc, pid, "cmdline").get());
  // A program that writes its title over its arguments leaves zeros behind it, which are none.
  words.erase(words.find_last_not_of('\0') + 1);
  if (!words.empty()) words += '\0';
  return arguments;
}

}  // namespace corvane::host
