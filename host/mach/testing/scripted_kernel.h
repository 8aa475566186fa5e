#ifndef CORVANE_HOST_MACH_TESTING_SCRIPTED_KERNEL_H_
#define CORVANE_HOST_MACH_TESTING_SCRIPTED_KERNEL_H_

#include <unistd.h>

#include <utility>

#include "host/mach/task_source.h"

namespace corvane::testing {

/// Tasks and threads as a test puts them, in the place of the machine's while one exists.
class ScriptedKernel {
 public:
  struct Thread {
    thread_basic_info_data_t info{};
    bool hasGone = false;
  };
  struct Task {
    int32_t pid = 0;
    std::vector<Thread> threads = {};
    std::string path = {};
    int arguments = 1;
    task_thread_times_info_data_t times{};
    /// When the task exits; it is listed in any case.
    enum { kNever, kBeforeItIsAskedForItsId, kBeforeItsThreadsAreListed } exits = kNever;
  };

  ScriptedKernel() { host::useTaskSource(_source); }
  ~ScriptedKernel() { host::useTaskSource(nullptr); }
  ScriptedKernel(const ScriptedKernel&) = delete;
  ScriptedKernel& operator=(const ScriptedKernel&) = delete;

  std::vector<Task>& tasks() { return _source->script; }

 private:
  struct Source : host::TaskSource {
    std::vector<Task> script = {{.pid = getpid(), .threads = {{}}}};

    const Task* find(int32_t pid) const {
      for (const Task& task : script) {
        if (task.pid == pid) return &task;
      }
      return nullptr;
    }

    std::optional<std::vector<int32_t>> tasks() override {
      std::vector<int32_t> pids;
      for (const Task& task : script) pids.push_back(task.pid);
      return pids;
    }
    bool hasTask(int32_t pid) override {
      const Task* task = find(pid);
      return task && task->exits != Task::kBeforeItIsAskedForItsId;
    }
    std::optional<std::vector<int32_t>> threads(int32_t pid) override {
      const Task* task = find(pid);
      if (!task || task->exits != Task::kNever) return {};
      std::vector<int32_t> indices;
      for (const Thread& thread : task->threads) {
        indices.push_back(static_cast<int32_t>(&thread - task->threads.data()));
      }
      return indices;
    }
    std::optional<thread_basic_info_data_t> threadInfo(int32_t pid, int32_t index) override {
      const Thread& thread = find(pid)->threads[static_cast<size_t>(index)];
      if (thread.hasGone) return {};
      return thread.info;
    }
    std::optional<task_thread_times_info_data_t> taskTimes(int32_t pid) override {
      return find(pid)->times;
    }
    std::optional<Arguments> arguments(int32_t pid) override {
      const Task* task = find(pid);
      if (!task || task->path.empty()) return {};
      std::string words;
      for (int i = 0; i < task->arguments; ++i) words += std::string("word") + '\0';
      return Arguments{task->path, words};
    }
  };

  std::shared_ptr<Source> _source = std::make_shared<Source>();
};

}  // namespace corvane::testing

#endif  // CORVANE_HOST_MACH_TESTING_SCRIPTED_KERNEL_H_
