#include "tools/shell/completion.h"

#include <CLI/CLI.hpp>
#include <sstream>

namespace corvane::tools {
namespace {

bool isHidden(const auto& named) { return named.get_group().empty(); }

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/// Returns the group's command of that name; null when there is none.
const CLI::App* commandNamed(const CLI::App& group, const std::string& name) {
  const auto commands =
      group.get_subcommands([&](const CLI::App* command) { return command->check_name(name); });
  return commands.empty() ? nullptr : commands.front();
}

/// The place that a command line has reached before its last word.
struct Place {
  const CLI::App* command;
  /// The option whose value the last word is; null when it is not a value.
  const CLI::Option* option = nullptr;
  size_t positionalsSeen = 0;
  bool isAfterOptions = false;
};

Place placeOf(const CLI::App& app, const std::vector<std::string>& words) {
  Place place{&app};
  for (size_t i = 0; i + 1 < words.size(); ++i) {
    const std::string& word = words[i];
    if (place.option) {
      place.option = nullptr;
    } else if (word == "--") {
      place.isAfterOptions = true;
    } else if (word.starts_with('-') && !place.isAfterOptions) {
      const CLI::Option* const option = place.command->get_option_no_throw(word);
      if (option && option->get_items_expected_max() > 0) place.option = option;
    } else if (const CLI::App* command = commandNamed(*place.command, word)) {
      place.command = command;
    } else {
      ++place.positionalsSeen;
    }
  }
  return place;
}

std::vector<const CLI::Option*> positionalsOf(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

}  // namespace

std::vector<Completion> completionsOf(const CLI::App& app, const std::vector<std::string>& words,
                                      const std::function<std::vector<std::string>()>& keys) {
  const std::string prefix = words.empty() ? "" : words.back();
  const Place place = placeOf(app, words);
  std::vector<Completion> found;
  const auto offer = [&](const std::string& word, const std::string& about) {
    if (word.starts_with(prefix)) found.push_back({word, firstLine(about)});
  };
  const auto offerValuesOf = [&](const CLI::Option& option) {
    std::istringstream choices(option.get_type_name());
    const bool isChoice = choices.str().find('|') != std::string::npos;
    for (std::string choice; isChoice && std::getline(choices, choice, '|');) offer(choice, "");
    if (option.get_name() != "KEY") return;
    for (const std::string& key : keys()) offer(key, "");
  };

  if (place.option) {
    offerValuesOf(*place.option);
    return found;
  }
  if (prefix.starts_with('-') && !place.isAfterOptions) {
    for (const CLI::Option* option : place.command->get_options()) {
      if (option->get_positional() || isHidden(*option)) continue;
      for (const std::string& name : option->get_lnames()) {
        offer("--" + name, option->get_description());
      }
      for (const std::string& name : option->get_snames()) {
        offer("-" + name, option->get_description());
      }
    }
    return found;
  }
  for (const CLI::App* command : place.command->get_subcommands({})) {
    if (!isHidden(*command)) offer(command->get_name(), command->get_description());
  }
  const std::vector<const CLI::Option*> positionals = positionalsOf(*place.command);
  if (place.positionalsSeen < positionals.size()) {
    offerValuesOf(*positionals[place.positionalsSeen]);
  }
  return found;
}

}  // namespace corvane::tools
