#ifndef CORVANE_TOOLS_SHELL_COMPLETION_H_
#define CORVANE_TOOLS_SHELL_COMPLETION_H_

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
}

/// What shells and the manual show of the tool's command tree.
namespace corvane::tools {

/// Prints what the last of the command line's words can become, each with what it does after a tab;
/// `words` is without the tool's own name. Prints nothing where a file's name or free text belongs.
/// `keys` lists the unit's configuration keys, and is called only where one belongs.
void printCompletions(std::ostream& out, const CLI::App& app, const std::vector<std::string>& words,
                      const std::function<std::vector<std::string>()>& keys);

/// Prints the manual page: what --help says of the tool and of each command.
void printManual(std::ostream& out, const CLI::App& app);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_SHELL_COMPLETION_H_
