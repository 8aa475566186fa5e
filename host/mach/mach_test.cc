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
    EXPECT_EQ(host_processor_sets(_host.get(), _sets.out(), _sets.outCount()), KERN_SUCCESS);
    EXPECT_EQ(host_processor_set_priv(_host.get(), _sets.ports()[0], _set.out()), KERN_SUCCESS);
    EXPECT_EQ(processor_set_tasks(_set.get(), _tasks.out(), _tasks.outCount()), KERN_SUCCESS);
  }

  /// Returns the port of the scripted task, which comes last, as a sampler finds it.
  mach_port_t task() const { return _tasks.ports().back(); }

  corvane::testing::ScriptedKernel _kernel;
  const MachPort _host{mach_host_self()};
  MachPort _set;
  MachPortArray _sets{MachPortArray::Ports::kOwned}, _tasks{MachPortArray::Ports::kOwned};
  mach_port_t* _ports = nullptr;
  mach_msg_type_number_t _count = 0;
};

TEST_F(MachTest, APortIsValidUntilItIsReleased) {
  const size_t before = VirtualDevice::openHandles();
  const mach_port_t host = mach_host_self();
  EXPECT_EQ(mach_port_deallocate(host, host), KERN_INVALID_TASK);
  EXPECT_EQ(VirtualDevice::openHandles(), before + 1);
  EXPECT_EQ(mach_port_deallocate(mach_task_self(), host), KERN_SUCCESS);
  EXPECT_EQ(mach_port_deallocate(mach_task_self(), host), KERN_INVALID_NAME);
  EXPECT_EQ(mach_port_deallocate(mach_task_self(), MACH_PORT_NULL), KERN_INVALID_NAME);
  EXPECT_EQ(VirtualDevice::openHandles(), before);

  EXPECT_EQ(host_processor_sets(host, &_ports, &_count), MACH_SEND_INVALID_DEST);
}

TEST_F(MachTest, ACallOnAnotherKindOfPortIsRefused) {
  MachPort name;
  ASSERT_EQ(task_name_for_pid(mach_task_self(), 10, name.out()), KERN_SUCCESS);
  const size_t before = VirtualDevice::openHandles();
  EXPECT_EQ(task_threads(name.get(), &_ports, &_count), KERN_INVALID_ARGUMENT)
      << "a name gives no control";
  EXPECT_EQ(host_processor_sets(name.get(), &_ports, &_count), KERN_INVALID_ARGUMENT);
  std::array<integer_t, THREAD_BASIC_INFO_COUNT> info{};
  _count = THREAD_BASIC_INFO_COUNT;
  EXPECT_EQ(thread_info(task(), THREAD_BASIC_INFO, info.data(), &_count), KERN_INVALID_ARGUMENT);
  EXPECT_EQ(task_info(task(), 99, info.data(), &_count), KERN_INVALID_ARGUMENT);
  _count = TASK_THREAD_TIMES_INFO_COUNT - 1;
  EXPECT_EQ(task_info(task(), TASK_THREAD_TIMES_INFO, info.data(), &_count), KERN_INVALID_ARGUMENT);
  EXPECT_EQ(VirtualDevice::openHandles(), before);
}

TEST_F(MachTest, APortOfATaskThatHasGoneIsDead) {
  int pid = 0;
  ASSERT_EQ(pid_for_task(task(), &pid), KERN_SUCCESS);
  EXPECT_EQ(pid, 10);
  _kernel.tasks().pop_back();
  EXPECT_EQ(pid_for_task(task(), &pid), KERN_FAILURE);
  EXPECT_EQ(task_threads(task(), &_ports, &_count), MACH_SEND_INVALID_DEST);
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
  // The arguments follow their count and the padded path.
  const std::string whole = "\2\0\0\0/bin/ten\0\0\0\0word\0word\0"s;
  const struct {
    std::vector<int> name;
    size_t room;
    std::string answer;
    bool isNew = false;
  } cases[] = {{{CTL_KERN, KERN_PROCARGS2, 10}, 100, whole},
               {{CTL_KERN, KERN_PROCARGS2, 10}, whole.size(), whole},
               {{CTL_KERN, KERN_PROCARGS2, 10}, 14, whole.substr(0, 14)},
               {{CTL_KERN, KERN_PROCARGS2, 10}, 2, "\2\0"s},
               {{CTL_KERN, KERN_PROC, KERN_PROC_PID, 11}, sizeof(kinfo_proc), ""},
               {{CTL_KERN, KERN_PROCARGS2, 11}, 8, "EINVAL"},
               {{CTL_KERN, KERN_ARGMAX}, 3, "ENOMEM"},
               {{CTL_KERN, KERN_ARGMAX}, 4, "EPERM", true},
               {{CTL_KERN, KERN_PROCARGS2}, 8, "ENOENT"},
               {{}, 8, "ENOENT"}};
  for (const auto& c : cases) EXPECT_EQ(answer(c.name, c.room, c.isNew), c.answer);

  const std::string stored = answer({CTL_KERN, KERN_PROC, KERN_PROC_PID, 10}, sizeof(kinfo_proc));
  kinfo_proc process{};
  ASSERT_EQ(stored.size(), sizeof process);
  std::memcpy(&process, stored.data(), sizeof process);
  EXPECT_STREQ(process.kp_proc.p_comm, "ten");
}

}  // namespace
}  // namespace corvane::host
