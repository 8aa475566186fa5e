#include "tools/usage_error.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>

#include "platform/printable.h"

namespace corvane::tools {
namespace {

/// Returns how many characters must be changed, added or left out to make one text of the other;
/// two that are swapped count as two.
size_t distance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (const char character : a) {
    size_t diagonal = row[0]++;
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t change = diagonal + (character == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({change, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

/// Returns the command with its groups: "corvane syscfg get".
std::string fullName(const CLI::App& command) {
  const CLI::App* group = command.get_parent();
  return (group ? fullName(*group) + " " : "") + command.get_name();
}

std::vector<std::string> commandNames(const CLI::App& group) {
  std::vector<std::string> names;
  for (const CLI::App* command : group.get_subcommands({})) {
    if (!command->get_group().empty()) names.push_back(command->get_name());
  }
  return names;
}

std::vector<std::string> optionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_group().empty()) continue;
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

/// Returns what is wrong with a word that neither the command nor one of its commands takes.
std::string unexpected(const CLI::App& command, const std::string& word) {
  const std::string start = fullName(command) + " has no ";
  if (word.size() > 1 && word.starts_with('-')) {
    const std::string name = word.substr(0, word.find('='));
    return start + "option '" + printable(name) + "'" + suggestion(name, optionNames(command));
  }
  const std::vector<std::string> commands = commandNames(command);
  if (commands.empty()) return start + "use for '" + printable(word) + "'";
  return start + "command '" + printable(word) + "'" + suggestion(word, commands);
}

}  // namespace

std::string withoutMark(std::string text) {
  const size_t mark = text.find(kNothingMark);
  return mark == text.npos ? text : text.erase(mark, std::size(kNothingMark) - 1);
}

std::string listOf(const std::vector<std::string>& names) {
  std::string list;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) list += i + 1 < names.size() ? ", " : " or ";
    list += names[i];
  }
  return list;
}

std::string suggestion(const std::string& word, const std::vector<std::string>& names) {
  const auto nearest = std::ranges::min_element(
      names, {}, [&](const std::string& name) { return distance(word, name); });
  const bool isNear =
      nearest != names.end() && distance(word, *nearest) <= std::max<size_t>(2, word.size() / 3);
  return isNear ? "; did you mean '" + *nearest + "'?" : "";
}

CommandError usageError(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App* command = &app;
  while (command->remaining().empty() && !command->get_subcommands().empty()) {
    command = command->get_subcommands().back();
  }
  if (!command->remaining().empty()) {
    return {kUsage, unexpected(*command, withoutMark(command->remaining().front()))};
  }
  const std::string text = withoutMark(error.what());
  if (dynamic_cast<const CLI::RequiredError*>(&error) &&
      command->get_require_subcommand_min() > 0) {
    return {kUsage, fullName(*command) + " needs a command: " + listOf(commandNames(*command))};
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error)) {
    const std::string name = text.substr(0, text.find(':'));  // Empty when it is not shown.
    return {kUsage, (name.empty() ? "an option" : name) + " needs a value"};
  }
  constexpr std::string_view kExcludes = " excludes ";
  const size_t excluded = text.find(kExcludes);
  if (excluded == text.npos) return {kUsage, fullName(*command) + ": " + text};
  return {kUsage, text.substr(0, excluded) + " cannot be used with " +
                      text.substr(excluded + kExcludes.size())};
}

}  // namespace corvane::tools
