#include "host/linux/machine.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace corvane::host {
namespace {

/// For how long a process that was seen alive counts as alive.
constexpr int64_t kSeenAliveFor = kNanosecondsPerSecond / 1'000;

int64_t nanosecondsSinceBoot() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

/// Returns the code for a failed read of /proc, from `errno`.
kern_return_t failure() {
  switch (errno) {
    case EMFILE:
    case ENFILE:
    case ENOMEM:
      return KERN_RESOURCE_SHORTAGE;
    default:
      return MACH_SEND_INVALID_DEST;
  }
}

std::optional<ThreadStat> readStatFile(const ProcFolder& folder, const IdPath& path) {
  // The line is longer, but the fields of interest come first.
  std::array<char, 1024> buffer;
  const auto line = folder.readStart(path.get(), buffer);
  if (!line) return {};
  errno = ESRCH;
  return parseThreadStat(*line);
}

/// Removes what is not an argument from the contents of a `cmdline` file. A program that writes a
/// title over its arguments leaves one text there and zeros up to the end of its old arguments.
void trimArguments(std::string& words) {
  if (words.empty()) return;
  const size_t zeros = words.size() - 1 - words.find_last_not_of('\0');
  const bool isOneText = words.find('\0') + zeros == words.size();
  if (isOneText && zeros > 2) words.resize(words.size() - zeros + 1);
  if (words.back() != '\0') words += '\0';
}

}  // namespace

std::shared_ptr<TaskSource> newMachine() { return std::make_shared<Machine>(); }

Machine::Machine() : Machine("/proc", nanosecondsSinceBoot) {}

Machine::Machine(std::string procFolder, Clock clock)
    : _proc(std::move(procFolder) + "/"), _clock(clock) {}

kern_return_t Machine::readStat(int32_t pid, int32_t thread, ThreadStat& stat) {
  const bool isOfKernel = pid == kKernelTask;
  const auto read =
      pid == _open.pid
          ? readStatFile(_open.folder, IdPath("", thread, "stat"))
          : readStatFile(
                {}, IdPath(isOfKernel ? _proc : IdPath(_proc, pid, "task/").get(), thread, "stat"));
  if (!read) return failure();
  if (read->isKernelThread == isOfKernel) {
    stat = *read;
    return KERN_SUCCESS;
  }
  // The thread has gone, and one of the other kind has its id now.
  const auto known = _tasks.find(isOfKernel ? thread : pid);
  if (known != _tasks.end()) known->second.isKernelThread = read->isKernelThread;
  return MACH_SEND_INVALID_DEST;
}

/// Returns the process or kernel thread of this id, or null with the reason in `errno`.
Machine::KnownTask* Machine::find(int32_t pid) {
  const auto [task, isNew] = _tasks.try_emplace(pid);
  if (!isNew || pid == kKernelTask) return &task->second;
  const auto stat = readStatFile({}, IdPath(_proc, pid, "stat"));
  if (!stat) {
    _tasks.erase(task);
    return nullptr;
  }
  task->second.isKernelThread = stat->isKernelThread;
  return &task->second;
}

/// Lists all processes, kernel threads among them, and forgets those that are not there any more.
kern_return_t Machine::listProcesses(std::vector<int32_t>& pids) {
  const ProcFolder folder(_proc.c_str());
  if (!folder || !folder.listNumbers(pids)) {
    if (failure() == KERN_RESOURCE_SHORTAGE) return KERN_RESOURCE_SHORTAGE;
    pids.clear();
  }
  if (pids.empty()) {
    if (!_hasReported) std::fprintf(stderr, "corvane: %s lists no processes\n", _proc.c_str());
    _hasReported = true;
    return KERN_FAILURE;
  }
  ++_listings;
  bool isShortOfMeans = false;
  std::erase_if(pids, [&](int32_t pid) {
    KnownTask* const task = find(pid);
    if (task) task->seenIn = _listings;
    isShortOfMeans |= !task && failure() == KERN_RESOURCE_SHORTAGE;
    return !task;
  });
  if (isShortOfMeans) return KERN_RESOURCE_SHORTAGE;
  _listedAt = _clock();
  _listed = pids;
  std::erase_if(_tasks, [this](const auto& task) {
    return task.first != kKernelTask && task.second.seenIn != _listings;
  });
  return KERN_SUCCESS;
}

/// Opens the folder of the process's threads unless it is open and the process was just seen alive.
kern_return_t Machine::openTask(int32_t pid) {
  const int64_t now = _clock();
  if (_open.pid == pid && now - _open.aliveAt < kSeenAliveFor) return KERN_SUCCESS;
  const KnownTask* const task = find(pid);
  if (!task) return failure();
  if (task->isKernelThread) return MACH_SEND_INVALID_DEST;
  _open = {};
  ProcFolder folder(IdPath(_proc, pid, "task").get());
  if (!folder) return failure();
  _open = {pid, std::move(folder), false, now};
  return KERN_SUCCESS;
}

