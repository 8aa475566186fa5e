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
  for (size_t i = 0; i < outputs.size(); ++i) {
    const auto& [option, output] = outputs[i];
    if (!isFile(output)) continue;
    for (const std::string& input : inputs) {
      if (!isFile(input) || !areSame(output, input)) continue;
      std::string text = option;
      text.append(" ").append(output).append(" would replace ").append(input);
      throw CommandError(kUsage, text + ", which is read; name another file");
    }
    for (size_t other = 0; other < i; ++other) {
      if (!isFile(outputs[other].second) || !areSame(output, outputs[other].second)) continue;
      std::string text = outputs[other].first;
      text.append(" and ").append(option).append(" name the same file, ").append(output);
      throw CommandError(kUsage, text + "; name another one");
    }
  }
}

}  // namespace corvane::tools
