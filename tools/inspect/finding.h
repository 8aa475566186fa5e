#ifndef CORVANE_TOOLS_INSPECT_FINDING_H_
#define CORVANE_TOOLS_INSPECT_FINDING_H_

#include <cstddef>
#include <string>

namespace corvane::tools {

/// Bytes of a data set that are not what they should be, and the reason.
struct Finding {
  size_t offset;
  size_t length;
  std::string reason;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_FINDING_H_
