#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "bootargs/boot_args.h"
#include "bootargs/white_space.h"
#include "platform/printable.h"
#include "platform/text.h"
#include "tools/command.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/unit_lock.h"

namespace corvane::tools {
namespace {

constexpr char kNotSet[] = "boot-args are not set, or cannot be read";

/// Returns nothing when they are not set or cannot be read: neither the library nor the registry
/// tells which.
std::optional<std::string> currentValue() {
  const CFRef<CFStringRef> value(copyBootArgs());
  if (!value) return {};
  return utf8Bytes(value.get());
}

/// Returns the value between quotes, so that blanks at the ends can be seen.
std::string shown(const std::optional<std::string>& value) {
  if (!value) return "(not set, or cannot be read)";
  std::string text = "\"";
  text += printable(*value);
  return text + "\"";
}

nlohmann::ordered_json asJson(const std::optional<std::string>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

struct Occurrences {
  bool asWord = false;
  bool withinWords = false;
};

/// Returns how `word` occurs in `value`, found as a removal finds it: left to right, without
/// overlap.
Occurrences occurrencesOf(const std::string& word, const std::string& value) {
  Occurrences found;
  const std::string_view blanks = " \t";
  const auto isBlank = [&](char c) { return blanks.find(c) != std::string_view::npos; };
  for (size_t at = 0; (at = value.find(word, at)) != std::string::npos; at += word.size()) {
    const size_t end = at + word.size();
    const bool startsWord = at == 0 || isBlank(value[at - 1]) || isBlank(word.front());
    const bool endsWord = end == value.size() || isBlank(value[end]) || isBlank(word.back());
    (startsWord && endsWord ? found.asWord : found.withinWords) = true;
  }
  return found;
}

struct Change {
  std::optional<std::string> before, after;
};

std::string linesOf(const Change& change) {
  return "before: " + shown(change.before) + "\nafter:  " + shown(change.after) + "\n";
}

void print(const Change& change, bool json) {
  if (json) {
    printJson({{"before", asJson(change.before)}, {"after", asJson(change.after)}});
  } else {
    std::cout << linesOf(change);
  }
}

/// Throws unless the change has made them `wanted`.
void requireChanged(const std::optional<std::string>& after, const std::string& wanted) {
  if (!after) {
    throw CommandError(kNotReady,
                       std::string(kNotSet) + ": whether the change was made is not known");
  }
  if (after != wanted) {
    throw CommandError(kFailed, "the change was not made: boot-args are " + shown(after));
  }
}

ExitStatus showBootArgs(bool json) {
  requireUnit();
  const auto value = currentValue();
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
  textArgument(word);  // Refuses what is no UTF-8.
  requireUnit();
  const auto value = currentValue();
  const Occurrences occurrences = value ? occurrencesOf(word, *value) : Occurrences();
  const bool asWord = occurrences.asWord;
  const bool found = asWord || occurrences.withinWords;
  if (json) {
    printJson({{"word", word}, {"found", found}, {"asWord", asWord}});
  } else if (value) {
    std::cout << (asWord ? "found\n" : found ? "found within other words only\n" : "not found\n");
  }
  if (!value) throw CommandError(kFailed, kNotSet);
  return found ? kDone : kFailed;
}

ExitStatus add(const std::string& argument, bool json) {
  const CFRef<CFStringRef> trimmedWord = trimmed(textArgument(argument).get());
  const std::string word = utf8Bytes(trimmedWord.get());
  if (word.empty()) throw CommandError(kUsage, "the word is blank");
  requireUnit();
  const UnitLock lock;
  const auto before = currentValue();
  if (!before) {
    throw CommandError(kFailed, std::string(kNotSet) +
                                    "; adding never creates them, \"corvane bootargs set\" does");
  }
  const Occurrences found = occurrencesOf(word, *before);
  if (found.withinWords && !found.asWord) {
    throw CommandError(kFailed, "nothing is added: '" + printable(word) +
                                    "' occurs within another word of " + shown(before));
  }
  addBootArg(trimmedWord.get());
  const auto after = currentValue();
  requireChanged(after, found.asWord ? *before : *before + " " + word);
  print({before, after}, json);
  return kDone;
}

ExitStatus remove(const std::string& argument, bool json) {
  const auto word = textArgument(argument);
  requireWord(argument);
  requireUnit();
  const UnitLock lock;
  const auto before = currentValue();
  if (!before) throw CommandError(kFailed, kNotSet);
  const Occurrences found = occurrencesOf(argument, *before);
  if (!found.asWord && !found.withinWords) {
    throw CommandError(kFailed, "nothing is removed: '" + printable(argument) +
                                    "' does not occur in " + shown(before));
  }
  const std::string wanted =
      utf8Bytes(replacingText(textArgument(*before).get(), word.get(), CFSTR("")).get());
  if (found.withinWords) {
    std::cerr << "corvane: warning: '" << printable(argument)
              << "' occurs within other words, which are cut\n"
              << linesOf({before, wanted});
  }
  removeBootArg(word.get());
  const auto after = currentValue();
  requireChanged(after, wanted);
  print({before, after}, json);
  return kDone;
}

ExitStatus set(const std::string& value, bool json) {
  const auto text = textArgument(value);
  requireUnit();
  const UnitLock lock;
  const auto before = currentValue();
  setBootArgs(text.get());
  const auto after = currentValue();
  requireChanged(after, value);
  print({before, after}, json);
  return kDone;
}

/// Adds a command that takes one text, with "--" before it where it begins with "-".
void addBootArgsCommand(Command group, const std::string& name, const std::string& about,
                        const std::string& argument, const std::string& footer,
                        ExitStatus (*work)(const std::string&, bool json)) {
  struct Options {
    std::string text;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  Command command = group.add(name, about);
  command.text(argument, options->text, "After \"--\" when it begins with a dash").required();
  command.jsonFlag(options->json);
  command.footer(footer);
  command.action([=] { return work(options->text, options->json); });
}

}  // namespace

void addBootArgsGroup(CLI::App& app) {
  Command group = Command(app).addGroup(
      "bootargs", "Show and edit the kernel boot arguments in NVRAM",
      "Words are found as plain text, also within other words. A change takes effect at the next\n"
      "boot.\n\n"
      "Example:\n  corvane bootargs add -- -v");

  const auto json = std::make_shared<bool>(false);
  Command showCommand = group.add("show", "Print the boot arguments");
  showCommand.jsonFlag(*json);
  showCommand.footer("Example:\n  corvane bootargs show\n\nExit status: 1 when there are none.");
  showCommand.action([=] { return showBootArgs(*json); });

  addBootArgsCommand(group, "has", "Tell whether a word occurs in the boot arguments", "WORD",
                     "Example:\n  corvane bootargs has debug && echo debugging\n\n"
                     "Exit status: 0 when it does, also within another word, 1 when not.",
                     has);
  addBootArgsCommand(
      group, "add", "Append a word to the boot arguments", "WORD",
      "Example:\n  corvane bootargs add debug=0x14e\n\n"
      "White space around the word is left out. A word that is there stays as it is. Exit "
      "status: 1\n"
      "when it was not added, as when it occurs within another word.",
      add);
  addBootArgsCommand(
      group, "remove", "Remove every occurrence of a word from the boot arguments", "WORD",
      "Example:\n  corvane bootargs remove debug=0x14e\n\n"
      "Blanks beside it stay. Occurrences within other words are removed too, after a\n"
      "warning. Exit status: 1 when the word does not occur.",
      remove);
  addBootArgsCommand(group, "set", "Replace the boot arguments", "VALUE",
                     "Example:\n  corvane bootargs set \"console=1 debug=0x14e\"", set);
}

}  // namespace corvane::tools
