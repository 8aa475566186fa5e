#ifndef CORVANE_TOOLS_SHELL_COMPLETION_H_
#define CORVANE_TOOLS_SHELL_COMPLETION_H_

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

/// What shells ask of the tool's command tree.
namespace corvane::tools {

struct Completion {
  std::string word;
  /// One line; may be empty.
  std::string about;
};

/// Returns what the last of the command line's words can become; `words` is without the tool's own
/// name. Empty where a file's name or free text belongs. `keys` lists the unit's configuration
/// keys, and is called only where one belongs.
std::vector<Completion> completionsOf(const CLI::App& app, const std::vector<std::string>& words,
                                      const std::function<std::vector<std::string>()>& keys);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_SHELL_COMPLETION_H_
