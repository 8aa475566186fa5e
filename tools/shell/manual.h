#ifndef CORVANE_TOOLS_SHELL_MANUAL_H_
#define CORVANE_TOOLS_SHELL_MANUAL_H_

#include <filesystem>
#include <string>

namespace CLI {
class App;
}

namespace corvane::tools {

/// Writes a manual page for the tool and each of its commands, such as "corvane-syscfg-get.1", into
/// the folder, which must exist. Throws CommandError.
void writeManual(const CLI::App& app, const std::filesystem::path& folder);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_SHELL_MANUAL_H_
