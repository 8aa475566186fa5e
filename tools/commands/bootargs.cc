#include <functional>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/or_null.h"
#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/unit_access.h"
#include "unit/boot_arguments.h"

namespace corvane::tools {
namespace {

using BootArgsChange = unit::BootArgumentsChange;

constexpr char kNotSet[] = "boot-args are not set, or cannot be read";

/// Returns the value between quotes, so that blanks at the ends can be seen.
std::string shown(const std::optional<std::string>& value) {
  if (!value) return "(not set, or cannot be read)";
  return "\"" + printable(*value) + "\"";
}

std::string linesOf(const BootArgsChange& change) {
  return "before: " + shown(change.before) + "\nafter:  " + shown(change.after) + "\n";
}

void showBootArgs(bool json) {
  requireUnitToLook();
  const auto value = unit::readBootArguments();
  if (json) printJson({{"bootArgs", orNull(value)}});
  if (!value) throw CommandError(kFailed, kNotSet);
  if (!json) std::cout << printable(*value) << "\n";
}

void requireWord(const std::string& word) {
  if (word.empty()) throw CommandError(kUsage, "the word is empty");
}

ExitStatus hasWord(const std::string& word, bool json) {
  requireWord(word);
  requireUnitToLook();
  const auto value = unit::readBootArguments();
  const auto [asWord, withinWords] = unit::occurrencesOf(word, value.value_or(""));
  const bool found = asWord || withinWords;
  if (!value) throw CommandError(kFailed, kNotSet);
  printResult(json, {{"word", word}, {"found", found}, {"asWord", asWord}},
              asWord  ? "found\n"
              : found ? "found within other words only\n"
                      : "not found\n");
  return found ? kDone : kFailed;
}

/// Makes one of the three changes with `text`.
void changeBootArgs(BootArgsChange (*function)(unit::Lock&, const std::string&),
                    const std::string& text, bool json) {
  if (function == &unit::addBootArgument) unit::trimmedWord(text);
  if (function == &unit::removeBootArgument) requireWord(text);
  const BootArgsChange done = changeUnit([&](unit::Lock& lock) { return function(lock, text); });
  if (function == &unit::removeBootArgument &&
      unit::occurrencesOf(text, done.before.value_or("")).withinWords) {
    std::cerr << "corvane: warning: '" << printable(text)
              << "' occurred within other words, which are cut\n"
              << linesOf(done);
  }
  printResult(json, {{"before", orNull(done.before)}, {"after", orNull(done.after)}},
              linesOf(done));
}

/// Adds a command that does `work` with one text.
void addWithText(Command group, const std::string& name, const std::string& about,
                 const std::string& argument, const std::string& footer, auto work) {
  struct Options {
    std::string text;
    bool json = false;
  };
  Command command = group.add(name, about, footer);
  auto& options = command.actionOn<Options>([=](const Options& given) {
    textArgument(given.text);  // Refuses what is not UTF-8 before a unit is made.
    return work(given.text, given.json);
  });
  command.text(argument, options.text, "After \"--\" when it begins with a dash").required();
  command.jsonFlag(options.json);
}

}  // namespace

void addBootArgs(CLI::App& app) {
  Command group = Command(app).addGroup(
      "bootargs", "Show and edit the kernel boot arguments in NVRAM",
      "Words are found as plain text, also within other words. A change takes effect at the next\n"
      "boot.\n\n"
      "Example:\n  corvane bootargs add -- -v");

  addLook(group, "show", "Print the boot arguments", "Exit status: 1 when there are none.",
          showBootArgs);
  addWithText(group, "has", "Show whether a word occurs in the boot arguments", "WORD",
              "Example:\n  corvane bootargs has beta && echo \"beta is set\"\n\n"
              "Exit status: 0 when it does, also within another word, 1 when not.",
              hasWord);
  addWithText(group, "add", "Append a word to the boot arguments", "WORD",
              "Example:\n  corvane bootargs add beta=2\n\n"
              "White space around the word is left out. A word that is there stays as it is.\n"
              "Exit status: 1 when it was not added, as when it occurs within another word.",
              std::bind_front(changeBootArgs, &unit::addBootArgument));
  addWithText(group, "remove", "Remove every occurrence of a word from the boot arguments", "WORD",
              "Example:\n  corvane bootargs remove beta=2\n\n"
              "Blanks around it stay. Occurrences within other words are removed too, with a\n"
              "warning. Exit status: 1 when the word does not occur.",
              std::bind_front(changeBootArgs, &unit::removeBootArgument));
  addWithText(group, "set", "Replace the boot arguments", "VALUE",
              "Example:\n  corvane bootargs set \"alpha=1 beta=2\"",
              std::bind_front(changeBootArgs, &unit::setBootArguments));
}

}  // namespace corvane::tools
