#ifndef CORVANE_TOOLS_COMMAND_LINE_H_
#define CORVANE_TOOLS_COMMAND_LINE_H_

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tools/command_error.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

/// The tool's command line over CLI11, whose headers most commands do not need. A variable that an
/// option is given must live as long as the command line; it keeps its value when the option is not
/// used.
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

/// A command, or a group of them. A view: the command line owns it. Where options take `names`,
/// that is "-n,--lines" for an option, "OFFSET" for a positional argument; `value` is a variable or
/// an optional one.
class Command {
  template <typename T>
  struct ValueOf {
    using type = T;
  };
  template <typename T>
  struct ValueOf<std::optional<T>> {
    using type = T;
  };

 public:
  explicit Command(CLI::App& app) : _app(&app) {}

  Command add(const std::string& name, const std::string& about);
  /// Adds a group, whose name is refused without one of its commands.
  Command addGroup(const std::string& name, const std::string& about, const std::string& footer);
  /// Leaves the command out of what is shown to people.
  void hide();
  void footer(const std::string& text);
  /// Runs `work` when the command line names this command and none below it. What `work` returns is
  /// the tool's exit status.
  void action(std::function<ExitStatus()> work);

  Option flag(const std::string& names, bool& value, const std::string& about);
  /// Adds "--json" to a command that prints data.
  Option jsonFlag(bool& value);
  template <typename T>
  Option text(const std::string& names, T& value, const std::string& about) {
    return add(names, about, "TEXT", storeIn(value));
  }
  /// Adds the name of a file, which must not be empty.
  template <typename T>
  Option file(const std::string& names, T& value, const std::string& about) {
    return add(names, about, "FILE", refuseNothing(storeIn(value)));
  }
  /// Adds "-o,--output", the file to write; `earlierName` stays as a name that is not shown.
  template <typename T>
  Option output(T& value, const std::string& about, const std::string& earlierName = "") {
    return addOutput(about, earlierName, refuseNothing(storeIn(value)));
  }
  /// Adds any number of texts; a positional argument takes at least one when it is required.
  Option texts(const std::string& names, std::vector<std::string>& value, const std::string& about);

  struct Range {
    int64_t min, max;
  };
  /// Returns the numbers that the variable can hold.
  template <typename T>
  static constexpr Range rangeOf() {
    using Limits = std::numeric_limits<typename ValueOf<T>::type>;
    constexpr uint64_t kMax = std::numeric_limits<int64_t>::max();
    return {static_cast<int64_t>(Limits::min()),
            static_cast<int64_t>(std::min(kMax, static_cast<uint64_t>(Limits::max())))};
  }
  /// Adds a whole number: decimal, or 0x and hexadecimal digits.
  template <typename T>
  Option number(const std::string& names, T& value, const std::string& about,
                Range range = rangeOf<T>()) {
    return addNumber(names, about, range, [&value](int64_t number) {
      value = static_cast<typename ValueOf<T>::type>(number);
    });
  }
  /// Adds a decimal number of seconds.
  Option seconds(const std::string& names, double& value, const std::string& about, double min,
                 double max);

  /// Adds a choice of one of the names; for int32_t, also takes the number that a name stands for.
  template <typename T>
  Option choice(const std::string& names, std::optional<T>& value, const std::string& about,
                const std::map<std::string, T>& choices) {
    std::vector<std::string> words;
    for (const auto& [word, meaning] : choices) words.push_back(word);
    return addChoice(names, about, words, [&value, choices](const std::string& word) {
      for (const auto& [name, meaning] : choices) {
        bool isChosen = word == name;
        if constexpr (std::is_same_v<T, int32_t>) isChosen |= word == std::to_string(meaning);
        if (isChosen) value = meaning;
        if (isChosen) return true;
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
  static Reader storeIn(T& value) {
    return [&value](const std::string& word) {
      value = word;
      return std::string();
    };
  }
  static Reader refuseNothing(Reader read);
  Option add(const std::string& names, const std::string& about, const std::string& placeholder,
             Reader read, bool isRepeatable = false);
  Option addOutput(const std::string& about, const std::string& earlierName, const Reader& read);
  Option addNumber(const std::string& names, const std::string& about, Range range,
                   std::function<void(int64_t)> store);
  Option addChoice(const std::string& names, const std::string& about,
                   const std::vector<std::string>& choices,
                   std::function<bool(const std::string& word)> store, bool isRepeatable = false);

  CLI::App* _app;
};

/// Parses the command line with `app`, and runs the command that it names. Returns the tool's exit
/// status. Help goes to standard output. Throws CommandError; for a wrong command line, before
/// anything runs. An option with "=" and nothing after it is wrong; an empty text is given as a
/// word of its own.
ExitStatus runCommandLine(CLI::App& app, int argc, char** argv);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_COMMAND_LINE_H_
