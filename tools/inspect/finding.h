#ifndef CORVANE_TOOLS_INSPECT_FINDING_H_
#define CORVANE_TOOLS_INSPECT_FINDING_H_

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace corvane::tools {

/// Bytes that are not as they ought to be, and why.
struct Finding {
  size_t offset;
  size_t length;
  std::string reason;
};

void printFindings(std::ostream& out, const std::vector<Finding>& findings);
nlohmann::ordered_json findingsAsJson(const std::vector<Finding>& findings);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_FINDING_H_
