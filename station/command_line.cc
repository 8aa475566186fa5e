#include "station/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/number.h"
#include "station/run_text.h"

namespace corvane::station {
namespace {

constexpr char kFooter[] =
    "Exit status: 0 passed, 1 failed, 2 wrong usage, 3 the unit is refused or cannot be trusted,\n"
    "4 the program exited during the run, 128 + signal interrupted.";

/// Returns the error in words for the user.
std::string textOf(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining();
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError) && !unknown.empty()) {
    return (unknown[0].starts_with("-") ? "unknown option " : "unexpected argument ") + unknown[0];
  }
  const std::string text = error.what();
  const size_t isFlag = text.find(" was given a disallowed flag override");
  return isFlag == std::string::npos ? text : "--" + text.substr(0, isFlag) + " takes no value";
}

/// Adds an option of a CommandLine to `app`, which throws when it gets a wrong value.
void addOption(CLI::App& app, const auto& option) {
  const auto store = [&option](const std::string& text) {
    const std::string fault = option.store(text);
    if (!fault.empty()) throw CLI::ValidationError(option.name, fault);
  };
  if (option.valueName.empty()) {
    app.add_flag_callback(
           option.name, [store] { store({}); }, option.help)
        ->disable_flag_override();
  } else {
    app.add_option_function<std::string>(option.name, store, option.help)
        ->type_name(option.valueName)
        ->envname(option.variable);
  }
}

/// Returns the exit status of a program that is to end: it was asked for help, or is used wrongly.
std::optional<int> parse(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
    return {};
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help() << std::flush;
    return 0;
  } catch (const CLI::ParseError& error) {
    std::cerr << app.get_name() << ": " << textOf(app, error) << "; --help shows the options\n";
    return Outcome{Verdict::kMisused, {}}.exitStatus();
  }
}

}  // namespace

CommandLine::CommandLine(std::string_view purpose) : _purpose(purpose) {}

void CommandLine::addNumber(std::string_view name, int& value, int minimum, int maximum,
                            std::string_view help) {
  const std::string range = std::to_string(minimum) + " to " + std::to_string(maximum);
  const auto store = [&value, minimum, maximum, range](const std::string& text) -> std::string {
    const std::optional<int> number = parseNumber<int>(text, minimum, maximum);
    if (!number) return "'" + text + "' must be a number, " + range;
    value = *number;
    return {};
  };
  _options.push_back({std::string(name), "N", std::string(help) + " (" + range + ")", {}, store});
}

void CommandLine::addText(std::string_view name, std::string& value, std::string_view help) {
  addText(name, "TEXT", value, help, {});
}

void CommandLine::addText(std::string_view name, std::string_view valueName, std::string& value,
                          std::string_view help, std::string_view variable) {
  const auto store = [&value](const std::string& text) {
    value = text;
    return text.empty() ? std::string("must not be empty") : std::string();
  };
  _options.push_back(
      {std::string(name), std::string(valueName), std::string(help), std::string(variable), store});
}

void CommandLine::addChoice(std::string_view name, std::string& value,
                            const std::vector<std::string>& choices, std::string_view help) {
  std::string list;
  for (const std::string& choice : choices) list += (list.empty() ? "" : ", ") + choice;
  const auto store = [&value, choices, list](const std::string& text) {
    if (std::ranges::find(choices, text) == choices.end()) {
      return "'" + text + "' must be one of " + list;
    }
    value = text;
    return std::string();
  };
  _options.push_back({std::string(name), "TEXT", std::string(help) + " (" + list + ")", {}, store});
}

void CommandLine::addFlag(std::string_view name, bool& value, std::string_view help) {
  const auto store = [&value](const std::string&) {
    value = true;
    return std::string();
  };
  _options.push_back({std::string(name), {}, std::string(help), {}, store});
}

int CommandLine::run(int argc, char** argv, const Profile& profile,
                     const std::function<void(TestRun&)>& body) {
  const std::string_view path = argc > 0 ? argv[0] : profile.name.c_str();
  RunOptions options;
  options.program = path.substr(path.rfind('/') + 1);
  std::string results;
  bool describes = false;
  CommandLine line(*this);
  line.addText("--results", "FILE", results, "appends the results to this file, as JSON lines", {});
  line.addText("--unit", "ID", options.unit, "identifies the unit in the results", {});
  line.addText("--fixture", "NAME", options.fixture, "the fixture, for the results",
               "CORVANE_FIXTURE");
  line.addText("--operator", "NAME", options.operatorName, "who tests, for the results",
               "CORVANE_OPERATOR");
  line.addFlag("--quiet", options.isQuiet, "prints only errors");
  line.addFlag("--describe", describes, "prints the station's profile as JSON, and uses no unit");

  CLI::App app(_purpose, options.program);
  app.footer(kFooter);
  app.set_help_flag("-h,--help", "shows this help");
  for (const Option& option : line._options) addOption(app, option);
  if (const std::optional<int> status = parse(app, argc, argv)) return *status;
  if (describes) {
    std::cout << profileJson(profile).dump(2) << std::endl;
    return 0;
  }
  options.results = results;
  return station::run(profile, options, body).exitStatus();
}

}  // namespace corvane::station
