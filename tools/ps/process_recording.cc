#include "tools/ps/process_recording.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

#include "platform/scoped_file.h"
#include "tools/json_output.h"
#include "tools/ps/process_table.h"

namespace corvane::tools {
namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const std::string& file) {
  throw CommandError(kFailed, file + ": " + std::strerror(errno));
}

std::string lineOf(const RecordedSample& sample) {
  nlohmann::ordered_json json = {{"time", std::round(sample.time * 1000) / 1000},
                                 {"missed", sample.missed},
                                 {"processes", nlohmann::ordered_json::array()}};
  for (const ProcessSample& process : sample.processes) {
    json["processes"].push_back(jsonOf(process, false));
  }
  return jsonLine(json);
}

RecordedSample sampleOf(const nlohmann::json& json) {
  RecordedSample sample;
  json.at("time").get_to(sample.time);
  sample.missed = json.value("missed", int64_t{0});
  for (const nlohmann::json& process : json.at("processes")) {
    ProcessSample& added = sample.processes.emplace_back();
    process.at("pid").get_to(added.pid);
    process.at("name").get_to(added.name);
    process.at("cpu").get_to(added.usage);
  }
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
  const ScopedFile output(std::fopen(file.c_str(), "wx"));
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
    const std::string line = lineOf({(epoch + now).count(), missed, sample()});
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

std::vector<RecordedSample> readRecording(const std::string& file) {
  std::ifstream input(file, std::ios::binary);
  if (!input) throw CommandError(kUsage, file + ": " + std::strerror(errno));
  std::vector<RecordedSample> samples;
  size_t number = 0;
  for (std::string line; std::getline(input, line) && !input.eof();) {
    ++number;
    try {
      samples.push_back(sampleOf(nlohmann::json::parse(line)));
    } catch (const nlohmann::json::exception& error) {
      throw CommandError(kUsage, file + ":" + std::to_string(number) +
                                     ": no line of a recording: " + error.what());
    }
  }
  if (samples.empty()) throw CommandError(kUsage, file + ": holds no sample");
  return samples;
}

}  // namespace corvane::tools
