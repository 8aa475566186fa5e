#include "tools/ps/process_json.h"

#include <array>
#include <charconv>
#include <nlohmann/json.hpp>
#include <string_view>

#include "tools/json_output.h"

namespace corvane::tools {
namespace {

/// Appends text and numbers to a line. A number is as short as possible without losing precision.
class Line {
 public:
  Line& operator<<(std::string_view text) {
    _text += text;
    return *this;
  }
  Line& operator<<(double number) {
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    _text.append(digits.begin(), end);
    return *this;
  }
  std::string_view text() const { return _text; }
  void clear() { _text.clear(); }

 private:
  std::string _text;
};

/// Appends a thread's fields, which are numbers and words that need no escaping.
void append(Line& line, const ThreadSample& thread) {
  line << R"({"cpu":)" << percentOf(thread.usage) << R"(,"state":")" << stateText(thread.runState)
       << R"(","flags":")" << (thread.flags == TH_FLAGS_IDLE ? "idle" : "swapped") << R"(","user":)"
       << secondsOf(thread.user) << R"(,"system":)" << secondsOf(thread.system) << "}";
}

}  // namespace

std::string jsonText(const ProcessSample& process) {
  const std::string name = jsonText(nlohmann::ordered_json(process.name), -1);
  Line line;
  line << R"({"pid":)" << std::to_string(process.pid) << R"(,"name":)" << name << R"(,"cpu":)"
       << percentOf(process.usage);
  if (process.times) {
    line << R"(,"user":)" << secondsOf(process.times->user_time) << R"(,"system":)"
         << secondsOf(process.times->system_time);
  } else {
    line << R"(,"user":null,"system":null)";
  }
  line << R"(,"state":")" << stateText(process) << R"(","threadCount":)"
       << std::to_string(process.threads.size()) << "}";
  return std::string(line.text());
}

void printJson(std::ostream& out, const std::vector<ProcessSample>& processes, bool withThreads) {
  out << "{\n  \"schema\": " << kJsonSchema << ",\n  \"processes\": [";
  Line line;
  for (const ProcessSample& process : processes) {
    std::string text = jsonText(process);
    out << (&process == &processes.front() ? "\n    " : ",\n    ");
    if (!withThreads) {
      out << text;
      continue;
    }
    text.pop_back();
    out << text << R"(,"threads":[)";
    for (const ThreadSample& thread : process.threads) {
      line.clear();
      line << (&thread == &process.threads.front() ? "\n      " : ",\n      ");
      append(line, thread);
      out << line.text();
    }
    out << "]}";
  }
  out << "\n  ]\n}\n";
}

}  // namespace corvane::tools
