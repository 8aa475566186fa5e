#include "host/virtual_unit/unit_place.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "host/virtual_unit/unit_file.h"

namespace corvane::host {
namespace {

namespace fs = std::filesystem;

/// Returns the variable's value; empty when it is unset.
fs::path fromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

fs::path stateFolder() {
  if (auto folder = fromEnvironment("XDG_STATE_HOME"); !folder.empty()) return folder;
  fs::path home = fromEnvironment("HOME");
  if (home.empty()) {
    if (const passwd* user = ::getpwuid(::getuid())) home = user->pw_dir;
  }
  return home / ".local/state";
}

/// The default folder, and whether the environment names it.
struct Default {
  fs::path folder;
  bool isNamed;
};

const Default& defaultPlace() {
  static const Default place = [] {
    const fs::path named = fromEnvironment("CORVANE_DEVICE");
    const bool isNamed = !named.empty();
    std::error_code error;
    const fs::path folder = isNamed ? named : stateFolder() / "corvane/device";
    return Default{fs::absolute(folder, error).lexically_normal(), isNamed};
  }();
  return place;
}

}  // namespace

const fs::path& defaultUnitFolder() { return defaultPlace().folder; }

bool isUsableFolder(const fs::path& folder) {
  struct stat facts {};
  if (::stat(folder.c_str(), &facts) != 0) {
    if (errno == ENOENT) return false;
    throw FileError(folder);
  }
  if (!S_ISDIR(facts.st_mode)) failOn(folder, "is not a folder");
  if (facts.st_uid == ::geteuid()) return true;
  const std::string owner = "belongs to another user (" + std::to_string(facts.st_uid) + ")";
  if (!defaultPlace().isNamed && folder == defaultUnitFolder()) {
    failOn(folder, owner + "; $CORVANE_DEVICE can name it");
  }
  if (facts.st_mode & S_IWOTH) failOn(folder, owner + " and everybody can write to it");
  return true;
}

}  // namespace corvane::host
