#include <mach/mach.h>
#include <sys/sysctl.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "host/mach/testing/scripted_kernel.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

class MachTest : public corvane::testing::UnitTest {
 protected:
  MachTest() {
    _kernel.tasks().push_back({.pid = 10, .threads = {{}}, .path = "/bin/ten", .arguments = 2});
  }

  /// A port to the scripted task `pid`, found as a sampler finds it.
  static mach_port_t taskPort(int32_t pid) {
    const mach_port_t host = mach_host_self();
    mach_port_t* sets = nullptr;
    mach_port_t* tasks = nullptr;
    mach_port_t control = 0;
    mach_port_t found = 0;
    mach_msg_type_number_t count = 0;
    EXPECT_EQ(host_processor_sets(host, &sets, &count), KERN_SUCCESS);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(host_processor_set_priv(host, sets[0], &control), KERN_SUCCESS);
    EXPECT_EQ(processor_set_tasks(control, &tasks, &count), KERN_SUCCESS);
    for (const mach_port_t task : std::span(tasks, count)) {
      int itsPid = -1;
      EXPECT_EQ(pid_for_task(task, &itsPid), KERN_SUCCESS);
      if (itsPid == pid) {
        found = task;
      } else {
        give(task);
      }
    }
    give(host);
    give(control);
    give(sets[0]);
    free(sets, 1);
    free(tasks, count);
    return found;
  }

  static void give(mach_port_t port) {
    EXPECT_EQ(mach_port_deallocate(mach_task_self(), port), KERN_SUCCESS);
  }
  static void free(mach_port_t* array, mach_msg_type_number_t count) {
    EXPECT_EQ(vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(array),
                            count * sizeof(mach_port_t)),
              KERN_SUCCESS);
  }

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
  mach_port_t name = 0;
  ASSERT_EQ(task_name_for_pid(mach_task_self(), 10, &name), KERN_SUCCESS);
  mach_port_t* threads = nullptr;
  mach_msg_type_number_t count = 0;
  EXPECT_EQ(task_threads(name, &threads, &count), KERN_INVALID_ARGUMENT) << "a name is no control";
  EXPECT_EQ(host_processor_sets(name, &threads, &count), KERN_INVALID_ARGUMENT);

  const mach_port_t task = taskPort(10);
  std::array<integer_t, THREAD_BASIC_INFO_COUNT> info{};
  count = THREAD_BASIC_INFO_COUNT;
  EXPECT_EQ(thread_info(task, THREAD_BASIC_INFO, info.data(), &count), KERN_INVALID_ARGUMENT);
  EXPECT_EQ(task_info(task, 99, info.data(), &count), KERN_INVALID_ARGUMENT);
  count = TASK_THREAD_TIMES_INFO_COUNT - 1;
  EXPECT_EQ(task_info(task, TASK_THREAD_TIMES_INFO, info.data(), &count), KERN_INVALID_ARGUMENT);
  give(name);
  give(task);
  EXPECT_EQ(VirtualDevice::openHandles(), before);
}

TEST_F(MachTest, APortOfATaskThatHasGoneIsDead) {
  const mach_port_t task = taskPort(10);
  _kernel.tasks().pop_back();
  int pid = -7;
  EXPECT_EQ(pid_for_task(task, &pid), KERN_FAILURE);
  EXPECT_EQ(pid, -7);
  mach_port_t* threads = nullptr;
  mach_msg_type_number_t count = 0;
  EXPECT_EQ(task_threads(task, &threads, &count), MACH_SEND_INVALID_DEST);
  mach_port_t name = 0;
  EXPECT_EQ(task_name_for_pid(mach_task_self(), 10, &name), KERN_FAILURE);
  give(task);
}

TEST_F(MachTest, ArgumentsLieBehindTheirCountAndThePaddedPath) {
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
