#include "bench/unit.h"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "dataarea/data_area.h"

namespace corvane::bench {
namespace {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "corvane-bench-XXXXXX").string();
    if (!::mkdtemp(name.data())) throw std::system_error(errno, std::generic_category(), name);
    _path = name;
  }
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(_path, error);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return _path; }

 private:
  std::filesystem::path _path;
};

struct Units {
  TemporaryFolder folder;
  host::VirtualDevice unit{folder.path() / "unit"};
  host::VirtualDevice twin{folder.path() / "twin"};

  Units() {
    host::VirtualDevice::setFaults("");
    unit.use();
    if (getMasterPort() != 0 || getDataArea() != 0) {
      throw std::runtime_error("the unit's data area cannot be opened");
    }
  }
};

const Units& units() {
  static const Units both;
  return both;
}

}  // namespace

const host::VirtualDevice& unit() { return units().unit; }

const host::VirtualDevice& twin() { return units().twin; }

}  // namespace corvane::bench
