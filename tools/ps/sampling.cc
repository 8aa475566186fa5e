#include "tools/ps/sampling.h"

#include <iostream>
#include <string_view>

#include "tools/command_error.h"
#include "tools/standard_error.h"

namespace corvane::tools {

void requireProcesses(const std::function<std::string()>& sample) {
  constexpr std::string_view kPlatform = "corvane: ";
  std::string reason;
  const std::string said = standardErrorOf([&] { reason = sample(); });
  if (reason.empty() || !said.starts_with(kPlatform)) {
    std::cerr << said;
  } else {
    reason = said.substr(kPlatform.size(), said.find('\n') - kPlatform.size());
  }
  if (reason.empty()) return;
  throw CommandError(kFailed, "the processes cannot be sampled: " + reason);
}

}  // namespace corvane::tools
