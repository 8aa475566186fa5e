#include "host/unit/unit_in_use.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>

#include "host/device_error.h"
#include "platform/report.h"

namespace corvane::host {
namespace {

struct InUse {
  std::mutex mutex;
  bool isOpened = false;
  std::shared_ptr<UnitFolder> unit;
  std::string lastReport;
};

/// Never destroyed: platform calls are made until the last static destructor has run.
InUse& inUse() {
  static InUse& state = *new InUse;
  return state;
}

/// The variable's value; nothing when it is unset or empty.
std::filesystem::path fromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::filesystem::path stateFolder() {
  if (auto folder = fromEnvironment("XDG_STATE_HOME"); !folder.empty()) return folder;
  std::filesystem::path home = fromEnvironment("HOME");
  if (home.empty()) {
    if (const passwd* user = ::getpwuid(::getuid())) home = user->pw_dir;
  }
  return home / ".local/state";
}

void openDefaultUnit(InUse& state) {
  state.isOpened = true;
  try {
    state.unit = std::make_shared<UnitFolder>(defaultUnitFolder());
  } catch (const DeviceError& error) {
    state.lastReport = error.what();
    reportOnStandardError("virtual device: " + state.lastReport + "\n");
  }
}

}  // namespace

std::filesystem::path defaultUnitFolder() {
  static const std::filesystem::path folder = [] {
    std::filesystem::path named = fromEnvironment("CORVANE_DEVICE");
    return std::filesystem::absolute(named.empty() ? stateFolder() / "corvane/device" : named)
        .lexically_normal();
  }();
  return folder;
}

std::shared_ptr<UnitFolder> unitInUse() {
  InUse& state = inUse();
  const std::lock_guard lock(state.mutex);
  if (!state.isOpened) openDefaultUnit(state);
  return state.unit;
}

void useUnit(std::shared_ptr<UnitFolder> unit) {
  InUse& state = inUse();
  const std::lock_guard lock(state.mutex);
  state.isOpened = true;
  state.unit = std::move(unit);
}

void reportUnusable(const std::string& reason) {
  InUse& state = inUse();
  const std::lock_guard lock(state.mutex);
  if (state.lastReport == reason) return;
  state.lastReport = reason;
  reportOnStandardError("virtual device: " + reason + "\n");
}

}  // namespace corvane::host
