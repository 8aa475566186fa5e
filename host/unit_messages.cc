#include "host/unit_messages.h"

#include <unistd.h>

#include <atomic>

#include "platform/printable.h"
#include "platform/report.h"
#include "platform/unit_messages.h"

namespace corvane {
namespace {

std::atomic<int> gMessages{-1};

}  // namespace

void sendUnitMessagesTo(int descriptor) { gMessages = descriptor; }

void host::reportOnUnit(const std::string& text) {
  const std::string line = "virtual device: " + printable(text) + "\n";
  const int descriptor = gMessages;
  if (descriptor < 0) return reportOnStandardError(line);
  // A message that cannot be written is lost, as on standard error.
  [[maybe_unused]] const auto written = ::write(descriptor, line.data(), line.size());
}

}  // namespace corvane
