#ifndef CORVANE_HOST_MACH_TESTING_SCRIPTED_KERNEL_H_
#define CORVANE_HOST_MACH_TESTING_SCRIPTED_KERNEL_H_

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "host/mach/task_source.h"

namespace corvane::testing {

/// Replaces the machine's tasks and threads, while it exists, with those that a test scripts.
class ScriptedKernel : host::TaskSource {
 public:
  struct Thread {
    thread_basic_info_data_t info{};
    kern_return_t failure = KERN_SUCCESS;
  };
  struct Task {
    int32_t pid = 0;
    std::vector<Thread> threads = {};
    std::string path = {};
    std::string name = {};
    int arguments = 1;
    task_thread_times_info_data_t times{};
    /// Tells when the task exits. It is listed in any case.
    enum { kNever, kBeforeItIsAskedForItsId, kBeforeItsThreadsAreListed } exits = kNever;
  };

  ScriptedKernel() { host::useTaskSource({std::shared_ptr<void>(), this}); }
  ~ScriptedKernel() override { host::useTaskSource(nullptr); }
  ScriptedKernel(const ScriptedKernel&) = delete;
  ScriptedKernel& operator=(const ScriptedKernel&) = delete;

  std::vector<Task>& tasks() { return _tasks; }
  void setProcessorSets(size_t count) { _sets = count; }

 private:
  const Task* find(int32_t pid) const {
    const auto task = std::ranges::find(_tasks, pid, &Task::pid);
    return task == _tasks.end() ? nullptr : &*task;
  }

  size_t processorSets() override { return _sets; }
  kern_return_t tasks(std::vector<int32_t>& pids) override {
    for (const Task& task : _tasks) pids.push_back(task.pid);
    return KERN_SUCCESS;
  }
  kern_return_t findTask(int32_t pid) override {
    const Task* task = find(pid);
    const bool exists = task && task->exits != Task::kBeforeItIsAskedForItsId;
    return exists ? KERN_SUCCESS : MACH_SEND_INVALID_DEST;
  }
  kern_return_t threads(int32_t pid, std::vector<int32_t>& ids) override {
    const Task* task = find(pid);
    if (!task || task->exits != Task::kNever) return MACH_SEND_INVALID_DEST;
    for (size_t i = 0; i < task->threads.size(); ++i) ids.push_back(static_cast<int32_t>(i));
    return KERN_SUCCESS;
  }
  kern_return_t threadInfo(int32_t pid, int32_t index, thread_basic_info_data_t& info) override {
    const Thread& thread = find(pid)->threads[static_cast<size_t>(index)];
    info = thread.info;
    return thread.failure;
  }
  kern_return_t taskTimes(int32_t pid, task_thread_times_info_data_t& times) override {
    times = find(pid)->times;
    return KERN_SUCCESS;
  }
  kern_return_t arguments(int32_t pid, Arguments& arguments) override {
    const Task* task = find(pid);
    if (!task || task->path.empty()) return KERN_FAILURE;
    arguments.path = task->path;
    for (int i = 0; i < task->arguments; ++i) arguments.words += std::string("word") + '\0';
    return KERN_SUCCESS;
  }
  kern_return_t name(int32_t pid, std::string& name) override {
    const Task* task = find(pid);
    if (!task) return MACH_SEND_INVALID_DEST;
    name = task->name;
    return KERN_SUCCESS;
  }

  size_t _sets = 1;
  std::vector<Task> _tasks = {{.pid = getpid(), .threads = {{}}}};
};

}  // namespace corvane::testing

#endif  // CORVANE_HOST_MACH_TESTING_SCRIPTED_KERNEL_H_
