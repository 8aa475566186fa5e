#include "tools/ps/process_view.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "platform/printable.h"
#include "tools/json_output.h"
#include "tools/terminal/table.h"

namespace corvane::tools {
namespace {

/// Appends the thread's fields, which are numbers and words that need no escaping.
void append(std::string& text, const ThreadSample& thread) {
  text.append(R"({"cpu":)").append(percentText(thread.usage));
  text.append(R"(,"state":")").append(stateText(thread.runState));
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
  text.append(R"(,"state":")").append(stateText(process));
  text.append(R"(","threadCount":)").append(std::to_string(process.threads.size()));
  if (withThreads) {
    text.append(R"(,"threads":[)");
    for (const ThreadSample& thread : process.threads) {
      if (&thread != &process.threads.front()) text.append(",");
      append(text, thread);
    }
    text.append("]");
  }
  return text.append("}");
}

void printProcesses(std::ostream& out, const Sample& sample, bool withThreads,
                    const char* separator) {
  for (const ProcessSample& process : sample.processes) {
    if (&process != &sample.processes.front()) out << separator;
    out << textOf(process, withThreads);
  }
}

}  // namespace

void printTable(std::ostream& out, const Sample& sample, bool withThreads, size_t width) {
  Table table({{"PID", Align::kRight},
               {"CPU%", Align::kRight},
               {"USER", Align::kRight},
               {"SYSTEM", Align::kRight},
               {"THREADS", Align::kRight},
               {"STATE"},
               {"NAME"}});
  for (const ProcessSample& process : sample.processes) {
    table.addRow({std::to_string(process.pid), percentText(process.usage),
                  process.times ? secondsText(process.times->user_time) : "-",
                  process.times ? secondsText(process.times->system_time) : "-",
                  std::to_string(process.threads.size()), stateText(process),
                  printable(process.name)});
    if (!withThreads) continue;
    for (const ThreadSample& thread : process.threads) {
      table.addRow({"", percentText(thread.usage), secondsText(thread.user),
                    secondsText(thread.system), "", stateText(thread.runState),
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
  const int64_t now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
  std::ostringstream line;
  line << R"({"schema":)" << kJsonSchema << R"(,"time":)" << now / 1000 << "."
       << std::to_string(1000 + now % 1000).substr(1) << R"(,"missed":)" << missed;
  if (!sample.failure.empty()) {
    line << R"(,"failure":)" << jsonText(nlohmann::ordered_json(sample.failure), -1);
  }
  line << R"(,"processes":[)";
  printProcesses(line, sample, withThreads, ",");
  line << "]}\n";
  out << line.str() << std::flush;
}

}  // namespace corvane::tools
