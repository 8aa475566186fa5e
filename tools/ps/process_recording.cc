#include "tools/ps/process_recording.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "platform/scoped_file.h"
#include "tools/json_output.h"
#include "tools/ps/process_json.h"

namespace corvane::tools {
namespace {

using Clock = std::chrono::steady_clock;
using nlohmann::json;

[[noreturn]] void fail(const std::string& file) {
  throw CommandError(kFailed, file + ": " + std::strerror(errno));
}

std::string lineOf(Seconds time, int64_t missed, const std::vector<ProcessSample>& processes) {
  std::array<char, 128> head;
  std::snprintf(head.data(), head.size(),
                R"({"schema":%d,"time":%.3f,"missed":%)" PRId64 R"(,"processes":[)", kJsonSchema,
                time.count(), missed);
  std::string line = head.data();
  for (const ProcessSample& process : processes) {
    if (&process != &processes.front()) line += ",";
    line += jsonText(process);
  }
  return line + "]}\n";
}

/// Thrown for a line of a recording; the text is what is wrong with it.
class LineError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

const json& fieldOf(const json& object, const char* name) {
  const auto field = object.is_object() ? object.find(name) : object.end();
  if (!object.is_object() || field == object.end()) {
    throw LineError(std::string("\"") + name + "\" is missing");
  }
  return *field;
}

/// Returns the field's number, which must be from 0 to `most`.
double numberOf(const json& object, const char* name, double most) {
  const json& field = fieldOf(object, name);
  const double number = field.is_number() ? field.get<double>() : -1;
  if (number >= 0 && number <= most) return number;
  std::array<char, 128> text;
  std::snprintf(text.data(), text.size(), "\"%s\" is not a number from 0 to %.15g", name, most);
  throw LineError(text.data());
}

RecordedProcess processOf(const json& object) {
  // The most that a farm of processors could use, and the ids that there are.
  constexpr double kMostPercent = 1e9, kMostId = INT32_MAX;
  const json& name = fieldOf(object, "name");
  if (!name.is_string()) throw LineError("\"name\" is not a text");
  return {static_cast<int32_t>(numberOf(object, "pid", kMostId)), name.get<std::string>(),
          numberOf(object, "cpu", kMostPercent)};
}

RecordedSample sampleOf(const std::string& line) {
  constexpr double kYear10000 = 253'402'300'800, kMostMissed = 1e12;
  const json object = json::parse(line, nullptr, false);
  if (object.is_discarded()) throw LineError("it is not JSON");
  RecordedSample sample;
  sample.time = numberOf(object, "time", kYear10000);
  // Recordings of earlier versions say nothing about missed samples.
  if (object.contains("missed")) {
    sample.missed = static_cast<int64_t>(numberOf(object, "missed", kMostMissed));
  }
  const json& processes = fieldOf(object, "processes");
  if (!processes.is_array()) throw LineError("\"processes\" is not a list");
  for (const json& process : processes) sample.processes.push_back(processOf(process));
  return sample;
}

}  // namespace

Seconds ClockPace::now() { return Clock::now() - _start; }

bool ClockPace::waitUntil(Seconds time) {
  _signals.wait(_start + std::chrono::duration_cast<Clock::duration>(time));
  return !(_signals.hasCome(SIGINT) || _signals.hasCome(SIGTERM) || _signals.hasCome(SIGHUP));
}

ExitStatus record(const std::string& file, const RecordingPlan& plan, Pace& pace,
                  const std::function<std::vector<ProcessSample>()>& sample) {
  const ScopedFile output(std::fopen(file.c_str(), "wxe"));
  if (!output) fail(file);
  sample();
  // The first line needs a reading to measure from.
  const Seconds begin = pace.now() + std::max(Seconds(0), kLeastUsageTime - plan.interval);
  // The clock may be set while the recording runs; its lines stay in order.
  const Seconds epoch = std::chrono::system_clock::now().time_since_epoch() - pace.now();
  const auto count =
      static_cast<int64_t>(std::max(1.0, std::floor(plan.length / plan.interval + 1e-9)));
  int64_t written = 0;
  for (int64_t due = 1; due <= count; ++due) {
    if (!pace.waitUntil(begin + plan.interval * static_cast<double>(due))) {
      std::cerr << "corvane: interrupted after " << written << " of " << count << " samples\n";
      return kFailed;
    }
    const Seconds now = pace.now();
    const auto latest = static_cast<int64_t>(
        std::min(static_cast<double>(count), std::floor((now - begin) / plan.interval + 1e-9)));
    const int64_t missed = std::max<int64_t>(0, latest - due);
    due += missed;
    const std::string line = lineOf(epoch + now, missed, sample());
    if (std::fwrite(line.data(), 1, line.size(), output.get()) != line.size() ||
        std::fflush(output.get()) != 0) {
      fail(file);
    }
    ++written;
  }
  if (written < count) {
    std::cerr << "corvane: " << count - written << " of " << count << " samples were missed\n";
  }
  return kDone;
}

namespace {

/// Reads the line on to its line feed, which is left out. Returns false when there is none.
bool readLine(std::FILE* input, std::string& line) {
  line.clear();
  for (int byte = 0; (byte = getc_unlocked(input)) != EOF && byte != '\n';) {
    line += static_cast<char>(byte);
  }
  return !std::feof(input) && !std::ferror(input);
}

/// Reads all that `nextLine` reads into the line that it is given, until it returns false.
template <typename NextLine>
std::vector<RecordedSample> samplesOf(NextLine nextLine, const std::string& name) {
  std::vector<RecordedSample> samples;
  size_t number = 0;
  for (std::string line; nextLine(line);) {
    ++number;
    try {
      RecordedSample sample = sampleOf(line);
      if (!samples.empty() && sample.time < samples.back().time) {
        throw LineError("it is earlier than the line before");
      }
      samples.push_back(std::move(sample));
    } catch (const LineError& error) {
      throw CommandError(kUsage, name + ":" + std::to_string(number) +
                                     ": not a line of a recording: " + error.what());
    }
  }
  if (samples.empty()) throw CommandError(kUsage, name + ": holds no sample");
  return samples;
}

}  // namespace

std::vector<RecordedSample> readRecording(const std::string& file) {
  const ScopedFile input(std::fopen(file.c_str(), "rbe"));
  if (!input) throw CommandError(kUsage, file + ": " + std::strerror(errno));
  return samplesOf([&](std::string& line) { return readLine(input.get(), line); }, file);
}

std::vector<RecordedSample> readRecording(std::istream& input, const std::string& name) {
  return samplesOf([&](std::string& line) { return std::getline(input, line) && !input.eof(); },
                   name);
}

}  // namespace corvane::tools
