#include "tools/shell/completion.h"

#include <CLI/CLI.hpp>
#include <ostream>
#include <sstream>

#include "platform/printable.h"

namespace corvane::tools {
namespace {

std::vector<const CLI::App*> commandsOf(const CLI::App& group) {
  return group.get_subcommands(
      [](const CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command, bool isPositional) {
  return command.get_options([isPositional](const CLI::Option* option) {
    return option->get_positional() == isPositional && !option->get_group().empty();
  });
}

/// The place that a command line has reached before its last word.
struct Place {
  const CLI::App* command;
  /// The option whose value the last word is; null when it is not a value.
  const CLI::Option* option = nullptr;
  size_t positionalsSeen = 0;
  bool isAfterOptions = false;

  void pass(const std::string& word) {
    const auto isNamed = [&](const CLI::App* inner) { return inner->check_name(word); };
    if (option) {
      option = nullptr;
    } else if (word == "--") {
      isAfterOptions = true;
    } else if (word.starts_with('-') && !isAfterOptions) {
      const CLI::Option* const named = command->get_option_no_throw(word);
      if (named && named->get_items_expected_max() > 0) option = named;
    } else if (const auto commands = command->get_subcommands(isNamed); !commands.empty()) {
      command = commands.front();
    } else {
      ++positionalsSeen;
    }
  }
};

/// Returns the text with what roff would not print as it is escaped.
std::string roff(const std::string& text) {
  std::string escaped;
  for (const char character : text) {
    const bool isLineStart = escaped.empty() || escaped.back() == '\n';
    if (isLineStart && (character == '.' || character == '\'')) escaped += "\\&";
    if (character == '\\' || character == '-') escaped += '\\';
    escaped += character == '\\' ? 'e' : character;
  }
  return escaped;
}

void printSection(std::ostream& out, const CLI::App& command, const std::string& name) {
  const std::string help =
      command.get_formatter()->make_help(&command, name, CLI::AppFormatMode::Normal);
  out << ".SH " << roff(name) << "\n.nf\n" << roff(help) << ".fi\n";
  for (const CLI::App* inner : commandsOf(command)) {
    printSection(out, *inner, name + " " + inner->get_name());
  }
}

}  // namespace

void printCompletions(std::ostream& out, const CLI::App& app, const std::vector<std::string>& words,
                      const std::function<std::vector<std::string>()>& keys) {
  Place place{&app};
  for (size_t i = 0; i + 1 < words.size(); ++i) place.pass(words[i]);
  const std::string prefix = words.empty() ? "" : words.back();
  const auto offer = [&](const std::string& word, const std::string& about = "") {
    if (!word.starts_with(prefix)) return;
    out << printable(word) << "\t" << printable(about.substr(0, about.find('\n'))) << "\n";
  };
  const auto offerValues = [&](const CLI::Option& option) {
    std::istringstream choices(option.get_type_name());
    const bool isChoice = choices.str().find('|') != std::string::npos;
    for (std::string choice; isChoice && std::getline(choices, choice, '|');) offer(choice);
    if (option.get_name() != "KEY") return;
    for (const std::string& key : keys()) offer(key);
  };

  if (place.option) return offerValues(*place.option);
  if (prefix.starts_with('-') && !place.isAfterOptions) {
    for (const CLI::Option* option : optionsOf(*place.command, false)) {
      for (const auto& name : option->get_lnames()) offer("--" + name, option->get_description());
      for (const auto& name : option->get_snames()) offer("-" + name, option->get_description());
    }
    return;
  }
  for (const CLI::App* command : commandsOf(*place.command)) {
    offer(command->get_name(), command->get_description());
  }
  const std::vector<const CLI::Option*> positionals = optionsOf(*place.command, true);
  if (place.positionalsSeen < positionals.size()) offerValues(*positionals[place.positionalsSeen]);
}

void printManual(std::ostream& out, const CLI::App& app) {
  out << ".TH CORVANE 1 \"\" \"" << roff(app.version()) << "\"\n.SH NAME\n"
      << app.get_name() << " \\- " << roff(app.get_description()) << "\n";
  printSection(out, app, app.get_name());
}

}  // namespace corvane::tools
