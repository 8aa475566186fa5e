#include "station/command_line.h"

#include <charconv>
#include <cstdio>

namespace corvane::station {

CommandLine::CommandLine(std::string_view purpose) : _purpose(purpose) {}

void CommandLine::addNumber(std::string_view name, int& value, int least, int most,
                            std::string_view help) {
  const std::string range = std::to_string(least) + " to " + std::to_string(most);
  const auto store = [&value, least, most, range](std::string_view text) -> std::string {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least ||
        number > most) {
      return "is not a number from " + range;
    }
    value = number;
    return {};
  };
  _options.push_back({std::string(name), "N", std::string(help) + " (" + range + ")", store});
}

void CommandLine::addText(std::string_view name, std::string& value, std::string_view help) {
  const auto store = [&value](std::string_view text) {
    value = text;
    return text.empty() ? std::string("is empty") : std::string();
  };
  _options.push_back({std::string(name), "TEXT", std::string(help), store});
}

void CommandLine::addFlag(std::string_view name, bool& value, std::string_view help) {
  const auto store = [&value](std::string_view) {
    value = true;
    return std::string();
  };
  _options.push_back({std::string(name), {}, std::string(help), store});
}

const CommandLine::Option* CommandLine::find(std::string_view name) const {
  for (const Option& option : _options) {
    if (option.name == name) return &option;
  }
  return nullptr;
}

std::string CommandLine::parse(int argc, char** argv, bool& wantsHelp) const {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--help" || argument == "-h") {
      wantsHelp = true;
      return {};
    }
    const size_t equals = argument.find('=');
    const std::string name(argument.substr(0, equals));
    const Option* option = find(name);
    if (!option) return name + " is no option of this station";

    std::string_view value;
    if (equals != std::string_view::npos) {
      if (option->valueName.empty()) return name + " takes no value";
      value = argument.substr(equals + 1);
    } else if (!option->valueName.empty()) {
      if (++i == argc) return name + " needs a value";
      value = argv[i];
    }
    const std::string error = option->store(value);
    if (!error.empty()) {
      return std::string(name).append(": '").append(value).append("' ").append(error);
    }
  }
  return {};
}

void CommandLine::printHelp(std::string_view program) const {
  std::printf("%s\n\nUsage: %.*s [OPTION]...\n\n", _purpose.c_str(),
              static_cast<int>(program.size()), program.data());
  for (const Option& option : _options) {
    const std::string left = option.name + " " + option.valueName;
    std::printf("  %-18s %s\n", left.c_str(), option.help.c_str());
  }
  std::printf(
      "  %-18s %s\n\nExit status: 0 passed, 1 failed, 2 wrong usage, 3 the unit is refused or "
      "cannot "
      "be\ntrusted, 128 + signal interrupted.\n",
      "--help", "shows this help");
}

int CommandLine::run(int argc, char** argv, const Profile& profile,
                     const std::function<void(TestRun&)>& body) {
  std::string results;
  RunOptions options;
  CommandLine line(*this);
  line.addText("--results", results, "appends the results to this file, as JSON lines");
  line.addText("--unit", options.unit, "identifies the unit in the results");
  line.addFlag("--quiet", options.isQuiet, "prints only errors");

  const std::string_view path = argc > 0 ? argv[0] : profile.name.c_str();
  const std::string_view program = path.substr(path.rfind('/') + 1);
  bool wantsHelp = false;
  const std::string error = line.parse(argc, argv, wantsHelp);
  if (!error.empty()) {
    std::fprintf(stderr, "%.*s: %s; --help shows the options\n", static_cast<int>(program.size()),
                 program.data(), error.c_str());
    return Outcome{Verdict::kMisused, error}.exitStatus();
  }
  if (wantsHelp) {
    line.printHelp(program);
    return 0;
  }
  options.results = results;
  return station::run(profile, options, body).exitStatus();
}

}  // namespace corvane::station
