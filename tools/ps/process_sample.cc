#include "tools/ps/process_sample.h"

#include <sys/sysctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "platform/mach_port.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

struct State {
  integer_t code;
  const char* text;
};

/// A process is in the first of these states that one of its threads is in.
constexpr std::array kStates = {
    State{TH_STATE_RUNNING, "running"}, State{TH_STATE_UNINTERRUPTIBLE, "uninterruptible"},
    State{TH_STATE_STOPPED, "stopped"}, State{TH_STATE_WAITING, "waiting"},
    State{TH_STATE_HALTED, "halted"}};

/// Takes one sample. The library's sampler is not enough: its records keep times in a form of their
/// own, and its pass ends with the first process that exits meanwhile.
class Sampler {
 public:
  /// Throws CommandError when there is no process.
  void take();
  Sample& sample() { return _sample; }

 private:
  bool fails(const char* call, kern_return_t result);
  void addProcesses(mach_port_t host, processor_set_name_t set);
  void addProcess(task_t task);
  bool addThreads(task_t task, ProcessSample& process);
  std::string nameOf(int32_t pid);
  std::string pathOf(int32_t pid);

  Sample _sample;
  const pid_t _ownPid = getpid();
  /// Room for the arguments of one process.
  std::vector<char> _arguments;
};

/// Returns whether the call failed, and keeps the first failure.
bool Sampler::fails(const char* call, kern_return_t result) {
  if (result == KERN_SUCCESS) return false;
  if (_sample.failure.empty()) {
    _sample.failure = std::string(call) + "(): " + mach_error_string(result);
  }
  return true;
}

void Sampler::take() {
  int name[] = {CTL_KERN, KERN_ARGMAX};
  int32_t size = 0;
  size_t length = sizeof size;
  if (sysctl(name, 2, &size, &length, nullptr, 0) == 0 && size > 0) {
    _arguments.resize(static_cast<size_t>(size));
  }
  const MachPort host(mach_host_self());
  MachPortArray sets(MachPortArray::Ports::kOwned);
  if (!fails("host_processor_sets", host_processor_sets(host.get(), sets.out(), sets.outCount()))) {
    for (const processor_set_name_t set : sets.ports()) addProcesses(host.get(), set);
  }
  if (_sample.processes.empty()) throw noProcesses(_sample.failure);
}

void Sampler::addProcesses(mach_port_t host, processor_set_name_t set) {
  MachPort control;
  if (fails("host_processor_set_priv", host_processor_set_priv(host, set, control.out()))) return;
  MachPortArray tasks(MachPortArray::Ports::kOwned);
  if (fails("processor_set_tasks",
            processor_set_tasks(control.get(), tasks.out(), tasks.outCount()))) {
    return;
  }
  _sample.processes.reserve(tasks.ports().size());
  for (const task_t task : tasks.ports()) addProcess(task);
}

void Sampler::addProcess(task_t task) {
  ProcessSample process;
  const kern_return_t result = pid_for_task(task, &process.pid);
  if (result == KERN_FAILURE) return;  // It has exited since it was listed.
  if (fails("pid_for_task", result) || process.pid == _ownPid) return;
  if (!addThreads(task, process)) return;
  task_thread_times_info_data_t times{};
  mach_msg_type_number_t count = TASK_THREAD_TIMES_INFO_COUNT;
  if (task_info(task, TASK_THREAD_TIMES_INFO, reinterpret_cast<task_info_t>(&times), &count) ==
      KERN_SUCCESS) {
    process.times = times;
  }
  process.name = nameOf(process.pid);
  _sample.processes.push_back(std::move(process));
}

/// Returns false when the threads cannot be listed. A failure counts unless the process or thread
/// has exited meanwhile.
bool Sampler::addThreads(task_t task, ProcessSample& process) {
  MachPortArray threads(MachPortArray::Ports::kOwned);
  kern_return_t result = task_threads(task, threads.out(), threads.outCount());
  if (result != KERN_SUCCESS) {
    int pid = 0;
    if (pid_for_task(task, &pid) == KERN_SUCCESS) fails("task_threads", result);
    return false;
  }
  process.threads.reserve(threads.ports().size());
  for (const thread_act_t thread : threads.ports()) {
    thread_basic_info_data_t info{};
    mach_msg_type_number_t count = THREAD_BASIC_INFO_COUNT;
    result = thread_info(thread, THREAD_BASIC_INFO, reinterpret_cast<thread_info_t>(&info), &count);
    if (result == MACH_SEND_INVALID_DEST || fails("thread_info", result)) continue;
    process.threads.push_back(
        {info.cpu_usage, info.run_state, info.flags, info.user_time, info.system_time});
    process.usage += info.cpu_usage;
  }
  return true;
}

std::string Sampler::nameOf(int32_t pid) {
  if (pid == 0) return "kernel_task";
  if (std::string path = pathOf(pid); !path.empty()) return path;
  int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid};
  kinfo_proc process{};
  size_t length = sizeof process;
  if (sysctl(name, 4, &process, &length, nullptr, 0) != 0 || length < sizeof process) {
    return "[unknown]";
  }
  const char* const text = process.kp_proc.p_comm;
  std::string shortName = "[";
  shortName.append(text, strnlen(text, sizeof process.kp_proc.p_comm));
  return shortName + "]";
}

/// Returns the path after the argument count, or "" when it cannot be read.
std::string Sampler::pathOf(int32_t pid) {
  int name[] = {CTL_KERN, KERN_PROCARGS2, pid};
  size_t length = _arguments.size();
  if (length == 0 || sysctl(name, 3, _arguments.data(), &length, nullptr, 0) != 0) return {};
  if (length <= sizeof(int32_t)) return {};
  const char* const path = _arguments.data() + sizeof(int32_t);
  return std::string(path, strnlen(path, length - sizeof(int32_t)));
}

/// Returns a count of tenths or hundredths, the "parts" of `unit`, as a decimal number.
std::string decimal(int64_t parts, int64_t unit) {
  std::string text = std::to_string(parts / unit) + ".";
  const std::string fraction = std::to_string(unit + parts % unit);
  return text.append(fraction, 1);
}

}  // namespace

CommandError noProcesses(const std::string& failure) {
  return {kFailed,
          "the processes cannot be sampled: " + (failure.empty() ? "none is listed" : failure)};
}

Sample takeSample() {
  Sampler sampler;
  sampler.take();
  Sample sample = std::move(sampler.sample());
  std::ranges::sort(sample.processes, [](const ProcessSample& a, const ProcessSample& b) {
    return a.usage != b.usage ? a.usage > b.usage : a.pid < b.pid;
  });
  return sample;
}

std::string percentText(integer_t usage) {
  static_assert(TH_USAGE_SCALE == 1000);
  return decimal(usage, 10);
}

std::string secondsText(time_value_t time) {
  return decimal(int64_t{time.seconds} * 100 + time.microseconds / 10'000, 100);
}

const char* stateText(integer_t runState) {
  const auto* const found = std::ranges::find(kStates, runState, &State::code);
  return found == kStates.end() ? "unknown_state" : found->text;
}

const char* stateText(const ProcessSample& process) {
  for (const State& state : kStates) {
    const auto found = std::ranges::find(process.threads, state.code, &ThreadSample::runState);
    if (found != process.threads.end()) return state.text;
  }
  return "-";
}

}  // namespace corvane::tools
