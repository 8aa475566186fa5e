#include "tools/ps/process_recording.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/json_output.h"
#include "tools/ps/process_table.h"
#include "tools/signal_wait.h"

namespace corvane::tools {
namespace {

using Clock = std::chrono::steady_clock;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

[[noreturn]] void fail(const std::string& file) {
  throw CommandError(kFailed, file + ": " + std::strerror(errno));
}

std::string lineOf(const std::vector<ProcessSample>& processes) {
  const Seconds now = std::chrono::system_clock::now().time_since_epoch();
  nlohmann::ordered_json json = {{"time", std::round(now.count() * 1000) / 1000},
                                 {"processes", nlohmann::ordered_json::array()}};
  for (const ProcessSample& process : processes) {
    json["processes"].push_back(jsonOf(process, false));
  }
  return jsonLine(json);
}

RecordedSample sampleOf(const nlohmann::json& json) {
  RecordedSample sample;
  json.at("time").get_to(sample.time);
  for (const nlohmann::json& process : json.at("processes")) {
    ProcessSample& added = sample.processes.emplace_back();
    process.at("pid").get_to(added.pid);
    process.at("name").get_to(added.name);
    process.at("cpu").get_to(added.usage);
  }
  return sample;
}

}  // namespace

ExitStatus record(const std::string& file, Seconds length, Seconds interval,
                  const std::function<void(std::vector<ProcessSample>&)>& arranged) {
  SignalWait signals({SIGINT, SIGTERM, SIGHUP});
  ProcessSampler sampler;
  sampler.take();
  const File output(std::fopen(file.c_str(), "wx"));
  if (!output) fail(file);

  const auto count = static_cast<int64_t>(std::max(1.0, std::floor(length / interval + 1e-9)));
  const Clock::time_point start = Clock::now();
  for (int64_t i = 1; i <= count; ++i) {
    const auto next =
        start + std::chrono::duration_cast<Clock::duration>(interval * static_cast<double>(i));
    signals.wait(next);
    if (signals.took(SIGINT) || signals.took(SIGTERM) || signals.took(SIGHUP)) {
      std::cerr << "corvane: interrupted after " << i - 1 << " of " << count << " samples\n";
      return kFailed;
    }
    Sample sample = sampler.take();
    arranged(sample.processes);
    const std::string line = lineOf(sample.processes);
    if (std::fwrite(line.data(), 1, line.size(), output.get()) != line.size() ||
        std::fflush(output.get()) != 0) {
      fail(file);
    }
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
