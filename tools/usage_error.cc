#include "tools/usage_error.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>

#include "platform/printable.h"

namespace corvane::tools {
namespace {

/// Returns how many characters must be changed, added, left out or swapped with their neighbour to
/// make one text of the other.
size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<size_t>> rows(a.size() + 1, std::vector<size_t>(b.size() + 1));
  std::iota(rows[0].begin(), rows[0].end(), 0);
  for (size_t i = 1; i <= a.size(); ++i) {
    rows[i][0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t change = rows[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, change});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
      }
    }
  }
  return rows[a.size()][b.size()];
}

std::string quoted(const std::string& word) { return "'" + printable(word) + "'"; }

/// Returns where the command line has the word, also as an option's value after "=".
size_t placeOf(const std::string& word, const std::vector<std::string>& words) {
  return static_cast<size_t>(std::ranges::find_if(words,
                                                  [&](const std::string& typed) {
                                                    return typed == word ||
                                                           typed.ends_with("=" + word) ||
                                                           typed.starts_with(word + "=");
                                                  }) -
                             words.begin());
}

/// Returns the command with its groups: "corvane syscfg get".
std::string fullName(const CLI::App& command) {
  const CLI::App* group = command.get_parent();
  return (group ? fullName(*group) + " " : "") + command.get_name();
}

std::vector<std::string> commandNames(const CLI::App& group) {
  std::vector<std::string> names;
  for (const CLI::App* command : group.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

std::vector<std::string> optionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

/// Returns what is wrong with a word that neither the command nor one of its commands takes.
std::string unexpected(const CLI::App& command, const std::string& word) {
  if (word.size() > 1 && word.starts_with('-')) {
    const std::string name = word.substr(0, word.find('='));
    return fullName(command) + " has no option " + quoted(name) +
           suggestion(name, optionNames(command));
  }
  const std::vector<std::string> commands = commandNames(command);
  if (commands.empty() || !command.get_subcommands().empty()) {
    return fullName(command) + " has no use for " + quoted(word);
  }
  return fullName(command) + " has no command " + quoted(word) + suggestion(word, commands);
}

/// Adds the words that nothing took, of the command and of the commands below it that were named.
void addUnexpected(const CLI::App& command, std::vector<WrongWord>& wrong) {
  for (const std::string& word : command.remaining()) {
    wrong.push_back({word, unexpected(command, word)});
  }
  for (const CLI::App* named : command.get_subcommands()) addUnexpected(*named, wrong);
}

/// Returns the last command that was named.
const CLI::App& innermost(const CLI::App& app) {
  return app.get_subcommands().empty() ? app : innermost(*app.get_subcommands().back());
}

}  // namespace

std::string listOf(const std::vector<std::string>& names) {
  std::string list;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) list += i + 1 < names.size() ? ", " : " or ";
    list += names[i];
  }
  return list;
}

std::string suggestion(const std::string& word, const std::vector<std::string>& names) {
  const size_t most = std::max<size_t>(1, word.size() / 3);
  std::string nearest;
  size_t least = most + 1;
  for (const std::string& name : names) {
    const size_t changes = distance(word, name);
    if (changes < least) {
      least = changes;
      nearest = name;
    }
  }
  return nearest.empty() ? "" : "; did you mean '" + nearest + "'?";
}

CommandError usageError(const std::vector<WrongWord>& wrong,
                        const std::vector<std::string>& words) {
  const auto first = std::ranges::min_element(
      wrong, {}, [&](const WrongWord& word) { return placeOf(word.word, words); });
  return {kUsage, first->text};
}

CommandError usageError(const CLI::App& app, const CLI::ParseError& error,
                        const std::vector<std::string>& words) {
  std::vector<WrongWord> wrong;
  addUnexpected(app, wrong);
  if (!wrong.empty()) return usageError(wrong, words);

  const CLI::App& command = innermost(app);
  const std::string text = error.what();
  if (command.get_require_subcommand_min() > 0 && dynamic_cast<const CLI::RequiredError*>(&error)) {
    return {kUsage, fullName(command) + " needs a command: " + listOf(commandNames(command))};
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error)) {
    return {kUsage, text.substr(0, text.find(':')) + " needs a value"};
  }
  if (dynamic_cast<const CLI::ValidationError*>(&error) ||
      dynamic_cast<const CLI::ConversionError*>(&error)) {
    return {kUsage, fullName(command) + ": " + text};
  }
  const size_t excluded = text.find(" excludes ");
  if (excluded != std::string::npos) {
    return {kUsage, text.substr(0, excluded) + " cannot be used with " +
                        text.substr(excluded + std::string(" excludes ").size())};
  }
  return {kUsage, text};
}

}  // namespace corvane::tools
