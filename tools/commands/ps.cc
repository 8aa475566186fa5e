#include "tools/ps/ps.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <optional>
#include <sstream>
#include <thread>

#include "platform/printable.h"
#include "processes/processes.h"
#include "processes/sampler_messages.h"
#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/log/test_log.h"
#include "tools/terminal/terminal.h"
#include "tools/unit_access.h"

namespace corvane::tools {
namespace {

/// The shortest time over which the kernel's usage figures are measured.
constexpr std::chrono::milliseconds kMinUsageTime(250);

struct PsOptions {
  bool threads = false, json = false, log = false;
  double watch = 0;
  std::string plot;
};

/// Returns the size of the terminal that standard output is; nothing when it is something else.
std::optional<winsize> terminalSize() {
  winsize size{};
  if (!isatty(STDOUT_FILENO) || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {};
  return size.ws_col > 0 && size.ws_row > 0 ? std::optional(size) : std::nullopt;
}

void printOnce(const PsOptions& options) {
  const Sample sample = takeSample();
  const auto size = terminalSize();
  options.json ? printJson(std::cout, sample, options.threads)
               : printTable(std::cout, sample, options.threads, size ? size->ws_col : SIZE_MAX);
  if (sample.failure.empty()) return;
  throw CommandError(kFailed, "some processes or threads are missing: " + sample.failure);
}

/// Prints the table after a line of its sums; on a terminal in place, as far as there is room.
void showAgain(const Sample& sample, bool withThreads) {
  size_t threads = 0;
  integer_t usage = 0;
  for (const ProcessSample& process : sample.processes) {
    threads += process.threads.size();
    usage += process.usage;
  }
  std::stringstream text;
  text << sample.processes.size() << " processes, " << threads << " threads, " << percentText(usage)
       << " % CPU";
  if (!sample.failure.empty()) text << ", some are missing: " << printable(sample.failure);
  text << "\n";
  const auto size = terminalSize();
  printTable(text, sample, withThreads, size ? size->ws_col : SIZE_MAX);
  if (!size) {
    std::cout << text.str() << "\n" << std::flush;
    return;
  }
  std::cout << "\033[H";
  std::string line;
  for (int row = 1; row < size->ws_row && std::getline(text, line); ++row) {
    std::cout << shortened(line, size->ws_col) << "\033[K\n";
  }
  std::cout << "\033[J" << std::flush;
}

/// Shows a sample at each interval, until the program is ended or its output is closed.
void watchProcesses(const PsOptions& options) {
  using Clock = std::chrono::steady_clock;
  const auto interval =
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options.watch));
  takeSample();  // What the first one that is shown is measured from.
  Clock::time_point due = Clock::now() + kMinUsageTime;
  for (int64_t missed = 0; std::cout;) {
    std::this_thread::sleep_until(due);
    const Sample sample = takeSample();
    options.json ? printJsonLine(std::cout, sample, options.threads, missed)
                 : showAgain(sample, options.threads);
    missed = std::max<int64_t>(0, (Clock::now() - due) / interval);
    due += interval * (missed + 1);
  }
}

/// Writes the library's own report of a complete snapshot to the test log.
void logSnapshot() {
  // A pass ends with the first process that exits while it is under way, and the library says so
  // on standard output.
  constexpr int kMaxPasses = 50;
  constexpr size_t kTitleLines = 2;
  std::optional<Processes> processes;
  std::string failure;
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    std::istringstream messages(capturedOutput([&] { processes.emplace(); }));
    failure.clear();
    for (std::string line; failure.empty() && std::getline(messages, line);) {
      if (isEndOfPass(line)) failure = textOfMessage(line);
    }
    if (!failure.empty() || !processes->getCachedProcesses()) continue;
    const auto count = static_cast<size_t>(CFDictionaryGetCount(processes->getCachedProcesses()));
    return writeToLog(kTitleLines + count, [&] { processes->prettyPrintToLog(); });
  }
  throw CommandError(kFailed, "the processes cannot be sampled: " + failure);
}

void showProcesses(const PsOptions& options) {
  if (options.log) return logSnapshot();
  if (options.watch > 0) return watchProcesses(options);
  if (options.plot.empty()) return printOnce(options);
  writeFile(options.plot, plotSvg(stdin, "standard input"));
}

}  // namespace

void addPs(CLI::App& app) {
  Command command = Command(app).add(
      "ps", "Show the CPU usage of each process",
      "Times are in seconds. Usages are measured over each thread's life, with --watch over the\n"
      "interval. A process whose path cannot be read shows the kernel's short name for it in\n"
      "brackets.\n\n"
      "Examples:\n"
      "  corvane ps --watch 2\n"
      "  timeout 60 corvane ps --watch 0.5 --json > run.jsonl\n"
      "  corvane ps --plot run.svg < run.jsonl");
  auto& options = command.actionOn<PsOptions>(showProcesses);
  const Option threads = command.flag("--threads", options.threads, "Show each thread as well");
  const Option json = command.jsonFlag(options.json);
  const Option watch =
      command.seconds("--watch", options.watch,
                      "Show it again at this interval: on a terminal in place, with --json as a\n"
                      "line for each sample",
                      0.05, 1e6);
  const Option log =
      command.flag("--log", options.log,
                   "Write the library's report to the test log instead. Its times have\n"
                   "their own form: 12.05 s reads 12.5");
  const Option plot =
      command.file("--plot", options.plot,
                   "Read such lines from standard input and write an SVG chart of the\n"
                   "busiest processes to this file");
  for (const Option& shown : {threads, json, watch}) excludeEachOther({shown, log, plot});
}

}  // namespace corvane::tools
