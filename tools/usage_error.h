#ifndef CORVANE_TOOLS_USAGE_ERROR_H_
#define CORVANE_TOOLS_USAGE_ERROR_H_

#include <string>
#include <vector>

#include "tools/command_error.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

/// The errors that the tool reports for a wrong command line.
namespace corvane::tools {

/// Stands after an option's "=" that has no value: CLI11 would take the next word.
inline constexpr char kNothingMark[] = "\x01\x02";
/// Returns the text without its marks.
std::string withoutMark(std::string text);

/// Returns the names as "a, b or c".
std::string listOf(const std::vector<std::string>& names);

/// Returns "; did you mean 'status'?" for a word that is nearly one of the names, or an empty text.
std::string suggestion(const std::string& word, const std::vector<std::string>& names);

/// Returns the error about a command line that CLI11 refused: about the first word that nothing
/// takes, or what CLI11 reports, such as a missing value.
CommandError usageError(const CLI::App& app, const CLI::ParseError& error);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_USAGE_ERROR_H_
