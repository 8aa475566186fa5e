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

/// Returns the seconds, truncated to hundredths: "12.05".
std::string secondsText(time_value_t time) {
  return formatted("%d.%02d", time.seconds, time.microseconds / 10'000);
}

/// Returns the user and the system time, or `unknown` for both.
std::array<std::string, 2> timesOf(const ProcessSample& process, const char* unknown) {
  if (!process.times) return {unknown, unknown};
  return {secondsText(process.times->user_time), secondsText(process.times->system_time)};
}

std::string textOf(const ThreadSample& thread) {
  return formatted(R"({"cpu":%s,"state":"%s","flags":"%s","user":%s,"system":%s})",
                   percentText(thread.usage).c_str(), stateOf({&thread, 1}, "unknown_state"),
                   thread.flags == TH_FLAGS_IDLE ? "idle" : "swapped",
                   secondsText(thread.user).c_str(), secondsText(thread.system).c_str());
}

// JSON is written process by process: one with so many threads as a machine can have takes much
// memory as a tree.
void printProcesses(std::ostream& out, const Sample& sample, bool withThreads,
                    const char* separator) {
  const char* before = "";
  for (const ProcessSample& process : sample.processes) {
    const auto [user, system] = timesOf(process, "null");
    out << std::exchange(before, separator)
        << formatted(R"({"pid":%d,"name":%s,"cpu":%s,"user":%s,"system":%s,"state":"%s",)"
                     R"("threadCount":%zu)",
                     process.pid, jsonText(nlohmann::ordered_json(process.name), -1).c_str(),
                     percentText(process.usage).c_str(), user.c_str(), system.c_str(),
                     stateOf(process.threads, "-"), process.threads.size());
    std::string threads;
    for (const ThreadSample& thread : process.threads) {
      if (withThreads) threads.append(threads.empty() ? "" : ",").append(textOf(thread));
    }
    out << (withThreads ? R"(,"threads":[)" + threads + "]}" : "}");
  }
}

}  // namespace

std::string percentText(integer_t usage) {
  static_assert(TH_USAGE_SCALE == 1000);
  return formatted("%d.%d", usage / 10, usage % 10);
}

void printTable(std::ostream& out, const Sample& sample, bool withThreads, size_t width) {
  std::vector<Column> columns = {{"STATE"}, {"NAME"}};
  for (const char* number : {"THREADS", "SYSTEM", "USER", "CPU%", "PID"}) {
    columns.insert(columns.begin(), {number, Align::kRight});
  }
  Table table(columns);
  for (const ProcessSample& process : sample.processes) {
    const auto [user, system] = timesOf(process, "-");
    table.addRow({std::to_string(process.pid), percentText(process.usage), user, system,
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
  const duration<double> now = system_clock::now().time_since_epoch();
  std::ostringstream line;
  line << formatted(R"({"schema":%d,"time":%.3f,"missed":)", kJsonSchema, now.count()) << missed;
  if (!sample.failure.empty()) {
    line << R"(,"failure":)" << jsonText(nlohmann::ordered_json(sample.failure), -1);
  }
  line << R"(,"processes":[)";
  printProcesses(line, sample, withThreads, ",");
  line << "]}\n";
  out << line.str() << std::flush;
}

}  // namespace corvane::tools
