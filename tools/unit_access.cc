#include "tools/unit_access.h"

#include <memory>

#include "platform/device_path.h"
#include "platform/printable.h"
#include "platform/text.h"
#include "platform/unit_messages.h"
#include "tools/virtual_unit.h"
#include "unit/records.h"
#include "unit/status_byte.h"

namespace corvane::tools {

CFRef<CFStringRef> textArgument(const std::string& text) {
  CFRef<CFStringRef> string = textFromUtf8(text);
  if (!string) throw CommandError(kUsage, "'" + printable(text) + "' is not UTF-8 text");
  return string;
}

void requireUnitToLook() {
  useExistingUnit();
  if (devicePath("/").empty()) throw CommandError(kNotReady, "the unit is not ready");
}

void requireDataToLook() {
  requireUnitToLook();
  unit::openDataArea();
}

void addLook(Command group, const std::string& name, const std::string& about,
             const std::string& footer, ExitStatus (*look)(bool json)) {
  const auto json = std::make_shared<bool>(false);
  Command command = group.add(name, about);
  command.jsonFlag(*json);
  command.footer(footer);
  command.action([=] { return look(*json); });
}

void requireInside(uint32_t offset, size_t size) {
  if (offset < size) return;
  throw CommandError(kUsage, "offset " + std::to_string(offset) + " lies outside the data set of " +
                                 std::to_string(size) + " bytes");
}

void requireControlBit(uint32_t offset, bool isForced) {
  if (offset < unit::kControlBits) return;
  const std::vector<uint8_t> contents = unit::readDiagnosticData();
  requireInside(offset, contents.size());
  if (isForced) return;
  throw CommandError(kFailed, "the byte at offset " + std::to_string(offset) + " " +
                                  unit::recordByteText(offset, contents) +
                                  "; nothing was changed: --force changes it nevertheless");
}

ExitStatus statusOf(unit::Fault fault) {
  switch (fault) {
    case unit::Fault::kLocked:
    case unit::Fault::kUnreadable:
      return kNotReady;
    case unit::Fault::kBadArgument:
      return kUsage;
    default:
      return kFailed;
  }
}

QuietChange::QuietChange() : _redirection(STDERR_FILENO, _nowhere.get()) {
  sendUnitMessagesTo(_redirection.before());
}

QuietChange::~QuietChange() { sendUnitMessagesTo(-1); }

}  // namespace corvane::tools
