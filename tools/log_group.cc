#include <CLI/CLI.hpp>
#include <chrono>
#include <deque>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "log/log.h"
#include "log/log_collection.h"
#include "platform/device_path.h"
#include "platform/text.h"
#include "tools/command.h"
#include "tools/json_output.h"
#include "tools/log_file.h"

namespace corvane::tools {
namespace {

void addWrite(CLI::App* group) {
  struct Options {
    std::string message;
    std::optional<std::string> test;
    int32_t indentation = 0;
    bool raw = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("write", "Append a line to the test log");
  command->add_option("MESSAGE", options->message, "What the line says")->required();
  auto* test = command->add_option("--test", options->test, "The test that it belongs to");
  auto* indent = command->add_option("--indent", options->indentation, "Levels of indentation")
                     ->check(CLI::Range(0, 100));
  command->add_flag("--raw", options->raw, "The line as it stands, without time and system log")
      ->excludes(test)
      ->excludes(indent);
  command->footer("Example:\n  corvane log write \"fixture closed\" --test Fixture --indent 1");
  setAction(command, [=] {
    const auto message = textArgument(options->message);
    const auto testName = options->test ? textArgument(*options->test) : CFRef<CFStringRef>();
    return writeToLog([&] {
      if (options->raw) {
        Log::write(message.get());
      } else {
        Log::write(message.get(), testName.get(), options->indentation);
      }
      return size_t{1};
    });
  });
}

void addMessage(CLI::App* group) {
  struct Options {
    std::string sid, type, fields;
    bool print = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("message", "Append a station message to the test log");
  command->add_option("FIELDS", options->fields,
                      "Further fields, such as 'result=\"pass\",code=\"0\"'");
  command->add_option("--sid", options->sid, "Station or unit identifier")->required();
  command->add_option("--type", options->type, "Message type")->required();
  command->add_flag("--print", options->print, "Print the message instead of writing it");
  command->footer(
      "Example:\n  corvane log message --sid UNIT-42 --type status 'result=\"pass\",code=\"0\"'");
  setAction(command, [=] {
    const auto fields = textArgument(options->fields);
    const auto sid = textArgument(options->sid);
    const auto type = textArgument(options->type);
    if (options->print) {
      std::cout << utf8Bytes(Log::formatPalvireMessage(fields.get(), sid.get(), type.get()).get())
                << "\n";
      return kDone;
    }
    return writeToLog([&] {
      Log::writePalvireMessage(fields.get(), sid.get(), type.get());
      return size_t{1};
    });
  });
}

void printLine(const std::string& line, bool json) {
  if (!json) {
    std::cout << line << "\n" << std::flush;
    return;
  }
  std::cout << nlohmann::json(line).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)
            << "\n"
            << std::flush;
}

/// Takes the next line that is whole; what is written of the next one stays for a later call.
bool takeLine(std::ifstream& log, std::string& line) {
  const std::streampos start = log.tellg();
  if (std::getline(log, line) && !log.eof()) return true;
  log.clear();
  log.seekg(start);
  return false;
}

/// Prints the log's last `count` lines, then, when asked to, each line as it comes, until the
/// reader of the output goes away.
ExitStatus tail(size_t count, bool follow, bool json) {
  const std::string file = devicePath(kLogFile);
  std::ifstream log(file);
  if (!log && !follow) throw CommandError(kFailed, "there is no test log at " + file);

  std::deque<std::string> last;
  std::string line;
  while (log.is_open() && takeLine(log, line)) {
    last.push_back(line);
    if (last.size() > count) last.pop_front();
  }
  for (const std::string& text : last) printLine(text, json);

  while (follow && std::cout) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    if (!log.is_open()) log.open(file);
    while (log.is_open() && takeLine(log, line)) printLine(line, json);
  }
  return kDone;
}

void addTail(CLI::App* group) {
  struct Options {
    size_t count = 10;
    bool follow = false;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("tail", "Print the last lines of the test log");
  command->add_option("-n,--lines", options->count, "How many lines")->capture_default_str();
  command->add_flag("-f,--follow", options->follow, "Go on with each line as it is written");
  command->add_flag("--json", options->json, "Print each line as a JSON string");
  setAction(command, [=] { return tail(options->count, options->follow, options->json); });
}

void addCollected(CLI::App* group) {
  const auto json = std::make_shared<bool>(false);
  CLI::App* command =
      group->add_subcommand("collected", "Tell whether the device's logs were collected");
  addJsonFlag(command, *json);
  command->footer("Exit status: 0 when they were, 1 when not.");
  setAction(command, [=] {
    requireUnit();
    const bool collected = logsCollected();
    const char* style = newLogCollection() ? "new" : "old";
    if (*json) {
      printJson({{"collected", collected}, {"style", style}});
    } else {
      std::cout << (collected ? "collected" : "not collected") << " (" << style << " style)\n";
    }
    return collected ? kDone : kFailed;
  });
}

}  // namespace

void addLogGroup(CLI::App& app) {
  CLI::App* group = app.add_subcommand("log", "Write to and read the unit's test log");
  group->require_subcommand(1);
  group->footer("Example:\n  corvane log tail -f");
  addWrite(group);
  addMessage(group);
  addTail(group);
  addCollected(group);
}

}  // namespace corvane::tools
