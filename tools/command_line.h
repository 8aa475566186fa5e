#ifndef CORVANE_TOOLS_COMMAND_LINE_H_
#define CORVANE_TOOLS_COMMAND_LINE_H_

#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/number.h"
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
  void required();
  /// Refuses a command line that has both.
  void excludes(const Option& other);
  /// Refuses a command line that has this one without the other.
  void needs(const Option& other);

 private:
  CLI::Option* _option;
};

/// Makes each of the options exclude every other.
void excludeEachOther(std::vector<Option> options);

/// Returns the names as "a, b or c".
std::string listOf(const std::vector<std::string>& names);

/// What an option's variable holds: a value, an optional one, or several.
template <typename T>
struct Held {
  using Type = T;
  static constexpr bool isRepeatable = false;
};
template <typename T>
struct Held<std::optional<T>> : Held<T> {};
template <typename T>
struct Held<std::vector<T>> : Held<T> {
  static constexpr bool isRepeatable = true;
};

template <typename T>
struct Range {
  T min = std::numeric_limits<T>::min(), max = std::numeric_limits<T>::max();
};

/// A command, or a group of them. A view: the command line owns it. Where options take `names`,
/// that is "-n,--lines" for an option, "OFFSET" for a positional argument; `value` is a variable,
/// an optional one, or a list for an option that may be given several times.
class Command {
 public:
  explicit Command(CLI::App& app) : _app(&app) {}

  /// Adds a command, whose help ends with `footer`.
  Command add(const std::string& name, const std::string& about, const std::string& footer = "");
  /// Adds a group, whose name is refused without one of its commands.
  Command addGroup(const std::string& name, const std::string& about, const std::string& footer);
  /// Leaves the command out of what is shown to people.
  void hide();
  /// Runs `work` when the command line names this command and none below it. What `work` returns,
  /// if anything, is the tool's exit status.
  template <typename Work>
  void action(Work work) {
    run([work = std::move(work)] {
      if constexpr (!std::is_void_v<std::invoke_result_t<const Work&>>) return work();
      work();
      return kDone;
    });
  }

  /// Makes options for the command's variables, which the command line owns, and runs
  /// `work(options)` likewise.
  template <typename Options, typename Work>
  Options& actionOn(Work work) {
    const auto options = std::make_shared<Options>();
    action([=] { return work(*options); });
    return *options;
  }

  Option flag(const std::string& names, bool& value, const std::string& about);
  /// Adds "--json" to a command that prints data.
  Option jsonFlag(bool& value);
  template <typename T>
  Option text(const std::string& names, T& value, const std::string& about) {
    return add(names, about, Held<T>::isRepeatable, {"TEXT"}, "",
               [&value](const std::string& word) { return store(value, word); });
  }
  /// Adds the name of a file, which must not be empty, as a script's variable that is not set is.
  template <typename T>
  Option file(const std::string& names, T& value, const std::string& about) {
    return add(names, about, Held<T>::isRepeatable, {"FILE"}, "a file's name",
               [&value](const std::string& word) { return !word.empty() && store(value, word); });
  }
  /// Adds "-o,--output", the file to write; `earlierName` stays as a name that is not shown.
  template <typename T>
  Option output(T& value, const std::string& about, const std::string& earlierName = "") {
    return file("-o,--output" + (earlierName.empty() ? "" : "," + earlierName), value, about);
  }
  /// Adds a whole number: decimal, or 0x and hexadecimal digits.
  template <typename T>
  Option number(const std::string& names, T& value, const std::string& about,
                Range<typename Held<T>::Type> range = {}) {
    const std::string expected =
        "a number from " + std::to_string(range.min) + " to " + std::to_string(range.max);
    return add(names, about, Held<T>::isRepeatable, {"NUMBER"}, expected,
               [&value, range](const std::string& word) {
                 const auto number =
                     parseNumber<typename Held<T>::Type>(word, range.min, range.max);
                 return number && store(value, *number);
               });
  }
  /// Adds a decimal number of seconds.
  Option seconds(const std::string& names, double& value, const std::string& about, double min,
                 double max);
  /// Adds a time as `parseTime` takes it; `value` is its text.
  Option time(const std::string& names, std::optional<std::string>& value,
              const std::string& about);
  /// Adds a choice of one of the names.
  template <typename T>
  Option choice(const std::string& names, T& value, const std::string& about,
                const std::map<std::string, typename Held<T>::Type>& choices) {
    std::vector<std::string> words;
    for (const auto& [word, meaning] : choices) words.push_back(word);
    return add(names, about, Held<T>::isRepeatable, words, listOf(words),
               [&value, choices](const std::string& word) {
                 const auto found = choices.find(word);
                 return found != choices.end() && store(value, found->second);
               });
  }
  /// Adds a choice of any number of the words.
  Option choices(const std::string& names, std::vector<std::string>& value,
                 const std::string& about, const std::vector<std::string>& words) {
    std::map<std::string, std::string> choices;
    for (const std::string& word : words) choices.emplace(word, word);
    return choice(names, value, about, choices);
  }

 private:
  /// Takes a word of the command line. Returns whether it is what is expected.
  using Reader = std::function<bool(const std::string& word)>;

  template <typename T>
  static bool store(T& value, const typename Held<T>::Type& word) {
    if constexpr (Held<T>::isRepeatable) {
      value.push_back(word);
    } else {
      value = word;
    }
    return true;
  }
  Option add(const std::string& names, const std::string& about, bool isRepeatable,
             const std::vector<std::string>& placeholders, const std::string& expected,
             const Reader& read);
  void run(std::function<ExitStatus()> work);

  CLI::App* _app;
};

/// Parses the command line with `app`, and runs the command that it names. Returns the tool's exit
/// status. Help goes to standard output. Throws CommandError; for a wrong command line, before
/// anything runs. An option with "=" and nothing after it is wrong; an empty text is given as a
/// word of its own.
ExitStatus runCommandLine(CLI::App& app, int argc, char** argv);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_COMMAND_LINE_H_
