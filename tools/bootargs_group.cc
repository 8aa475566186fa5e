#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "bootargs/boot_args.h"
#include "platform/text.h"
#include "tools/command.h"
#include "tools/inspect/value_text.h"
#include "tools/json_output.h"

namespace corvane::tools {
namespace {

constexpr char kNotSet[] = "boot-args are not set, or cannot be read";

std::optional<std::string> currentValue() {
  requireUnit();
  const CFRef<CFStringRef> value(copyBootArgs());
  if (!value) return {};
  return utf8Bytes(value.get());
}

/// Between quotes, so that blanks at the ends can be seen.
std::string shown(const std::optional<std::string>& value) {
  if (!value) return "(not set)";
  const std::vector<uint8_t> bytes(value->begin(), value->end());
  return "\"" + (isPlainText(bytes) ? *value : escapedText(bytes)) + "\"";
}

nlohmann::ordered_json asJson(const std::optional<std::string>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

struct Occurrences {
  bool asWord = false;
  bool withinWords = false;
};

/// How `word` occurs in `value`, found as a removal finds it: left to right, without overlap.
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

std::string withoutBlanksAround(const std::string& word) {
  const size_t start = std::min(word.find_first_not_of(" \t"), word.size());
  return word.substr(start, word.find_last_not_of(" \t") + 1 - start);
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

[[noreturn]] void failUnwritten(const std::optional<std::string>& after) {
  throw CommandError(kFailed, "the change did not come about: boot-args are " + shown(after));
}

ExitStatus show(bool json) {
  const auto value = currentValue();
  if (json) printJson({{"bootArgs", asJson(value)}});
  if (!value) throw CommandError(kFailed, kNotSet);
  if (!json) std::cout << *value << "\n";
  return kDone;
}

ExitStatus has(const std::string& word, bool json) {
  const auto value = currentValue();
  const bool found = hasBootArg(textArgument(word).get());
  const bool asWord = value && occurrencesOf(word, *value).asWord;
  if (json) {
    printJson({{"word", word}, {"found", found}, {"asWord", asWord}});
  } else if (value) {
    std::cout << (asWord ? "found\n" : found ? "found within other words only\n" : "not found\n");
  }
  if (!value) throw CommandError(kFailed, kNotSet);
  return found ? kDone : kFailed;
}

ExitStatus add(const std::string& argument, bool json) {
  const auto before = currentValue();
  if (!before) {
    throw CommandError(kFailed, std::string(kNotSet) +
                                    "; adding never creates them, \"corvane bootargs set\" does");
  }
  const std::string word = withoutBlanksAround(argument);
  if (word.empty()) throw CommandError(kUsage, "the word is blank");
  const Occurrences found = occurrencesOf(word, *before);
  if (found.withinWords && !found.asWord) {
    throw CommandError(
        kFailed, "nothing is added: '" + word + "' occurs within another word of " + shown(before));
  }
  addBootArg(textArgument(word).get());
  const auto after = currentValue();
  if (after != (found.asWord ? *before : *before + " " + word)) failUnwritten(after);
  print({before, after}, json);
  return kDone;
}

ExitStatus remove(const std::string& argument, bool json) {
  const auto before = currentValue();
  if (!before) throw CommandError(kFailed, kNotSet);
  const auto word = textArgument(argument);
  const std::string wanted =
      utf8Bytes(replacingText(textArgument(*before).get(), word.get(), CFSTR("")).get());
  if (occurrencesOf(argument, *before).withinWords) {
    std::cerr << "corvane: warning: '" << argument << "' occurs within other words, which are cut\n"
              << linesOf({before, wanted});
  }
  removeBootArg(word.get());
  const auto after = currentValue();
  if (after != wanted) failUnwritten(after);
  print({before, after}, json);
  return kDone;
}

ExitStatus set(const std::string& value, bool json) {
  const auto before = currentValue();
  setBootArgs(textArgument(value).get());
  const auto after = currentValue();
  if (after != value) failUnwritten(after);
  print({before, after}, json);
  return kDone;
}

CLI::Validator isNotEmpty() {
  return CLI::Validator(
      [](std::string& word) { return word.empty() ? std::string("the word is empty") : ""; }, "",
      "not empty");
}

/// A command that takes one text, "--" before it where it begins with "-".
CLI::Option* addCommand(CLI::App* group, const std::string& name, const std::string& about,
                        const std::string& argument, const std::string& footer,
                        ExitStatus (*work)(const std::string&, bool json)) {
  struct Options {
    std::string text;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand(name, about);
  addJsonFlag(command, options->json);
  command->footer(footer);
  setAction(command, [=] { return work(options->text, options->json); });
  return command->add_option(argument, options->text, "Behind \"--\" when it begins with a dash")
      ->required();
}

}  // namespace

void addBootArgsGroup(CLI::App& app) {
  CLI::App* group =
      app.add_subcommand("bootargs", "Show and edit the kernel boot arguments in NVRAM");
  group->require_subcommand(1);
  group->footer(
      "Words are found as plain text, also within other words. A change takes effect at the next\n"
      "boot.\n\n"
      "Example:\n  corvane bootargs add -- -v");

  const auto json = std::make_shared<bool>(false);
  CLI::App* showCommand = group->add_subcommand("show", "Print the boot arguments");
  addJsonFlag(showCommand, *json);
  showCommand->footer("Example:\n  corvane bootargs show\n\nExit status: 1 when there are none.");
  setAction(showCommand, [=] { return show(*json); });

  addCommand(group, "has", "Tell whether a word occurs in the boot arguments", "WORD",
             "Example:\n  corvane bootargs has debug && echo debugging\n\n"
             "Exit status: 0 when it does, also within another word, 1 when not.",
             has)
      ->check(isNotEmpty());
  addCommand(
      group, "add", "Append a word to the boot arguments", "WORD",
      "Example:\n  corvane bootargs add debug=0x14e\n\n"
      "A word that is there stays as it is. Exit status: 1 when it was not added, as when it\n"
      "occurs within another word.",
      add)
      ->check(isNotEmpty());
  addCommand(group, "remove", "Take every occurrence of a word out of the boot arguments", "WORD",
             "Example:\n  corvane bootargs remove debug=0x14e\n\n"
             "Blanks beside it stay. Occurrences within other words go, too, after a warning.",
             remove)
      ->check(isNotEmpty());
  addCommand(group, "set", "Replace the boot arguments", "VALUE",
             "Example:\n  corvane bootargs set \"serial=1 debug=0x14e\"", set);
}

}  // namespace corvane::tools
