#include "tools/ps/process_sample.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <thread>

#include "platform/text.h"
#include "tools/command_error.h"
#include "tools/ps/sampler_messages.h"

namespace corvane::tools {
namespace {

/// Each pass gets as far as the next process that exits while it is under way.
constexpr int kMostPasses = 50;

std::optional<double> numberOf(CFDictionaryRef record, CFStringRef key) {
  const CFTypeRef number = CFDictionaryGetValue(record, key);
  if (!number) return {};
  double value = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberDoubleType, &value);
  return value;
}

std::string textOf(CFDictionaryRef record, CFStringRef key) {
  return utf8Bytes(static_cast<CFStringRef>(CFDictionaryGetValue(record, key)));
}

ThreadSample threadSample(CFDictionaryRef record) {
  return {numberOf(record, CFSTR("cpu_usage")), textOf(record, CFSTR("run_state")),
          textOf(record, CFSTR("flags")), numberOf(record, CFSTR("user_time")).value_or(0),
          numberOf(record, CFSTR("system_time")).value_or(0)};
}

ProcessSample processSample(CFStringRef pid, CFDictionaryRef record) {
  ProcessSample process;
  process.pid = CFStringGetIntValue(pid);
  process.name = textOf(record, CFSTR("name"));
  process.usage = numberOf(record, CFSTR("total_usage")).value_or(0);
  process.user = numberOf(record, CFSTR("user_time"));
  process.system = numberOf(record, CFSTR("system_time"));
  const auto threads = static_cast<CFArrayRef>(CFDictionaryGetValue(record, CFSTR("threads")));
  for (CFIndex i = 0; threads && i < CFArrayGetCount(threads); ++i) {
    process.threads.push_back(
        threadSample(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(threads, i))));
  }
  return process;
}

/// Adds those of the snapshot's processes that are not among the `seen`: a second look at a thread
/// tells what it used since the first, which is next to nothing.
void addProcesses(CFDictionaryRef snapshot, std::set<int32_t>& seen,
                  std::vector<ProcessSample>& processes) {
  if (!snapshot) return;
  const auto count = static_cast<size_t>(CFDictionaryGetCount(snapshot));
  std::vector<const void*> keys(count);
  std::vector<const void*> records(count);
  CFDictionaryGetKeysAndValues(snapshot, keys.data(), records.data());
  for (size_t i = 0; i < count; ++i) {
    const auto pid = static_cast<CFStringRef>(keys[i]);
    if (!seen.insert(CFStringGetIntValue(pid)).second) continue;
    processes.push_back(processSample(pid, static_cast<CFDictionaryRef>(records[i])));
  }
}

[[noreturn]] void failNoSample(const std::string& failure) {
  throw CommandError(kFailed, "the processes cannot be sampled: " + failure);
}

}  // namespace

Sample ProcessSampler::take() {
  Sample sample;
  std::set<int32_t> seen;
  for (int pass = 0; pass < kMostPasses; ++pass) {
    SamplerMessages messages;
    if (_processes) {
      _processes->refreshProcesses();
    } else {
      _processes = std::make_unique<Processes>();
    }
    addProcesses(_processes->getCachedProcesses(), seen, sample.processes);
    sample.failure = messages.endOfPass();
    if (sample.failure.empty()) break;
  }
  if (sample.processes.empty()) failNoSample(sample.failure);
  return sample;
}

size_t logSnapshot() {
  constexpr int kMostAttempts = 10;
  constexpr size_t kTitleLines = 2;
  std::unique_ptr<Processes> processes;
  std::string failure;
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    SamplerMessages messages;
    if (processes) {
      // Long enough for the usage since the last pass to mean something.
      std::this_thread::sleep_for(std::chrono::seconds(1));
      processes->refreshProcesses();
    } else {
      processes = std::make_unique<Processes>();
    }
    failure = messages.endOfPass();
    const CFDictionaryRef snapshot = processes->getCachedProcesses();
    if (!failure.empty() || !snapshot) continue;
    processes->prettyPrintToLog();
    return kTitleLines + static_cast<size_t>(CFDictionaryGetCount(snapshot));
  }
  failNoSample(failure);
}

void arrange(std::vector<ProcessSample>& processes, Order order, std::optional<size_t> count) {
  std::sort(processes.begin(), processes.end(),
            [order](const ProcessSample& a, const ProcessSample& b) {
              if (order == Order::kUsage && a.usage != b.usage) return a.usage > b.usage;
              if (order == Order::kName && a.name != b.name) return a.name < b.name;
              return a.pid < b.pid;
            });
  if (count && *count < processes.size()) processes.resize(*count);
}

}  // namespace corvane::tools
