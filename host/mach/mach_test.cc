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

/// Returns what sysctl stores in `room` bytes, or the error that it sets.
std::string answer(std::vector<int> name, size_t room, bool isNew = false) {
  std::string area(room, 'x');
  size_t size = room;
  int value = 0;
  errno = 0;
  const int result = sysctl(name.data(), static_cast<unsigned>(name.size()), area.data(), &size,
                            isNew ? &value : nullptr, 0);
  return result == 0 ? area.substr(0, size) : strerrorname_np(errno);
}

TEST_F(MachTest, SysctlStoresWhatFitsOrSetsItsError) {
  using namespace std::string_literals;
  // Arguments follow their count and the padded path.
  const std::string whole = "\2\0\0\0/bin/ten\0\0\0\0word\0word\0"s;
  struct Case {
    std::vector<int> name;
    size_t room;
    std::string answer;
    bool isNew = false;
  };
  const Case cases[] = {{{CTL_KERN, KERN_PROCARGS2, 10}, 100, whole},
                        {{CTL_KERN, KERN_PROCARGS2, 10}, whole.size(), whole},
                        {{CTL_KERN, KERN_PROCARGS2, 10}, 14, whole.substr(0, 14)},
                        {{CTL_KERN, KERN_PROCARGS2, 10}, 2, "\2\0"s},
                        {{CTL_KERN, KERN_PROC, KERN_PROC_PID, 11}, sizeof(kinfo_proc), ""},
                        {{CTL_KERN, KERN_PROCARGS2, 11}, 8, "EINVAL"},
                        {{CTL_KERN, KERN_ARGMAX}, 3, "ENOMEM"},
                        {{CTL_KERN, KERN_ARGMAX}, 4, "EPERM", true},
                        {{CTL_KERN, KERN_PROCARGS2}, 8, "ENOENT"},
                        {{}, 8, "ENOENT"}};
  for (const Case& c : cases) EXPECT_EQ(answer(c.name, c.room, c.isNew), c.answer);

  const std::string stored = answer({CTL_KERN, KERN_PROC, KERN_PROC_PID, 10}, sizeof(kinfo_proc));
  kinfo_proc process{};
  ASSERT_EQ(stored.size(), sizeof process);
  std::memcpy(&process, stored.data(), sizeof process);
  EXPECT_STREQ(process.kp_proc.p_comm, "ten");
}

}  // namespace
}  // namespace corvane::host
