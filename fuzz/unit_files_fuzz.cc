#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "host/include/virtual_device.h"

using corvane::host::DeviceError;
using corvane::host::UnitFacts;
using corvane::host::VirtualDevice;

namespace {

namespace fs = std::filesystem;

/// Returns the folder that holds the unit, in a file system in memory where there is one. Each
/// input replaces one of the unit's files.
const fs::path& unitFolder() {
  static const fs::path folder = [] {
    const fs::path memory = "/dev/shm";
    std::string name = (::access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path()) /
                       "corvane-fuzz-XXXXXX";
    if (!::mkdtemp(name.data())) std::abort();
    std::atexit([] { fs::remove_all(unitFolder()); });
    return fs::path(name);
  }();
  return folder;
}

std::string contentsOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

[[noreturn]] void report(const char* what, const std::string& text) {
  std::fprintf(stderr, "%s: %s\n", what, text.c_str());
  std::abort();
}

}  // namespace

/// Replaces a file of the unit; the input has which one, then its contents. Checks that the unit
/// can be used and changed, or is refused with a text that names the file, which stays as it is.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const fs::path folder = unitFolder() / "unit";
  static const UnitFacts usual = VirtualDevice(folder).facts();
  const fs::path file = folder / (data[0] % 2 == 0 ? "device.plist" : "nvram.plist");
  const std::string usualContents = contentsOf(file);
  const std::string contents(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::ofstream(file, std::ios::binary) << contents;
  try {
    VirtualDevice unit(folder);
    unit.facts();
    unit.setFacts(usual);
    if (unit.facts() != usual) report("other facts than were set", contentsOf(file));
  } catch (const DeviceError& error) {
    const std::string text = error.what();
    if (text.find(".plist") == std::string::npos) report("names no file", text);
    if (contentsOf(file) != contents) report("was refused and changed", text);
  }
  std::ofstream(file, std::ios::binary) << usualContents;
  return 0;
}