/// Lists the task's threads, and forgets those that are not there any more.
kern_return_t Machine::listThreads(int32_t pid, std::vector<int32_t>& ids) {
  if (pid == kKernelTask) {
    // A pass asks for the kernel's threads right after the tasks.
    const bool isListed = !_listed.empty() && _clock() - _listedAt < kSeenAliveFor;
    const kern_return_t result = isListed ? KERN_SUCCESS : listProcesses(ids);
    if (result != KERN_SUCCESS) return result;
    if (isListed) ids = _listed;
    std::erase_if(ids, [this](int32_t id) { return !_tasks[id].isKernelThread; });
  } else {
    if (_open.isListed) _open = {};
    const kern_return_t result = openTask(pid);
    if (result != KERN_SUCCESS) return result;
    if (!_open.folder.listNumbers(ids)) return failure();
    _open.isListed = true;
  }
  KnownTask* const task = find(pid);
  if (!task) return failure();

  std::vector<KnownThread> threads(ids.size());
  auto known = task->threads.begin();
  for (size_t i = 0; i < ids.size(); ++i) {
    while (known != task->threads.end() && known->id < ids[i]) ++known;
    if (known != task->threads.end() && known->id == ids[i]) threads[i] = *known;
    threads[i].id = ids[i];
    threads[i].isUncounted = false;
  }
  task->threads = std::move(threads);
  return KERN_SUCCESS;
}

kern_return_t Machine::tasks(std::vector<int32_t>& pids) {
  const std::lock_guard lock(_mutex);
  const kern_return_t result = listProcesses(pids);
  if (result != KERN_SUCCESS) return result;
  std::erase_if(pids, [this](int32_t pid) { return _tasks[pid].isKernelThread; });
  pids.insert(pids.begin(), kKernelTask);
  return KERN_SUCCESS;
}

kern_return_t Machine::findTask(int32_t pid) {
  const std::lock_guard lock(_mutex);
  if (pid == kKernelTask || pid == getpid()) return KERN_SUCCESS;
  return openTask(pid);
}

kern_return_t Machine::threads(int32_t pid, std::vector<int32_t>& ids) {
  const std::lock_guard lock(_mutex);
  return listThreads(pid, ids);
}

kern_return_t Machine::threadInfo(int32_t pid, int32_t thread, thread_basic_info_data_t& info) {
  const std::lock_guard lock(_mutex);
  ThreadStat stat;
  const kern_return_t result = readStat(pid, thread, stat);
  if (result != KERN_SUCCESS) return result;
  const int64_t now = _clock();
  if (pid == _open.pid) _open.aliveAt = now;
  KnownThread unlisted;
  KnownThread* known = &unlisted;
  if (KnownTask* const task = find(pid)) {
    const auto listed = std::ranges::lower_bound(task->threads, thread, {}, &KnownThread::id);
    if (listed != task->threads.end() && listed->id == thread) known = &*listed;
  }

  info.user_time = timeOfTicks(stat.userTicks);
  info.system_time = timeOfTicks(stat.systemTicks);
  info.cpu_usage = known->usage.add(stat, now);
  setRunState(stat.state, info);
  known->isUncounted = true;
  known->userTicks = stat.userTicks;
  known->systemTicks = stat.systemTicks;
  return KERN_SUCCESS;
}

kern_return_t Machine::taskTimes(int32_t pid, task_thread_times_info_data_t& times) {
  const std::lock_guard lock(_mutex);
  kern_return_t result = pid == kKernelTask ? KERN_SUCCESS : openTask(pid);
  if (result != KERN_SUCCESS) return result;
  KnownTask* const task = find(pid);
  if (!task) return failure();
  if (std::ranges::none_of(task->threads, &KnownThread::isUncounted)) {
    std::vector<int32_t> ids;
    result = listThreads(pid, ids);
    if (result != KERN_SUCCESS) return result;
  }
  uint64_t userTicks = 0;
  uint64_t systemTicks = 0;
  for (KnownThread& thread : task->threads) {
    ThreadStat stat{.userTicks = thread.userTicks, .systemTicks = thread.systemTicks};
    if (!thread.isUncounted && readStat(pid, thread.id, stat) != KERN_SUCCESS) continue;
    thread.isUncounted = false;
    userTicks += stat.userTicks;
    systemTicks += stat.systemTicks;
  }
  _open = {};
  times = {timeOfTicks(userTicks), timeOfTicks(systemTicks)};
  return KERN_SUCCESS;
}

kern_return_t Machine::arguments(int32_t pid, Arguments& arguments) {
  // Only a live thread has a program, and the first of a process may end before the others.
  const std::string process = _proc + std::to_string(pid);
  std::string holder = process;
  std::string path = linkTarget((holder + "/exe").c_str());
  if (path.empty() && errno == ENOENT) {
    std::vector<int32_t> ids;
    const ProcFolder folder((process + "/task").c_str());
    if (folder) folder.listNumbers(ids);
    for (size_t i = 0; path.empty() && i < ids.size(); ++i) {
      holder = process + "/task/" + std::to_string(ids[i]);
      path = linkTarget((holder + "/exe").c_str());
    }
  }
  if (path.empty()) return failure() == KERN_RESOURCE_SHORTAGE ? failure() : KERN_FAILURE;
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted) && access(path.c_str(), F_OK) != 0) {
    path.resize(path.size() - kDeleted.size());
  }
  auto words = readWhole((holder + "/cmdline").c_str());
  if (!words) return failure();
  trimArguments(*words);
  arguments = {std::move(path), std::move(*words)};
  return KERN_SUCCESS;
}

kern_return_t Machine::name(int32_t pid, std::string& name) {
  if (pid == kKernelTask) {
    name = "kernel_task";
    return KERN_SUCCESS;
  }
  const auto text = readWhole(IdPath(_proc, pid, "comm").get());
  if (!text) return failure();
  name = text->substr(0, text->find_last_not_of('\n') + 1);
  return KERN_SUCCESS;
}

}  // namespace corvane::host
