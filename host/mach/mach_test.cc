#include <mach/mach.h>
#include <sys/sysctl.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "host/mach/testing/scripted_kernel.h"
#include "platform/mach_port.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

class MachTest : public corvane::testing::UnitTest {
 protected:
  MachTest() {
    _kernel.tasks().push_back(
        {.pid = 10, .threads = {{}}, .path = "/bin/ten", .name = "ten", .arguments = 2});
  }

  /// The ports of all tasks, found as a sampler finds them. The scripted one comes last.
  struct Tasks {
    MachPort host{mach_host_self()};
    MachPort control;
    MachPortArray sets{MachPortArray::Ports::kOwned};
    MachPortArray all{MachPortArray::Ports::kOwned};

    Tasks() {
      EXPECT_EQ(host_processor_sets(host.get(), sets.out(), sets.outCount()), KERN_SUCCESS);
      EXPECT_EQ(host_processor_set_priv(host.get(), sets.ports()[0], control.out()), KERN_SUCCESS);
      EXPECT_EQ(processor_set_tasks(control.get(), all.out(), all.outCount()), KERN_SUCCESS);
    }
    mach_port_t scripted() const { return all.ports().back(); }
  };

  corvane::testing::ScriptedKernel _kernel;
};

TEST_F(MachTest, APortIsGoodUntilItIsGivenBack) {
  const size_t before = VirtualDevice::openHandles();
  const mach_port_t host = mach_host_self();
  EXPECT_EQ(mach_port_deallocate(host, host), KERN_INVALID_TASK);
  EXPECT_EQ(VirtualDevice::openHandles(), before + 1);
  EXPECT_EQ(mach_port_deallocate(mach_task_self(), host), KERN_SUCCESS);
  EXPECT_EQ(mach_port_deallocate(mach_task_self(), host), KERN_INVALID_NAME);
  EXPECT_EQ(mach_port_deallocate(mach_task_self(), MACH_PORT_NULL), KERN_INVALID_NAME);
  EXPECT_EQ(VirtualDevice::openHandles(), before);

  mach_port_t* sets = nullptr;
  mach_msg_type_number_t count = 0;
  EXPECT_EQ(host_processor_sets(host, &sets, &count), MACH_SEND_INVALID_DEST);
}

TEST_F(MachTest, ACallOnAnotherKindOfPortIsRefused) {
  const size_t before = VirtualDevice::openHandles();
  {
    const Tasks tasks;
    MachPort name;
    ASSERT_EQ(task_name_for_pid(mach_task_self(), 10, name.out()), KERN_SUCCESS);
    mach_port_t* array = nullptr;
    mach_msg_type_number_t count = 0;
    EXPECT_EQ(task_threads(name.get(), &array, &count), KERN_INVALID_ARGUMENT)
        << "a name gives no control";
    EXPECT_EQ(host_processor_sets(name.get(), &array, &count), KERN_INVALID_ARGUMENT);
    std::array<integer_t, THREAD_BASIC_INFO_COUNT> info{};
    count = THREAD_BASIC_INFO_COUNT;
    EXPECT_EQ(thread_info(tasks.scripted(), THREAD_BASIC_INFO, info.data(), &count),
              KERN_INVALID_ARGUMENT);
    EXPECT_EQ(task_info(tasks.scripted(), 99, info.data(), &count), KERN_INVALID_ARGUMENT);
    count = TASK_THREAD_TIMES_INFO_COUNT - 1;
    EXPECT_EQ(task_info(tasks.scripted(), TASK_THREAD_TIMES_INFO, info.data(), &count),
              KERN_INVALID_ARGUMENT);
  }
  EXPECT_EQ(VirtualDevice::openHandles(), before);
}

TEST_F(MachTest, APortOfATaskThatHasGoneIsDead) {
  const Tasks tasks;
  int pid = 0;
  ASSERT_EQ(pid_for_task(tasks.scripted(), &pid), KERN_SUCCESS);
  EXPECT_EQ(pid, 10);
  _kernel.tasks().pop_back();
  EXPECT_EQ(pid_for_task(tasks.scripted(), &pid), KERN_FAILURE);
  mach_port_t* threads = nullptr;
  mach_msg_type_number_t count = 0;
  EXPECT_EQ(task_threads(tasks.scripted(), &threads, &count), MACH_SEND_INVALID_DEST);
  mach_port_t name = 0;
  EXPECT_EQ(task_name_for_pid(mach_task_self(), 10, &name), KERN_FAILURE);
}

TEST_F(MachTest, AProcessHasItsShortName) {
  int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, 10};
  kinfo_proc process{};
  size_t size = sizeof process;
  ASSERT_EQ(sysctl(name, 4, &process, &size, nullptr, 0), 0);
  EXPECT_EQ(size, sizeof process);
  EXPECT_STREQ(process.kp_proc.p_comm, "ten");
  name[3] = 11;
  ASSERT_EQ(sysctl(name, 4, &process, &size, nullptr, 0), 0);
  EXPECT_EQ(size, 0u) << "there is no such process";
}

TEST_F(MachTest, ArgumentsFollowTheirCountAndThePaddedPath) {
  struct Case {
    size_t room;
    std::string area;
  };
  using namespace std::string_literals;
  const std::string whole = "\2\0\0\0/bin/ten\0\0\0\0word\0word\0"s;
  const Case cases[] = {
      {100, whole}, {whole.size(), whole}, {14, whole.substr(0, 14)}, {2, "\2\0"s}};
  int name[] = {CTL_KERN, KERN_PROCARGS2, 10};
  for (const Case& c : cases) {
    std::vector<char> area(c.room, 'x');
    size_t size = area.size();
    ASSERT_EQ(sysctl(name, 3, area.data(), &size, nullptr, 0), 0);
    EXPECT_EQ(std::string(area.data(), size), c.area);
  }
}

TEST_F(MachTest, WhatSysctlCannotAnswerHasItsErrorNumber) {
  struct Case {
    std::vector<int> name;
    size_t room;
    bool isNew;
    int error;
  };
  const Case cases[] = {{{CTL_KERN, KERN_PROCARGS2, 11}, 8, false, EINVAL},
                        {{CTL_KERN, KERN_ARGMAX}, 3, false, ENOMEM},
                        {{CTL_KERN, KERN_ARGMAX}, 4, true, EPERM},
                        {{CTL_KERN, KERN_PROCARGS2}, 8, false, ENOENT},
                        {{}, 8, false, ENOENT}};
  for (const Case& c : cases) {
    std::vector<int> name = c.name;
    int value = 0;
    size_t size = c.room;
    errno = 0;
    EXPECT_EQ(sysctl(name.data(), static_cast<unsigned>(name.size()), &value, &size,
                     c.isNew ? &value : nullptr, 0),
              -1);
    EXPECT_EQ(errno, c.error);
  }
}

}  // namespace
}  // namespace corvane::host
