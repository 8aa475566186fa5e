#include <algorithm>
#include <array>
#include <chrono>
#include <nlohmann/json.hpp>
#include <span>
#include <sstream>

#include "platform/printable.h"
#include "tools/json_output.h"
#include "tools/ps/ps.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {
namespace {

/// A process is in the first of these states that one of its threads is in.
constexpr std::array kStates = {
    std::pair(TH_STATE_RUNNING, "running"), std::pair(TH_STATE_UNINTERRUPTIBLE, "uninterruptible"),
    std::pair(TH_STATE_STOPPED, "stopped"), std::pair(TH_STATE_WAITING, "waiting"),
    std::pair(TH_STATE_HALTED, "halted")};

const char* stateOf(std::span<const ThreadSample> threads, const char* unknown) {
  for (const auto& [code, text] : kStates) {
    if (std::ranges::find(threads, code, &ThreadSample::runState) != threads.end()) return text;
  }
  return unknown;
}

/// Returns a count of tenths or hundredths, the "parts" of `unit`, as a decimal number.
std::string decimal(int64_t parts, int64_t unit) {
  std::string text = std::to_string(parts / unit) + ".";
  const std::string fraction = std::to_string(unit + parts % unit);
  return text.append(fraction, 1);
}

/// Returns the seconds, truncated to hundredths: "12.05".
std::string secondsText(time_value_t time) {
  return decimal(int64_t{time.seconds} * 100 + time.microseconds / 10'000, 100);
}

/// Appends the thread's fields, which are numbers and words that need no escaping.
void append(std::string& text, const ThreadSample& thread) {
  text.append(R"({"cpu":)").append(percentText(thread.usage));
  text.append(R"(,"state":")").append(stateOf({&thread, 1}, "unknown_state"));
  text.append(R"(","flags":")").append(thread.flags == TH_FLAGS_IDLE ? "idle" : "swapped");
  text.append(R"(","user":)").append(secondsText(thread.user));
  text.append(R"(,"system":)").append(secondsText(thread.system)).append("}");
}

std::string textOf(const ProcessSample& process, bool withThreads) {
  std::string text = R"({"pid":)" + std::to_string(process.pid);
  text.append(R"(,"name":)").append(jsonText(nlohmann::ordered_json(process.name), -1));
  text.append(R"(,"cpu":)").append(percentText(process.usage));
  const auto& times = process.times;
  text.append(R"(,"user":)").append(times ? secondsText(times->user_time) : "null");
  text.append(R"(,"system":)").append(times ? secondsText(times->system_time) : "null");
  text.append(R"(,"state":")").append(stateOf(process.threads, "-"));
  text.append(R"(","threadCount":)").append(std::to_string(process.threads.size()));
  if (withThreads) {
    text.append(R"(,"threads":[)");
    for (const ThreadSample& thread : process.threads) {
      append(text, thread);
      text.append(",");
    }
    if (text.ends_with(',')) text.pop_back();
    text.append("]");
  }
  return text.append("}");
}

void printProcesses(std::ostream& out, const Sample& sample, bool withThreads,
                    const char* separator) {
  const char* before = "";
  for (const ProcessSample& process : sample.processes) {
    out << std::exchange(before, separator) << textOf(process, withThreads);
  }
}

}  // namespace

std::string percentText(integer_t usage) {
  static_assert(TH_USAGE_SCALE == 1000);
  return decimal(usage, 10);
}

void printTable(std::ostream& out, const Sample& sample, bool withThreads, size_t width) {
  std::vector<Column> columns = {{"STATE"}, {"NAME"}};
  for (const char* number : {"THREADS", "SYSTEM", "USER", "CPU%", "PID"}) {
    columns.insert(columns.begin(), {number, Align::kRight});
  }
  Table table(columns);
  for (const ProcessSample& process : sample.processes) {
    table.addRow({std::to_string(process.pid), percentText(process.usage),
                  process.times ? secondsText(process.times->user_time) : "-",
                  process.times ? secondsText(process.times->system_time) : "-",
                  std::to_string(process.threads.size()), stateOf(process.threads, "-"),
                  printable(process.name)});
    if (!withThreads) continue;
    for (const ThreadSample& thread : process.threads) {
      table.addRow({"", percentText(thread.usage), secondsText(thread.user),
                    secondsText(thread.system), "", stateOf({&thread, 1}, "unknown_state"),
                    thread.flags == TH_FLAGS_IDLE ? "  thread (idle)" : "  thread"});
    }
  }
  table.print(out, width);
}

void printJson(std::ostream& out, const Sample& sample, bool withThreads) {
  out << "{\n  \"schema\": " << kJsonSchema << ",\n  \"processes\": [\n    ";
  printProcesses(out, sample, withThreads, ",\n    ");
  out << "\n  ]\n}\n";
}

void printJsonLine(std::ostream& out, const Sample& sample, bool withThreads, int64_t missed) {
  using namespace std::chrono;
  const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch());
  std::ostringstream line;
  line << R"({"schema":)" << kJsonSchema << R"(,"time":)" << decimal(now.count(), 1000)
       << R"(,"missed":)" << missed;
  if (!sample.failure.empty()) {
    line << R"(,"failure":)" << jsonText(nlohmann::ordered_json(sample.failure), -1);
  }
  line << R"(,"processes":[)";
  printProcesses(line, sample, withThreads, ",");
  line << "]}\n";
  out << line.str() << std::flush;
}

}  // namespace corvane::tools
