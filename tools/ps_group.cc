#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "tools/byte_file.h"
#include "tools/command.h"
#include "tools/json_output.h"
#include "tools/log_file.h"
#include "tools/ps/live_screen.h"
#include "tools/ps/process_plot.h"
#include "tools/ps/process_recording.h"
#include "tools/ps/process_sample.h"
#include "tools/ps/process_table.h"

namespace corvane::tools {
namespace {

const std::map<std::string, Order> kOrders = {
    {"pid", Order::kPid}, {"cpu", Order::kUsage}, {"name", Order::kName}};

struct Options {
  bool threads = false;
  bool json = false;
  std::optional<Order> order;
  std::optional<size_t> top;
  double over = 0;
  bool log = false;
  double watch = 0;
  std::string recording;
  double length = 0;
  double interval = 1;
  std::string plot;
  std::string output;
};

ExitStatus print(const Options& options) {
  ProcessSampler sampler;
  Sample sample = sampler.take();
  if (options.over > 0) {
    std::this_thread::sleep_for(Seconds(options.over));
    sample = sampler.take();
  }
  arrange(sample.processes, options.order.value_or(Order::kPid), options.top);
  if (options.json) {
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const ProcessSample& process : sample.processes) {
      json.push_back(jsonOf(process, options.threads));
    }
    printJson({{"processes", json}});
  } else {
    for (const std::string& line : tableOf(sample.processes, options.threads)) {
      std::cout << line << "\n";
    }
  }
  if (sample.failure.empty()) return kDone;
  throw CommandError(kFailed, "some processes are missing: " + sample.failure);
}

/// The line above the live table.
std::string headline(const Sample& sample, bool isFirst) {
  size_t threads = 0;
  double usage = 0;
  for (const ProcessSample& process : sample.processes) {
    threads += process.threads.size();
    usage += process.usage;
  }
  char text[200];
  std::snprintf(text, sizeof text, "%zu processes, %zu threads, %.1f %% CPU %s    q: quit",
                sample.processes.size(), threads, usage,
                isFirst ? "over their lives" : "since the last look");
  return text;
}

ExitStatus watch(const Options& options) {
  using Clock = std::chrono::steady_clock;
  constexpr size_t kTitles = 2;
  const auto interval = std::chrono::duration_cast<Clock::duration>(Seconds(options.watch));
  LiveScreen screen;
  ProcessSampler sampler;
  for (bool isFirst = true;; isFirst = false) {
    const Clock::time_point next = Clock::now() + interval;
    Sample sample = sampler.take();
    std::vector<std::string> lines = {headline(sample, isFirst)};
    arrange(sample.processes, options.order.value_or(Order::kUsage), options.top);
    const std::vector<std::string> table = tableOf(sample.processes, options.threads);
    lines.insert(lines.end(), table.begin(), table.end());

    LiveScreen::Event event;
    do {
      screen.show(lines, kTitles);
      event = screen.wait(next);
    } while (event == LiveScreen::Event::kRedraw);
    if (event == LiveScreen::Event::kEnd) return kDone;
  }
}

ExitStatus plot(const Options& options) {
  constexpr size_t kUsualCount = 8;
  const std::string svg = plotSvg(readRecording(options.plot), options.top.value_or(kUsualCount));
  if (options.output.empty()) {
    std::cout << svg;
  } else {
    writeFile(options.output, {reinterpret_cast<const uint8_t*>(svg.data()), svg.size()});
  }
  return kDone;
}

ExitStatus run(const Options& options) {
  if (options.log) return writeToLog(logSnapshot);
  if (options.watch > 0) return watch(options);
  if (!options.plot.empty()) return plot(options);
  if (options.recording.empty()) return print(options);
  ProcessSampler sampler;
  ClockPace pace;
  return record(options.recording, {Seconds(options.length), Seconds(options.interval)}, pace, [&] {
    Sample sample = sampler.take();
    arrange(sample.processes, options.order.value_or(Order::kUsage), options.top);
    return std::move(sample.processes);
  });
}

}  // namespace

void addPsGroup(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  CLI::App* group = app.add_subcommand("ps", "Show what each process uses of the processors");
  const CLI::Range time(0.05, 1e6);
  constexpr char kSeconds[] = "SECONDS", kFile[] = "FILE";
  group->add_flag("--threads", options->threads, "Show each thread, too");
  group->add_option("--sort", options->order, "By pid, cpu or name")
      ->transform(CLI::CheckedTransformer(kOrders))
      ->option_text("ORDER");
  group->add_option("--top", options->top, "Only the first so many")->option_text("COUNT");
  auto* over = group
                   ->add_option("--over", options->over,
                                "Measure over so many seconds, not over each thread's life")
                   ->check(time)
                   ->option_text(kSeconds);
  auto* json = group->add_flag("--json", options->json, "Print JSON instead of text");

  auto* log = group->add_flag("--log", options->log, "Write the report to the test log instead");
  auto* watch = group
                    ->add_option("--watch", options->watch,
                                 "A live view with a new sample every so many seconds")
                    ->check(time)
                    ->option_text(kSeconds);
  auto* record = group
                     ->add_option("--record", options->recording,
                                  "Write samples to this new file, one line of JSON each")
                     ->option_text(kFile);
  auto* length = group->add_option("--for", options->length, "How many seconds to record")
                     ->check(time)
                     ->option_text(kSeconds);
  auto* interval =
      group->add_option("--every", options->interval, "Seconds between two samples; 1 unless given")
          ->check(time)
          ->option_text(kSeconds);
  auto* plot = group->add_option("--plot", options->plot, "Print an SVG chart of such a recording")
                   ->option_text(kFile);
  auto* output = group->add_option("--output", options->output, "Write the chart to this file")
                     ->option_text(kFile);

  record->needs(length);
  length->needs(record);
  interval->needs(record);
  output->needs(plot);
  const std::vector<CLI::Option*> modes = {log, watch, record, plot};
  for (CLI::Option* mode : modes) {
    mode->excludes(json)->excludes(over);
    for (CLI::Option* other : modes) {
      if (mode != other) mode->excludes(other);
    }
  }
  group->footer(
      "Examples:\n"
      "  corvane ps --over 1 --sort cpu --top 10\n"
      "  corvane ps --watch 2\n"
      "  corvane ps --record run.jsonl --for 60 --every 0.5\n"
      "  corvane ps --plot run.jsonl --output run.svg");
  setAction(group, [=] { return run(*options); });
}

}  // namespace corvane::tools
