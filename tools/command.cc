#include "tools/command.h"

#include <CLI/CLI.hpp>

#include "controlbits/control_bits.h"
#include "platform/device_path.h"
#include "platform/text.h"

namespace corvane::tools {
namespace {

ExitStatus gStatusOfRun = kDone;

}  // namespace

void setAction(CLI::App* command, std::function<ExitStatus()> work) {
  command->final_callback([command, work = std::move(work)] {
    if (command->get_subcommands().empty()) gStatusOfRun = work();
  });
}

ExitStatus statusOfRun() { return gStatusOfRun; }

void addJsonFlag(CLI::App* command, bool& json) {
  command->add_flag("--json", json, "Print JSON instead of text");
}

CFRef<CFStringRef> textArgument(const std::string& text) {
  CFRef<CFStringRef> string = textFromUtf8(text);
  if (!string) throw CommandError(kUsage, "'" + text + "' is not UTF-8 text");
  return string;
}

void requireUnit() {
  if (devicePath("/").empty()) throw CommandError(kNotReady, "the unit is not ready");
}

void requireReady() {
  if (ControlBits::getReady() != 0) throw CommandError(kNotReady, "the unit is not ready");
}

}  // namespace corvane::tools
