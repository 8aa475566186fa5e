#include "tools/command.h"

#include "platform/device_path.h"
#include "platform/printable.h"
#include "platform/text.h"

namespace corvane::tools {

CFRef<CFStringRef> textArgument(const std::string& text) {
  CFRef<CFStringRef> string = textFromUtf8(text);
  if (!string) throw CommandError(kUsage, "'" + printable(text) + "' is not UTF-8 text");
  return string;
}

void requireUnit() {
  if (devicePath("/").empty()) throw CommandError(kNotReady, "the unit is not ready");
}

}  // namespace corvane::tools
