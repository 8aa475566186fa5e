#include <mach/mach.h>
#include <sys/sysctl.h>

#include <cerrno>

#include "host/mach/testing/scripted_kernel.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

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

TEST(MachTest, SysctlStoresWhatFitsOrSetsItsError) {
  using namespace std::string_literals;
  corvane::testing::ScriptedKernel kernel;
  kernel.tasks().push_back({.pid = 10, .path = "/bin/ten", .name = "ten", .arguments = 2});
  // The arguments follow their count and the padded path.
  const std::string whole = "\2\0\0\0/bin/ten\0\0\0\0word\0word\0"s;
  const struct {
    std::vector<int> name;
    size_t room;
    std::string answer;
    bool isNew = false;
  } cases[] = {{{CTL_KERN, KERN_PROCARGS2, 10}, 100, whole},
               {{CTL_KERN, KERN_PROCARGS2, 10}, 14, whole.substr(0, 14)},
               {{CTL_KERN, KERN_PROC, KERN_PROC_PID, 11}, sizeof(kinfo_proc), ""},
               {{CTL_KERN, KERN_PROCARGS2, 11}, 8, "EINVAL"},
               {{CTL_KERN, KERN_ARGMAX}, 3, "ENOMEM"},
               {{CTL_KERN, KERN_ARGMAX}, 4, "EPERM", true},
               {{}, 8, "ENOENT"}};
  for (const auto& c : cases) EXPECT_EQ(answer(c.name, c.room, c.isNew), c.answer);
}

}  // namespace
}  // namespace corvane::host
