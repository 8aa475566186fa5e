#include "tools/ps/process_table.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/table.h"

namespace corvane::tools {
namespace {

std::string oneDecimal(std::optional<double> value) {
  if (!value) return "-";
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.1f", *value);
  return text.data();
}

std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; },
      '?');
  return text;
}

/// The state of a process is that of its busiest kind of thread.
std::string stateOf(const ProcessSample& process) {
  for (const char* state : {"running", "uninterruptible", "stopped", "waiting", "halted"}) {
    if (std::ranges::find(process.threads, state, &ThreadSample::state) != process.threads.end()) {
      return state;
    }
  }
  return "-";
}

nlohmann::ordered_json orNull(std::optional<double> value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json jsonOf(const ThreadSample& thread) {
  if (!thread.usage) return nlohmann::ordered_json::object();
  return {{"cpu", *thread.usage},
          {"state", thread.state},
          {"flags", thread.flags},
          {"user", thread.user},
          {"system", thread.system}};
}

}  // namespace

std::vector<std::string> tableOf(const std::vector<ProcessSample>& processes, bool withThreads) {
  Table table({{"PID", Align::kRight},
               {"CPU%", Align::kRight},
               {"USER", Align::kRight},
               {"SYSTEM", Align::kRight},
               {"THREADS", Align::kRight},
               {"STATE"},
               {"NAME"}});
  for (const ProcessSample& process : processes) {
    table.addRow({std::to_string(process.pid), oneDecimal(process.usage), oneDecimal(process.user),
                  oneDecimal(process.system), std::to_string(process.threads.size()),
                  stateOf(process), printable(process.name)});
    if (!withThreads) continue;
    for (const ThreadSample& thread : process.threads) {
      if (thread.usage) {
        table.addRow({"", oneDecimal(thread.usage), oneDecimal(thread.user),
                      oneDecimal(thread.system), "", thread.state,
                      thread.flags == "idle" ? "  thread (idle)" : "  thread"});
      } else {
        table.addRow({"", "-", "-", "-", "", "-", "  thread that could not be queried"});
      }
    }
  }
  std::ostringstream text;
  table.print(text);
  std::istringstream all(text.str());
  std::vector<std::string> lines;
  for (std::string line; std::getline(all, line);) lines.push_back(line);
  return lines;
}

nlohmann::ordered_json jsonOf(const ProcessSample& process, bool withThreads) {
  nlohmann::ordered_json json = {{"pid", process.pid},
                                 {"name", process.name},
                                 {"cpu", process.usage},
                                 {"user", orNull(process.user)},
                                 {"system", orNull(process.system)},
                                 {"threadCount", process.threads.size()}};
  if (!withThreads) return json;
  json["threads"] = nlohmann::ordered_json::array();
  for (const ThreadSample& thread : process.threads) json["threads"].push_back(jsonOf(thread));
  return json;
}

}  // namespace corvane::tools
