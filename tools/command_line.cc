#include "tools/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <iomanip>
#include <sstream>

#include "platform/printable.h"
#include "tools/command.h"
#include "tools/usage_error.h"

namespace corvane::tools {
namespace {

/// The outcome of the command line so far.
struct Outcome {
  ExitStatus status = kDone;
  std::vector<WrongWord> wrongWords;
};

Outcome& currentOutcome() {
  static Outcome outcome;
  return outcome;
}

/// Returns the choices of each option, which CLI11 knows only as text.
std::map<const CLI::Option*, std::vector<std::string>>& allChoices() {
  static std::map<const CLI::Option*, std::vector<std::string>> choices;
  return choices;
}

/// Parses a decimal number, or 0x and hexadecimal digits. A leading zero does not make it octal.
std::optional<int64_t> parseNumber(const std::string& word) {
  const bool isNegative = word.starts_with('-');
  const bool isHex = word.compare(isNegative, 2, "0x") == 0;
  const char* const begin = word.data() + isNegative + (isHex ? 2 : 0);
  const char* const end = word.data() + word.size();
  int64_t number = 0;
  const auto [at, error] = std::from_chars(begin, end, number, isHex ? 16 : 10);
  if (error != std::errc() || at != end || *begin == '-') return {};
  return isNegative ? -number : number;
}

std::string describe(const Command::Range& range) {
  const auto isBound = [](int64_t bound) { return bound > INT64_MIN && bound < INT64_MAX; };
  const std::string lowest = std::to_string(range.lowest);
  if (isBound(range.highest)) {
    return "a number from " + lowest + " to " + std::to_string(range.highest);
  }
  return isBound(range.lowest) ? "a number, " + lowest + " or more" : "a number";
}

auto storeIn(auto& value) {
  return [&value](const std::string& word) {
    value = word;
    return std::string();
  };
}

/// Returns a reader that refuses an empty name, which a script gives for a variable that is not
/// set.
auto storeFileIn(auto& value) {
  return [&value](const std::string& word) -> std::string {
    if (word.empty()) return "a file's name, not ''";
    value = word;
    return "";
  };
}

/// Adds to `wrong` the options whose value after "=" is empty: CLI11 would give them the next word,
/// or "=" to a short one.
void addEmptyValues(const CLI::App& app, const std::vector<std::string>& words,
                    std::vector<WrongWord>& wrong) {
  const CLI::App* command = &app;
  for (size_t i = 0; i < words.size() && words[i] != "--"; ++i) {
    const std::string& word = words[i];
    const auto isNamed = [&](const CLI::App* below) { return below->check_name(word); };
    if (const auto named = command->get_subcommands(isNamed); !named.empty()) {
      command = named.front();
      continue;
    }
    const size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const CLI::Option* const option =
        name.starts_with('-') ? command->get_option_no_throw(name) : nullptr;
    if (!option) continue;
    if (equals + 1 == word.size()) wrong.push_back({word, name + " needs a value"});
    // The next word is its value, whatever it looks like.
    if (equals == std::string::npos && option->get_items_expected_min() > 0) ++i;
  }
}

/// Returns a reader of a choice; `store` returns false for a word that is not one of the choices.
auto readChoice(const std::vector<std::string>& choices,
                std::function<bool(const std::string& word)> store) {
  return [=](const std::string& word) -> std::string {
    if (store(word)) return "";
    return listOf(choices) + ", not '" + printable(word) + "'" + suggestion(word, choices);
  };
}

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
  return Command(*_app->add_subcommand(name, about));
}

Command Command::addGroup(const std::string& name, const std::string& about,
                          const std::string& footer) {
  Command group = add(name, about);
  group._app->require_subcommand(1);
  group.footer(footer);
  return group;
}

void Command::footer(const std::string& text) { _app->footer(text); }

void Command::action(std::function<ExitStatus()> work) {
  _app->final_callback([app = _app, work = std::move(work)] {
    if (!app->get_subcommands().empty() || !currentOutcome().wrongWords.empty()) return;
    currentOutcome().status = work();
  });
}

Option Command::flag(const std::string& names, bool& value, const std::string& about) {
  return Option(_app->add_flag(names, value, about));
}

Option Command::jsonFlag(bool& value) {
  return flag("--json", value, "Print JSON instead of text");
}

Option Command::text(const std::string& names, std::string& value, const std::string& about) {
  return add(names, about, "TEXT", storeIn(value));
}

Option Command::text(const std::string& names, std::optional<std::string>& value,
                     const std::string& about) {
  return add(names, about, "TEXT", storeIn(value));
}

Option Command::file(const std::string& names, std::string& value, const std::string& about) {
  return add(names, about, "FILE", storeFileIn(value));
}

Option Command::file(const std::string& names, std::optional<std::string>& value,
                     const std::string& about) {
  return add(names, about, "FILE", storeFileIn(value));
}

Option Command::seconds(const std::string& names, double& value, const std::string& about,
                        double least, double most) {
  std::ostringstream range;
  range << std::setprecision(9) << "seconds from " << least << " to " << most;
  return add(names, about, "SECONDS",
             [=, &value, expected = range.str()](const std::string& word) -> std::string {
               double number = 0;
               const char* const end = word.data() + word.size();
               const auto [at, error] = std::from_chars(word.data(), end, number);
               if (error != std::errc() || at != end || !(number >= least && number <= most)) {
                 return expected + ", not '" + printable(word) + "'";
               }
               value = number;
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
  const Option option = add(names, about, "NAME", readChoice(choices, store), true);
  allChoices()[option._option] = choices;
  return option;
}

Option Command::add(const std::string& names, const std::string& about,
                    const std::string& placeholder, Reader read, bool isRepeatable) {
  const bool isPositional = !names.starts_with('-');
  const std::string name = isPositional ? names : names.substr(names.rfind(',') + 1);
  const auto take = [=](const CLI::results_t& words) {
    std::vector<WrongWord>& wrong = currentOutcome().wrongWords;
    if (words.size() > 1 && !isRepeatable) {
      wrong.push_back({name, name + " is given more than once"});
    }
    for (const std::string& word : words) {
      const std::string expected = read(word);
      if (!expected.empty())
        wrong.push_back({word, std::string(name).append(" takes ").append(expected)});
    }
    return true;
  };
  CLI::Option* const option = _app->add_option(names, take, about);
  option->type_name(isPositional ? "" : placeholder);
  option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  if (isPositional && isRepeatable) option->expected(-1);
  return Option(option);
}

Option Command::addNumber(const std::string& names, const std::string& about, Range range,
                          std::function<void(int64_t)> store) {
  return add(names, about, "NUMBER", [=](const std::string& word) -> std::string {
    const std::optional<int64_t> number = parseNumber(word);
    if (!number || *number < range.lowest || *number > range.highest)
      return describe(range) + ", not '" + printable(word) + "'";
    store(*number);
    return "";
  });
}

Option Command::addChoice(const std::string& names, const std::string& about,
                          const std::vector<std::string>& choices,
                          std::function<bool(const std::string& word)> store) {
  const Option option =
      add(names, about, CLI::detail::join(choices, "|"), readChoice(choices, std::move(store)));
  allChoices()[option._option] = choices;
  return option;
}

const std::vector<std::string>& choicesOf(const CLI::Option& option) {
  return allChoices()[&option];
}

void addJsonFlag(CLI::App* command, bool& json) { Command(*command).jsonFlag(json); }

void setAction(CLI::App* command, std::function<ExitStatus()> work) {
  Command(*command).action(std::move(work));
}

ExitStatus runCommandLine(CLI::App& app, int argc, char** argv) {
  const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  std::vector<WrongWord>& wrongWords = currentOutcome().wrongWords;
  addEmptyValues(app, words, wrongWords);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
    return kDone;
  } catch (const CLI::ParseError& error) {
    if (wrongWords.empty()) throw usageError(app, error, words);
  }
  if (!wrongWords.empty()) throw usageError(wrongWords, words);
  return currentOutcome().status;
}

}  // namespace corvane::tools
