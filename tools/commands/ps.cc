#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <memory>
#include <thread>

#include "platform/printable.h"
#include "tools/command.h"
#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/log/log_file.h"
#include "tools/ps/live_screen.h"
#include "tools/ps/process_json.h"
#include "tools/ps/process_plot.h"
#include "tools/ps/process_recording.h"
#include "tools/ps/process_sample.h"
#include "tools/ps/process_table.h"
#include "tools/ps/snapshot_log.h"

namespace corvane::tools {
namespace {

const std::map<std::string, Order> kOrders = {
    {"pid", Order::kPid}, {"cpu", Order::kUsage}, {"name", Order::kName}};

struct PsOptions {
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

/// Returns the width of the terminal that standard output is; nothing when it is something else.
std::optional<size_t> terminalWidth() {
  winsize size{};
  if (!isatty(STDOUT_FILENO) || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {};
  return size.ws_col > 0 ? std::optional<size_t>(size.ws_col) : std::nullopt;
}

/// Throws CommandError when a sample's failure is not empty.
void requireComplete(const std::string& failure) {
  if (failure.empty()) return;
  throw CommandError(kFailed, "some processes or threads are missing: " + failure);
}

ExitStatus print(const PsOptions& options) {
  Sample sample = takeSample();
  if (options.over > 0) {
    std::this_thread::sleep_for(std::max(Seconds(options.over), kLeastUsageTime));
    sample = takeSample();
  }
  arrange(sample.processes, options.order.value_or(Order::kPid), options.top);
  if (options.json) {
    printJson(std::cout, sample.processes, options.threads);
  } else {
    for (const std::string& line : tableOf(sample.processes, options.threads, terminalWidth())) {
      std::cout << line << "\n";
    }
  }
  requireComplete(sample.failure);
  return kDone;
}

/// Returns the line above the live table.
std::string headline(const Sample& sample, bool isFirst) {
  size_t threads = 0;
  integer_t usage = 0;
  for (const ProcessSample& process : sample.processes) {
    threads += process.threads.size();
    usage += process.usage;
  }
  std::array<char, 200> text;
  const bool isComplete = sample.failure.empty();
  std::snprintf(text.data(), text.size(), "%zu processes, %zu threads%s, %.1f %% CPU %s    q: quit",
                sample.processes.size(), threads, isComplete ? "" : " (some missing)",
                percentOf(usage), isFirst ? "over their lives" : "since the last look");
  return text.data() + (isComplete ? "" : "    " + printable(sample.failure));
}

ExitStatus watch(const PsOptions& options) {
  using Clock = std::chrono::steady_clock;
  constexpr size_t kTitles = 2;
  const auto interval = std::chrono::duration_cast<Clock::duration>(Seconds(options.watch));
  LiveScreen screen;
  for (bool isFirst = true;; isFirst = false) {
    const Clock::time_point next = Clock::now() + interval;
    Sample sample = takeSample();
    arrange(sample.processes, options.order.value_or(Order::kUsage), options.top);

    LiveScreen::Event event;
    do {
      std::vector<std::string> lines = {headline(sample, isFirst)};
      const auto table = tableOf(sample.processes, options.threads, screen.width());
      lines.insert(lines.end(), table.begin(), table.end());
      screen.show(lines, kTitles);
      event = screen.wait(next);
    } while (event == LiveScreen::Event::kRedraw);
    if (event == LiveScreen::Event::kEnd) return kDone;
  }
}

ExitStatus plot(const PsOptions& options) {
  constexpr size_t kUsualCount = 8;
  const std::string svg = plotSvg(readRecording(options.plot), options.top.value_or(kUsualCount));
  if (options.output.empty()) {
    std::cout << svg;
  } else {
    writeFile(options.output, svg);
  }
  return kDone;
}

ExitStatus recordSamples(const PsOptions& options) {
  ClockPace pace;
  std::string failure;
  const RecordingPlan plan{Seconds(options.length), Seconds(options.interval)};
  const ExitStatus status = record(options.recording, plan, pace, [&] {
    Sample sample = takeSample();
    if (failure.empty()) failure = sample.failure;
    arrange(sample.processes, options.order.value_or(Order::kUsage), options.top);
    return std::move(sample.processes);
  });
  requireComplete(failure);
  return status;
}

ExitStatus run(const PsOptions& options) {
  if (options.log) return writeToLog(logSnapshot);
  if (options.watch > 0) return watch(options);
  if (!options.plot.empty()) return plot(options);
  if (options.recording.empty()) return print(options);
  return recordSamples(options);
}

}  // namespace

void addPsGroup(CLI::App& app) {
  const auto options = std::make_shared<PsOptions>();
  Command group = Command(app).add("ps", "Show the CPU usage of each process");
  constexpr double kLeast = 0.05, kMost = 1e6;
  const Option threads = group.flag("--threads", options->threads, "Show each thread as well");
  const Option sort = group.choice("--sort", options->order, "Order of the processes", kOrders);
  const Option top = group.number("--top", options->top, "Only the first so many processes",
                                  {1, std::numeric_limits<int64_t>::max()});
  const Option over = group.seconds(
      "--over", options->over,
      "Measure over this time, at least 0.25, instead of over each thread's life", kLeast, kMost);
  const Option json = group.jsonFlag(options->json);

  Option log = group.flag("--log", options->log,
                          "Write the library's report to the test log instead. Its times have "
                          "their own form: 12.05 s reads 12.5");
  Option watch =
      group.seconds("--watch", options->watch,
                    "Show a live view with a new sample at this interval", kLeast, kMost);
  Option record = group.file("--record", options->recording,
                             "Write samples to this new file, one line of JSON each. Samples "
                             "that are missed are left out");
  Option length = group.seconds("--for", options->length, "How long to record", kLeast, kMost);
  group
      .seconds("--every", options->interval, "Interval of the samples; 1 unless given", kLeast,
               kMost)
      .needs(record);
  Option plot = group.file("--plot", options->plot, "Print an SVG chart of such a recording");
  group.file("--output", options->output, "Write the chart to this file").needs(plot);

  record.needs(length);
  length.needs(record);
  excludeEachOther({log, watch, record, plot});
  for (Option mode : {log, watch, record, plot}) mode.excludes(json).excludes(over);
  // What a mode would ignore is refused.
  log.excludes(threads).excludes(sort).excludes(top);
  record.excludes(threads);
  plot.excludes(threads).excludes(sort);
  group.footer(
      "Times are in seconds. A process whose path cannot be read shows the kernel's short name for "
      "it in brackets.\n\n"
      "Examples:\n"
      "  corvane ps --over 1 --sort cpu --top 10\n"
      "  corvane ps --watch 2\n"
      "  corvane ps --record run.jsonl --for 60 --every 0.5\n"
      "  corvane ps --plot run.jsonl --output run.svg");
  group.action([=] { return run(*options); });
}

}  // namespace corvane::tools
