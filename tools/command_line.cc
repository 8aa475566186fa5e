#include "tools/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>

#include "platform/printable.h"
#include "platform/time_text.h"

namespace corvane::tools {
namespace {

/// What the action of the command line returned.
ExitStatus gStatus = kDone;

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
    const std::string name = option->get_name();  // Empty when it is not shown.
    if (name.starts_with("--")) names.push_back(name);
  }
  return names;
}

/// Returns what is wrong with a word that neither the command nor one of its commands takes.
std::string unexpected(const CLI::App& command, const std::string& word) {
  const std::string start = fullName(command) + " has no ";
  if (word.size() > 1 && word.starts_with('-')) {
    return start + "option '" + printable(word.substr(0, word.find('='))) + "'; it has " +
           listOf(optionNames(command));
  }
  const std::vector<std::string> commands = commandNames(command);
  if (commands.empty()) return start + "use for '" + printable(word) + "'";
  return start + "command '" + printable(word) + "'; it has " + listOf(commands);
}

/// Returns the names without an option's third, which is an earlier one.
std::string shownNames(const std::string& names) {
  return names.substr(0, names.find(',', names.find(',') + 1));
}

class Formatter : public CLI::Formatter {
 public:
  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    return shownNames(CLI::Formatter::make_option_name(option, isPositional));
  }
};

/// Returns the error about a command line that CLI11 refused: about the first word that nothing
/// takes, or what CLI11 reports, such as a missing value.
CommandError usageError(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App* command = &app;
  while (command->remaining().empty() && !command->get_subcommands().empty()) {
    command = command->get_subcommands().back();
  }
  if (!command->remaining().empty()) {
    return {kUsage, unexpected(*command, command->remaining().front())};
  }
  if (dynamic_cast<const CLI::RequiredError*>(&error) &&
      command->get_require_subcommand_min() > 0) {
    return {kUsage, fullName(*command) + " needs a command: " + listOf(commandNames(*command))};
  }
  return {kUsage, fullName(*command) + ": " + error.what()};
}

}  // namespace

void Option::required() { _option->required(); }
void Option::excludes(const Option& other) { _option->excludes(other._option); }
void Option::needs(const Option& other) { _option->needs(other._option); }

void excludeEachOther(std::vector<Option> options) {
  for (size_t i = 0; i < options.size(); ++i) {
    for (size_t j = 0; j < i; ++j) options[i].excludes(options[j]);
  }
}

std::string listOf(const std::vector<std::string>& names) {
  std::string list = CLI::detail::join(names, ", ");
  const size_t last = list.rfind(", ");
  return last == list.npos ? list : list.replace(last, 2, " or ");
}

Command Command::add(const std::string& name, const std::string& about, const std::string& footer) {
  CLI::App* const command = _app->add_subcommand(name, about)->footer(footer);
  command->formatter(std::make_shared<Formatter>());
  return Command(*command);
}

Command Command::addGroup(const std::string& name, const std::string& about,
                          const std::string& footer) {
  Command group = add(name, about, footer);
  group._app->require_subcommand(1);
  return group;
}

void Command::hide() { _app->group(""); }

void Command::run(std::function<ExitStatus()> work) {
  _app->final_callback([app = _app, work = std::move(work)] {
    if (app->get_subcommands().empty()) gStatus = work();
  });
}

Option Command::flag(const std::string& names, bool& value, const std::string& about) {
  return Option(_app->add_flag(names, value, about));
}

Option Command::jsonFlag(bool& value) {
  return flag("--json", value, "Print JSON instead of text");
}

Option Command::seconds(const std::string& names, double& value, const std::string& about,
                        double min, double max) {
  const std::string expected = "seconds from " + decimalText(min) + " to " + decimalText(max);
  return add(names, about, false, {"SECONDS"}, expected, [=, &value](const std::string& word) {
    const std::optional<double> number = parseDecimal(word);
    return number && *number >= min && *number <= max && store(value, *number);
  });
}

Option Command::time(const std::string& names, std::optional<std::string>& value,
                     const std::string& about) {
  return add(names, about, false, {"TIME"}, "a time such as 2026-11-16 or 2026-11-16T08:30:00",
             [&value](const std::string& word) { return parseTime(word) && store(value, word); });
}

Option Command::add(const std::string& names, const std::string& about, bool isRepeatable,
                    const std::vector<std::string>& placeholders, const std::string& expected,
                    const Reader& read) {
  const bool isPositional = !names.starts_with('-');
  const std::string name = shownNames(names).substr(shownNames(names).rfind(',') + 1);
  const auto take = [=](const CLI::results_t& words) {
    if (words.size() > 1 && !isRepeatable) {
      throw CommandError(kUsage, name + " is given more than once");
    }
    for (const std::string& word : words) {
      if (read(word)) continue;
      std::string text = name;
      text.append(" takes ").append(expected).append(", not '").append(printable(word));
      throw CommandError(kUsage, text + "'");
    }
    return true;
  };
  CLI::Option* const option = _app->add_option(names, take, about);
  // The shells complete the words between the bars.
  const bool isShown = !isPositional || placeholders.size() > 1;
  option->type_name(isShown ? CLI::detail::join(placeholders, "|") : "");
  option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  if (isPositional && isRepeatable) option->expected(-1);
  return Option(option);
}

ExitStatus runCommandLine(CLI::App& app, int argc, char** argv) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  for (const std::string& word : words) {
    if (word == "--") break;
    // CLI11 would take the next word as its value.
    if (word.starts_with('-') && word.find('=') + 1 == word.size()) {
      throw CommandError(kUsage, printable(word) + " needs a value");
    }
  }
  std::ranges::reverse(words);
  try {
    app.parse(std::move(words));
  } catch (const CLI::Success& help) {
    app.exit(help);
    return kDone;
  } catch (const CLI::ParseError& error) {
    throw usageError(app, error);
  }
  return gStatus;
}

}  // namespace corvane::tools
