#ifndef CORVANE_TOOLS_COMMAND_LINE_H_
#define CORVANE_TOOLS_COMMAND_LINE_H_

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "tools/command_error.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

/// The tool's command line over CLI11, whose headers most command groups do not need. A variable
/// that an option is given must live as long as the command line; it keeps its value when the
/// option is not used.
namespace corvane::tools {

class Option {
 public:
  explicit Option(CLI::Option* option) : _option(option) {}
  Option& required();
  /// Refuses a command line that has both.
  Option& excludes(const Option& other);
  /// Refuses a command line that has this one without the other.
  Option& needs(const Option& other);

 private:
  friend class Command;
  CLI::Option* _option;
};

/// Makes each of the options exclude every other.
void excludeEachOther(std::vector<Option> options);

/// A command, or a group of them. A view: the command line owns it.
class Command {
 public:
  explicit Command(CLI::App& app) : _app(&app) {}

  Command add(const std::string& name, const std::string& about);
  /// Adds a group, whose name is refused without one of its commands.
  Command addGroup(const std::string& name, const std::string& about, const std::string& footer);
  void footer(const std::string& text);
  /// Runs `work` when the command line names this command and none below it. What `work` returns is
  /// the tool's exit status.
  void action(std::function<ExitStatus()> work);

  // `names` is "-n,--lines" for an option, "OFFSET" for a positional argument.

  Option flag(const std::string& names, bool& value, const std::string& about);
  /// Adds "--json" to a command that prints data.
  Option jsonFlag(bool& value);
  Option text(const std::string& names, std::string& value, const std::string& about);
  Option text(const std::string& names, std::optional<std::string>& value,
              const std::string& about);
  /// Adds the name of a file, which must not be empty.
  Option file(const std::string& names, std::string& value, const std::string& about);
  Option file(const std::string& names, std::optional<std::string>& value,
              const std::string& about);
  /// Adds any number of texts; a positional argument takes at least one when it is required.
  Option texts(const std::string& names, std::vector<std::string>& value, const std::string& about);

  struct Range {
    int64_t lowest, highest;
  };
  template <typename T>
  static constexpr Range rangeOf() {
    constexpr auto kHighest = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
    const auto highest = static_cast<uint64_t>(std::numeric_limits<T>::max());
    return {static_cast<int64_t>(std::numeric_limits<T>::min()),
            static_cast<int64_t>(highest < kHighest ? highest : kHighest)};
  }
  /// Adds a whole number: decimal, or 0x and hexadecimal digits.
  template <typename T>
  Option number(const std::string& names, T& value, const std::string& about,
                Range range = rangeOf<T>()) {
    return addNumber(names, about, range,
                     [&value](int64_t number) { value = static_cast<T>(number); });
  }
  template <typename T>
  Option number(const std::string& names, std::optional<T>& value, const std::string& about,
                Range range = rangeOf<T>()) {
    return addNumber(names, about, range,
                     [&value](int64_t number) { value = static_cast<T>(number); });
  }

  /// Adds a decimal number of seconds.
  Option seconds(const std::string& names, double& value, const std::string& about, double least,
                 double most);

  /// Adds a choice of one of the names; for int32_t, also takes the number that a name stands for.
  template <typename T>
  Option choice(const std::string& names, std::optional<T>& value, const std::string& about,
                const std::map<std::string, T>& choices) {
    return addChoice(names, about, keysOf(choices), [&value, choices](const std::string& word) {
      for (const auto& [name, meaning] : choices) {
        bool isMeant = word == name;
        if constexpr (std::is_same_v<T, int32_t>) isMeant |= word == std::to_string(meaning);
        if (isMeant) value = meaning;
        if (isMeant) return true;
      }
      return false;
    });
  }
  /// Adds a choice of any number of the names.
  Option choices(const std::string& names, std::vector<std::string>& value,
                 const std::string& about, const std::vector<std::string>& choices);

 private:
  /// Reads a word of the command line. Returns what is expected instead, such as "a number, not
  /// 'x'", or an empty text when the word is right.
  using Reader = std::function<std::string(const std::string& word)>;

  template <typename T>
  static std::vector<std::string> keysOf(const std::map<std::string, T>& map) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : map) keys.push_back(key);
    return keys;
  }
  Option add(const std::string& names, const std::string& about, const std::string& placeholder,
             Reader read, bool isRepeatable = false);
  Option addNumber(const std::string& names, const std::string& about, Range range,
                   std::function<void(int64_t)> store);
  Option addChoice(const std::string& names, const std::string& about,
                   const std::vector<std::string>& choices,
                   std::function<bool(const std::string& word)> store);

  CLI::App* _app;
};

/// Returns the names among which the option chooses; empty for an option of another kind.
const std::vector<std::string>& choicesOf(const CLI::Option& option);

/// Parses the command line with `app`, and runs the command that it names. Returns the tool's exit
/// status. Help goes to standard output. Throws CommandError; for a wrong command line, before
/// anything runs, with a text that names the first word that is wrong. An option with "=" and
/// nothing after it is wrong; an empty text is given as a word of its own.
ExitStatus runCommandLine(CLI::App& app, int argc, char** argv);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_COMMAND_LINE_H_
