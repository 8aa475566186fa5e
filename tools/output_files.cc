#include "tools/output_files.h"

#include <filesystem>

#include "tools/command_error.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

/// Returns whether both name one regular file, which may not exist yet.
bool areSame(const std::string& a, const std::string& b) {
  std::error_code error;
  if (fs::exists(a, error) && !fs::is_regular_file(a, error)) return false;
  if (fs::equivalent(a, b, error)) return true;
  const fs::path canonicalA = fs::weakly_canonical(a, error);
  const fs::path canonicalB = fs::weakly_canonical(b, error);
  return !canonicalA.empty() && canonicalA == canonicalB;
}

}  // namespace

void requireDistinctOutputs(const std::vector<std::pair<std::string, std::string>>& outputs,
                            const std::vector<std::string>& inputs) {
  const auto isFile = [](const std::string& name) { return !name.empty() && name != "-"; };
  std::vector<std::string> used = inputs;
  for (const auto& [option, output] : outputs) {
    if (!isFile(output)) continue;
    for (const std::string& other : used) {
      if (!isFile(other) || !areSame(output, other)) continue;
      std::string text = option;
      text.append(" ").append(output).append(" would replace ").append(other);
      throw CommandError(kUsage, text + ": the same file is read or written, too");
    }
    used.push_back(output);
  }
}

}  // namespace corvane::tools
