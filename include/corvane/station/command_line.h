#ifndef CORVANE_STATION_COMMAND_LINE_H_
#define CORVANE_STATION_COMMAND_LINE_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "../platform/export.h"
#include "station.h"

namespace corvane::station {

/// The command line of a station program: the station's own options and the kit's, which are
/// --results FILE, --unit ID, --fixture NAME (or $CORVANE_FIXTURE), --operator NAME (or
/// $CORVANE_OPERATOR), --quiet, --describe and --help.
///
///     int seconds = 10;
///     CommandLine line("Burns a unit in.");
///     line.addNumber("--seconds", seconds, 1, 86400, "how long the load runs");
///     return line.run(argc, argv, kStation, [&](TestRun& run) { burnIn(run); });
class CORVANE_EXPORT CommandLine {
 public:
  /// `purpose` is the first line of the help text.
  explicit CommandLine(std::string_view purpose);

  /// Adds an option "NAME N" that sets `value` to a whole number, `minimum` to `maximum`.
  /// The help text shows `help` after `name`.
  void addNumber(std::string_view name, int& value, int minimum, int maximum,
                 std::string_view help);
  /// Adds an option "NAME TEXT" with the name `name` and the help text `help`, which sets `value`.
  void addText(std::string_view name, std::string& value, std::string_view help);
  /// Adds an option "NAME TEXT" with the name `name` and the help text `help`, which sets `value`
  /// to one of `choices` and refuses any other word.
  void addChoice(std::string_view name, std::string& value, const std::vector<std::string>& choices,
                 std::string_view help);
  /// Adds an option `name` without a value, which sets `value`; `help` is its help text.
  void addFlag(std::string_view name, bool& value, std::string_view help);

  /// Reads the arguments of `main`, `argc` and `argv`, and runs `body` as the station `profile`.
  /// Returns the exit status for `main`: the outcome's, 0 after --help and --describe, which use no
  /// unit, or 2, with a line on standard error, for arguments that are wrong.
  int run(int argc, char** argv, const Profile& profile, const std::function<void(TestRun&)>& body);

 private:
  struct Option {
    std::string name;
    std::string valueName;  ///< Empty when the option has no value.
    std::string help;
    std::string variable;  ///< The environment variable that sets it, too; empty when none does.
    /// Stores the value. Returns what is wrong with it, or an empty text.
    std::function<std::string(const std::string&)> store;
  };

  void addText(std::string_view name, std::string_view valueName, std::string& value,
               std::string_view help, std::string_view variable);

  std::string _purpose;
  std::vector<Option> _options;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_COMMAND_LINE_H_
