#include <CLI/CLI.hpp>
#include <iostream>
#include <regex>
#include <sstream>

#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/inspect/inspect.h"
#include "tools/unit_access.h"
#include "unit/keys.h"

namespace corvane::tools {
namespace {

// Each shell asks the tool itself, so that what it offers cannot differ from what the tool takes.

constexpr char kBash[] = R"(_corvane() {
  local word
  COMPREPLY=()
  while IFS= read -r word; do
    COMPREPLY+=("$word")
  done < <("${COMP_WORDS[0]}" complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null | cut -f1)
}
complete -o bashdefault -o default -F _corvane corvane
)";

constexpr char kZsh[] = R"(#compdef corvane
_corvane() {
  local word about
  local -a found
  while IFS=$'\t' read -r word about; do
    found+=("${word//:/\\:}${about:+:$about}")
  done < <("${words[1]}" complete -- "${(@)words[2,CURRENT]}" 2>/dev/null)
  if (( ${#found} )); then
    _describe corvane found
  else
    _files
  fi
}
if [[ $zsh_eval_context[-1] == loadautofunc ]]; then
  _corvane "$@"
else
  compdef _corvane corvane
fi
)";

constexpr char kFish[] = R"(function __corvane_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l found ($words[1] complete -- $words[2..-1] 2>/dev/null)
    if set -q found[1]
        printf '%s\n' $found
    else
        __fish_complete_path $words[-1]
    end
end
complete -c corvane -f -a '(__corvane_complete)'
)";

/// Returns the keys in the unit's configuration store, as `syscfg` names them; none when they
/// cannot be read.
std::vector<std::string> keysOfUnit() try {
  std::vector<std::string> names;
  requireDataToLook();
  for (const AreaEntry& entry : reportOnArea(unit::readArea()).entries) {
    if (entry.isFound) names.push_back(keyName(entry.key));
  }
  return names;
} catch (const std::exception&) {
  return {};
}

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
std::string roff(std::string text) {
  static const std::regex kBackslash(R"(\\)"), kHyphen("-"), kControlLine(R"((^|\n)([.']))");
  text = std::regex_replace(text, kBackslash, R"(\e)");
  text = std::regex_replace(text, kHyphen, R"(\-)");
  return std::regex_replace(text, kControlLine, R"($1\&$2)");
}

void printSection(const CLI::App& command, const std::string& name) {
  const std::string help =
      command.get_formatter()->make_help(&command, name, CLI::AppFormatMode::Normal);
  std::cout << ".SH " << roff(name) << "\n.nf\n" << roff(help) << ".fi\n";
  for (const CLI::App* inner : commandsOf(command)) {
    printSection(*inner, name + " " + inner->get_name());
  }
}

/// Prints what the last of the command line's words can become, each with what it does after a tab.
/// Prints nothing where a file's name or free text belongs.
void printCompletions(const CLI::App& app, const std::vector<std::string>& words) {
  Place place{&app};
  for (size_t i = 0; i + 1 < words.size(); ++i) place.pass(words[i]);
  const std::string prefix = words.empty() ? "" : words.back();
  const auto offer = [&](const std::string& word, const std::string& about = "") {
    if (!word.starts_with(prefix)) return;
    std::cout << printable(word) << "\t" << printable(about.substr(0, about.find('\n'))) << "\n";
  };
  const auto offerValues = [&](const CLI::Option& option) {
    std::istringstream choices(option.get_type_name());
    const bool isChoice = choices.str().find('|') != std::string::npos;
    for (std::string choice; isChoice && std::getline(choices, choice, '|');) offer(choice);
    if (option.get_name() != "KEY") return;
    for (const std::string& key : keysOfUnit()) offer(key);
  };

  if (place.option) return offerValues(*place.option);
  if (prefix.starts_with('-') && !place.isAfterOptions) {
    for (const CLI::Option* option : optionsOf(*place.command, false)) {
      offer(option->get_name(), option->get_description());
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

/// Prints the manual page: what --help says of the tool and of each command.
void printManual(const CLI::App& app) {
  std::cout << ".TH CORVANE 1 \"\" \"" << roff(app.version()) << "\"\n.SH NAME\n"
            << app.get_name() << " \\- " << roff(app.get_description()) << "\n";
  printSection(app, app.get_name());
}

}  // namespace

void addShell(CLI::App& app) {
  Command completion = Command(app).add("completion", "Print a shell's completion script",
                                        "Example, for bash:\n  source <(corvane completion bash)");
  auto& script = completion.actionOn<std::string>([](const auto& text) { std::cout << text; });
  completion
      .choice("SHELL", script, "The shell that reads it",
              {{"bash", kBash}, {"fish", kFish}, {"zsh", kZsh}})
      .required();

  // For the scripts and for the build; not among the commands that --help shows.
  Command complete = Command(app).add("complete", "Print what the last word can become");
  complete.hide();
  auto& words = complete.actionOn<std::vector<std::string>>(
      [&app](const auto& given) { printCompletions(app, given); });
  complete.text("WORD", words, "The command line's words, after --");

  Command manual = Command(app).add("manual", "Print the manual page");
  manual.hide();
  manual.action([&app] { printManual(app); });
}

}  // namespace corvane::tools
