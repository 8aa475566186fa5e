#include "tools/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "platform/number.h"
#include "platform/printable.h"
#include "tools/usage_error.h"

namespace corvane::tools {
namespace {

/// What the action of the command line returned.
ExitStatus gStatus = kDone;
/// What is wrong with the first value that is wrong; empty when none is.
std::string gWrongValue;

void refuse(const std::string& reason) {
  if (gWrongValue.empty()) gWrongValue = reason;
}

std::string describe(const Command::Range& range) {
  const std::string min = std::to_string(range.min);
  if (range.max < INT64_MAX) return "a number from " + min + " to " + std::to_string(range.max);
  return range.min > INT64_MIN ? "a number, " + min + " or more" : "a number";
}

std::string notWord(const std::string& word) { return ", not '" + printable(word) + "'"; }

}  // namespace

Option& Option::required() {
  _option->required();
  return *this;
}

Option& Option::excludes(const Option& other) {
  _option->excludes(other._option);
  return *this;
}

Option& Option::needs(const Option& other) {
  _option->needs(other._option);
  return *this;
}

void excludeEachOther(std::vector<Option> options) {
  for (size_t i = 0; i < options.size(); ++i) {
    for (size_t j = 0; j < i; ++j) options[i].excludes(options[j]);
  }
}

Command Command::add(const std::string& name, const std::string& about) {
  CLI::App* const command = _app->add_subcommand(name, about);
  command->footer("");  // Not that of the group.
  return Command(*command);
}

Command Command::addGroup(const std::string& name, const std::string& about,
                          const std::string& footer) {
  Command group = add(name, about);
  group._app->require_subcommand(1);
  group.footer(footer);
  return group;
}

void Command::hide() { _app->group(""); }

void Command::footer(const std::string& text) { _app->footer(text); }

void Command::action(std::function<ExitStatus()> work) {
  _app->final_callback([app = _app, work = std::move(work)] {
    if (app->get_subcommands().empty() && gWrongValue.empty()) gStatus = work();
  });
}

Option Command::flag(const std::string& names, bool& value, const std::string& about) {
  return Option(_app->add_flag(names, value, about));
}

Option Command::jsonFlag(bool& value) {
  return flag("--json", value, "Print JSON instead of text");
}

Command::Reader Command::refuseNothing(Reader read) {
  // A script gives an empty name for a variable that is not set.
  return [read = std::move(read)](const std::string& word) {
    return word.empty() ? "a file's name, not ''" : read(word);
  };
}

Option Command::addOutput(const std::string& about, const std::string& earlierName,
                          const Reader& read) {
  const Option output = add("-o,--output", about, "FILE", read);
  if (!earlierName.empty()) {
    const Option earlier = add(earlierName, about, "FILE", read);
    earlier._option->group("");
    earlier._option->excludes(output._option);
  }
  return output;
}

Option Command::seconds(const std::string& names, double& value, const std::string& about,
                        double min, double max) {
  return add(names, about, "SECONDS", [=, &value](const std::string& word) -> std::string {
    const std::optional<double> number = parseDecimal(word);
    if (!number || *number < min || *number > max) {
      return "seconds from " + decimalText(min) + " to " + decimalText(max) + notWord(word);
    }
    value = *number;
    return "";
  });
}

Option Command::texts(const std::string& names, std::vector<std::string>& value,
                      const std::string& about) {
  const auto store = [&value](const std::string& word) {
    value.push_back(word);
    return std::string();
  };
  return add(names, about, "TEXT", store, true);
}

Option Command::choices(const std::string& names, std::vector<std::string>& value,
                        const std::string& about, const std::vector<std::string>& choices) {
  const auto store = [&value, choices](const std::string& word) {
    if (std::ranges::find(choices, word) == choices.end()) return false;
    value.push_back(word);
    return true;
  };
  return addChoice(names, about, choices, store, true);
}

Option Command::add(const std::string& names, const std::string& about,
                    const std::string& placeholder, Reader read, bool isRepeatable) {
  const bool isPositional = !names.starts_with('-');
  const std::string name = isPositional ? names : names.substr(names.rfind(',') + 1);
  const auto take = [=](const CLI::results_t& words) {
    if (words.size() > 1 && !isRepeatable) refuse(name + " is given more than once");
    for (const std::string& given : words) {
      const std::string word = withoutMark(given);
      // CLI11 leaves the "=" of "-o=" in front.
      const bool isMissing = word != given && (word.empty() || word == "=");
      const std::string expected = isMissing ? "" : read(word);
      if (isMissing) refuse(name + " needs a value");
      if (!expected.empty()) refuse(std::string(name).append(" takes ").append(expected));
    }
    return true;
  };
  CLI::Option* const option = _app->add_option(names, take, about);
  // The shells complete the words of a choice.
  option->type_name(isPositional && placeholder.find('|') == placeholder.npos ? "" : placeholder);
  option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  if (isPositional && isRepeatable) option->expected(-1);
  return Option(option);
}

Option Command::addNumber(const std::string& names, const std::string& about, Range range,
                          std::function<void(int64_t)> store) {
  return add(names, about, "NUMBER", [=](const std::string& word) -> std::string {
    const auto number = parseNumber<int64_t>(word, range.min, range.max);
    if (!number) return describe(range) + notWord(word);
    store(*number);
    return "";
  });
}

Option Command::addChoice(const std::string& names, const std::string& about,
                          const std::vector<std::string>& choices,
                          std::function<bool(const std::string& word)> store, bool isRepeatable) {
  const auto read = [=](const std::string& word) -> std::string {
    if (store(word)) return "";
    return listOf(choices) + notWord(word) + suggestion(word, choices);
  };
  return add(names, about, CLI::detail::join(choices, "|"), read, isRepeatable);
}

ExitStatus runCommandLine(CLI::App& app, int argc, char** argv) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  for (std::string& word : words) {
    if (word == "--") break;
    if (word.starts_with('-') && word.ends_with('=')) word += kNothingMark;
  }
  std::ranges::reverse(words);
  try {
    app.parse(std::move(words));
  } catch (const CLI::Success& help) {
    app.exit(help);
    return kDone;
  } catch (const CLI::ParseError& error) {
    if (gWrongValue.empty()) throw usageError(app, error);
  }
  if (!gWrongValue.empty()) throw CommandError(kUsage, gWrongValue);
  return gStatus;
}

}  // namespace corvane::tools
