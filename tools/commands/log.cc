#include "log/log.h"

#include <chrono>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "log/log_collection.h"
#include "platform/device_path.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/log/test_log.h"
#include "tools/unit_access.h"

namespace corvane::tools {
namespace {

struct WriteOptions {
  std::string message;
  std::optional<std::string> test;
  int32_t indentation = 0;
  bool raw = false;
};

void writeLine(const WriteOptions& options) {
  const auto message = textArgument(options.message);
  const auto test = options.test ? textArgument(*options.test) : CFRef<CFStringRef>();
  writeToLog(1, [&] {
    options.raw ? Log::write(message.get())
                : Log::write(message.get(), test.get(), options.indentation);
  });
}

void addWrite(Command group) {
  Command command =
      group.add("write", "Append a line to the test log",
                "Example:\n  corvane log write \"fixture closed\" --test Fixture --indent 1");
  auto& options = command.actionOn<WriteOptions>(writeLine);
  command.text("MESSAGE", options.message, "Message of the line").required();
  const Option test = command.text("--test", options.test, "Name of the test that it belongs to");
  const Option indentation =
      command.number("--indent", options.indentation, "Levels of indentation", {0, 100});
  Option raw =
      command.flag("--raw", options.raw, "Write the message as it is, without time and system log");
  raw.excludes(test);
  raw.excludes(indentation);
}

struct MessageOptions {
  std::string sid, type, fields;
};

void writeMessage(const MessageOptions& options) {
  const auto fields = textArgument(options.fields);
  const auto sid = textArgument(options.sid);
  const auto type = textArgument(options.type);
  writeToLog(1, [&] { Log::writePalvireMessage(fields.get(), sid.get(), type.get()); });
}

void addMessage(Command group) {
  Command command = group.add("message", "Append a station message to the test log",
                              "Example:\n  corvane log message --sid UNIT-42 --type status "
                              "'result=\"pass\",code=\"0\"'");
  auto& options = command.actionOn<MessageOptions>(writeMessage);
  command.text("FIELDS", options.fields, "Further fields, such as 'result=\"pass\",code=\"0\"'");
  command.text("--sid", options.sid, "Station or unit identifier").required();
  command.text("--type", options.type, "Message type").required();
}

struct TailOptions {
  size_t count = 10;
  bool follow = false, json = false;
};

/// Prints the log's last lines, then, when asked to, each line as it is written, until the reader
/// of the output goes away.
void tail(const TailOptions& options) {
  requireUnitToLook();
  LogReader log(devicePath(kLogFile), options.follow);
  log.skipToLast(options.count);
  for (;;) {
    while (const auto line = log.nextLine()) std::cout << shownRecord(*line, options.json);
    if (!options.follow || !std::cout.flush()) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    log.followOn();
  }
  // With --follow a line that is cut short is shown once it is whole.
  if (!options.follow && !log.text().empty()) std::cout << shownRecord(log.text(), options.json);
}

void addTail(Command group) {
  Command command = group.add(
      "tail", "Print the last lines of the test log",
      "A line that begins with \"| \" continues the message above it, or was written without a\n"
      "time. With --follow, a log that is removed or emptied is followed on from its beginning.");
  auto& options = command.actionOn<TailOptions>(tail);
  command.number("-n,--lines", options.count, "How many lines; 10 if not given");
  command.flag("-f,--follow", options.follow, "Go on with each line as it is written");
  command.flag("--json", options.json, "Print the fields of each line as a line of JSON");
}

struct RecordOptions {
  LogFilter filter;
  bool json = false;
};

ExitStatus showRecords(const RecordOptions& options) {
  requireUnitToLook();
  return showLog(devicePath(kLogFile), options.filter, options.json, std::cout) ? kDone : kFailed;
}

void addLogShow(Command group) {
  Command command = group.add(
      "show", "Print the records of the test log that pass a filter",
      "A time is a date, with or without a time of day: 2026-11-16, 2026-11-16T08:30. A line that\n"
      "begins with \"| \" continues the record above it.\n"
      "Exit status: 0 when there was such a record, 1 when not.\n"
      "Example:\n  corvane log show --test Fixture --since 2026-11-16");
  auto& options = command.actionOn<RecordOptions>(showRecords);
  command.text("--test", options.filter.test, "Only this test's records");
  command.time("--since", options.filter.since, "Only from this local time on");
  command.time("--until", options.filter.until, "Only up to this local time");
  command.text("--grep", options.filter.grep, "Only records with this text");
  command.flag("--station-messages", options.filter.stationMessages, "Only station messages");
  command.flag("--json", options.json, "Print the fields of each record as a line of JSON");
}

ExitStatus showCollected(bool json) {
  requireUnitToLook();
  const bool collected = logsCollected();
  const std::string style = newLogCollection() ? "new" : "old";
  printResult(json, {{"collected", collected}, {"style", style}},
              (collected ? "collected (" : "not collected (") + style + " style)\n");
  return collected ? kDone : kFailed;
}

}  // namespace

void addLog(CLI::App& app) {
  Command group = Command(app).addGroup("log", "Write to and read the unit's test log",
                                        "Example:\n  corvane log tail -f");
  addWrite(group);
  addMessage(group);
  addTail(group);
  addLogShow(group);
  addLook(group, "collected", "Show whether the device's logs were collected",
          "Exit status: 0 when they were, 1 when not.", showCollected);
}

}  // namespace corvane::tools
