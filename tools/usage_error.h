#ifndef CORVANE_TOOLS_USAGE_ERROR_H_
#define CORVANE_TOOLS_USAGE_ERROR_H_

#include <string>
#include <vector>

#include "tools/command_error.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

/// What the tool says of a wrong command line.
namespace corvane::tools {

/// A word of the command line, and what is wrong with it.
struct WrongWord {
  std::string word;
  std::string text;
};

/// "a, b or c".
std::string listOf(const std::vector<std::string>& names);

/// "; did you mean 'status'?" for a word that is nearly one of the names; else empty.
std::string suggestion(const std::string& word, const std::vector<std::string>& names);

/// The error about that of the wrong words that was typed first. `words` is the command line.
CommandError usageError(const std::vector<WrongWord>& wrong, const std::vector<std::string>& words);

/// The error about a command line that CLI11 refused: about the first word that nothing takes, else
/// about what is missing.
CommandError usageError(const CLI::App& app, const CLI::ParseError& error,
                        const std::vector<std::string>& words);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_USAGE_ERROR_H_
