#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/printable.h"
#include "tools/command.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/unit_access.h"
#include "unit/boot_arguments.h"

namespace corvane::tools {
namespace {

using Change = unit::BootArgumentsChange;

constexpr char kNotSet[] = "boot-args are not set, or cannot be read";

/// Returns the value between quotes, so that blanks at the ends can be seen.
std::string shown(const std::optional<std::string>& value) {
  if (!value) return "(not set, or cannot be read)";
  return "\"" + printable(*value) + "\"";
}

nlohmann::ordered_json asJson(const std::optional<std::string>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

std::string linesOf(const Change& change) {
  return "before: " + shown(change.before) + "\nafter:  " + shown(change.after) + "\n";
}

ExitStatus showBootArgs(bool json) {
  requireUnitToLook();
  const auto value = unit::readBootArguments();
  if (json) printJson({{"bootArgs", asJson(value)}});
  if (!value) throw CommandError(kFailed, kNotSet);
  if (!json) std::cout << printable(*value) << "\n";
  return kDone;
}

void requireWord(const std::string& word) {
  if (word.empty()) throw CommandError(kUsage, "the word is empty");
}

ExitStatus has(const std::string& word, bool json) {
  requireWord(word);
  textArgument(word);  // Refuses what is not UTF-8.
  requireUnitToLook();
  const auto value = unit::readBootArguments();
  const auto [asWord, withinWords] = unit::occurrencesOf(word, value.value_or(""));
  const bool found = asWord || withinWords;
  if (json) {
    printJson({{"word", word}, {"found", found}, {"asWord", asWord}});
  } else if (value) {
    std::cout << (asWord ? "found\n" : found ? "found within other words only\n" : "not found\n");
  }
  if (!value) throw CommandError(kFailed, kNotSet);
  return found ? kDone : kFailed;
}

using ChangeFunction = Change (*)(unit::Lock&, const std::string&);

/// Adds a command that changes the boot arguments with one text.
void addChange(Command group, const std::string& name, const std::string& about,
               const std::string& argument, const std::string& footer, ChangeFunction function) {
  struct Options {
    std::string text;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  Command command = group.add(name, about);
  command.text(argument, options->text, "After \"--\" when it begins with a dash").required();
  command.jsonFlag(options->json);
  command.footer(footer);
  command.action([=] {
    textArgument(options->text);
    if (function == &unit::addBootArgument) unit::trimmedWord(options->text);
    if (function == &unit::removeBootArgument) requireWord(options->text);
    const Change change =
        changeUnit([&](unit::Lock& lock) { return function(lock, options->text); });
    if (function == &unit::removeBootArgument &&
        unit::occurrencesOf(options->text, change.before.value_or("")).withinWords) {
      std::cerr << "corvane: warning: '" << printable(options->text)
                << "' occurred within other words, which are cut\n"
                << linesOf(change);
    }
    if (options->json) {
      printJson({{"before", asJson(change.before)}, {"after", asJson(change.after)}});
    } else {
      std::cout << linesOf(change);
    }
    return kDone;
  });
}

}  // namespace

void addBootArgsGroup(CLI::App& app) {
  Command group = Command(app).addGroup(
      "bootargs", "Show and edit the kernel boot arguments in NVRAM",
      "Words are found as plain text, also within other words. A change takes effect at the next\n"
      "boot.\n\n"
      "Example:\n  corvane bootargs add -- -v");

  struct Options {
    std::string word;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  Command showCommand = group.add("show", "Print the boot arguments");
  showCommand.jsonFlag(options->json);
  showCommand.footer("Example:\n  corvane bootargs show\n\nExit status: 1 when there are none.");
  showCommand.action([=] { return showBootArgs(options->json); });

  Command hasCommand = group.add("has", "Tell whether a word occurs in the boot arguments");
  hasCommand.text("WORD", options->word, "After \"--\" when it begins with a dash").required();
  hasCommand.jsonFlag(options->json);
  hasCommand.footer(
      "Example:\n  corvane bootargs has beta && echo \"beta is set\"\n\n"
      "Exit status: 0 when it does, also within another word, 1 when not.");
  hasCommand.action([=] { return has(options->word, options->json); });

  addChange(group, "add", "Append a word to the boot arguments", "WORD",
            "Example:\n  corvane bootargs add beta=2\n\n"
            "White space around the word is left out. A word that is there stays as it is. Exit "
            "status: 1\n"
            "when it was not added, as when it occurs within another word.",
            &unit::addBootArgument);
  addChange(group, "remove", "Remove every occurrence of a word from the boot arguments", "WORD",
            "Example:\n  corvane bootargs remove beta=2\n\n"
            "Blanks beside it stay. Occurrences within other words are removed too, with a\n"
            "warning. Exit status: 1 when the word does not occur.",
            &unit::removeBootArgument);
  addChange(group, "set", "Replace the boot arguments", "VALUE",
            "Example:\n  corvane bootargs set \"alpha=1 beta=2\"", &unit::setBootArguments);
}

}  // namespace corvane::tools
