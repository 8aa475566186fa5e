#ifndef CORVANE_TOOLS_OUTPUT_FILES_H_
#define CORVANE_TOOLS_OUTPUT_FILES_H_

#include <string>
#include <utility>
#include <vector>

namespace corvane::tools {

/// Refuses to replace what is read. `outputs` are options with the files to write, such as
/// {"--html", "page.html"}; those with an empty name are not given. Throws CommandError (wrong
/// usage) when one of them is one of `inputs`, or another output, also through links.
void requireDistinctOutputs(const std::vector<std::pair<std::string, std::string>>& outputs,
                            const std::vector<std::string>& inputs);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_OUTPUT_FILES_H_
