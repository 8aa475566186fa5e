#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "bench/pairs.h"
#include "bench/thread_farm.h"
#include "processes/processes.h"

namespace corvane::bench {
namespace {

constexpr size_t kThreads = 5'000;
constexpr size_t kFewThreads = 1'000;
constexpr size_t kManyThreads = 20'000;
constexpr size_t kMaxHeapOfAThread = 1024;

/// Keeps the sampler's messages about processes that exit out of the table.
class Silence {
 public:
  Silence() : _standardOutput(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nothing, STDOUT_FILENO);
    close(nothing);
  }
  ~Silence() {
    std::fflush(stdout);
    dup2(_standardOutput, STDOUT_FILENO);
    close(_standardOutput);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int _standardOutput;
};

size_t threadsIn(CFDictionaryRef snapshot) {
  std::vector<const void*> records(static_cast<size_t>(CFDictionaryGetCount(snapshot)));
  CFDictionaryGetKeysAndValues(snapshot, nullptr, records.data());
  size_t threads = 0;
  for (const void* record : records) {
    const void* list = CFDictionaryGetValue(static_cast<CFDictionaryRef>(record), CFSTR("threads"));
    threads += static_cast<size_t>(CFArrayGetCount(static_cast<CFArrayRef>(list)));
  }
  return threads;
}

/// Takes a snapshot that holds the whole farm. When a process that exits ends a pass early, the
/// pass's time counts and another one follows.
bool refresh(Processes& processes, const ThreadFarm& farm) {
  const CFRef<CFStringRef> last(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%d"), int{farm.lastProcess()}));
  for (int attempt = 0; attempt < 20; ++attempt) {
    if (CFDictionaryContainsKey(processes.refreshProcesses(), last.get())) return true;
  }
  return false;
}

size_t heapInUse() {
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

/// Returns whether a further snapshot takes little memory for each thread.
bool isHeapWithinBounds(const ThreadFarm& farm) {
  Processes first;
  if (!refresh(first, farm)) return false;
  const size_t before = heapInUse();
  Processes second;
  if (!refresh(second, farm)) return false;
  const size_t heap = (heapInUse() - before) / threadsIn(second.getCachedProcesses());
  static const int shown =
      std::fprintf(stderr, "heap of a thread in a snapshot: %zu bytes\n", heap);
  return shown > 0 && heap <= kMaxHeapOfAThread;
}

void refreshFarm(benchmark::State& state, const ThreadFarm::Plan& plan, size_t times) {
  const Silence silence;
  const ThreadFarm& sleepers = farm(plan);
  const bool areThreadsMany = plan.threadsOfAProcess > 1;
  if (areThreadsMany && !isHeapWithinBounds(sleepers))
    return state.SkipWithError("heap of a snapshot");
  Processes processes;
  for (auto _ : state) {
    for (size_t i = 0; i < times; ++i) {
      if (!refresh(processes, sleepers)) return state.SkipWithError("refresh");
    }
  }
}

constexpr ThreadFarm::Plan kManyProcesses = {2'000, 1};

void refreshThreads(benchmark::State& state) { refreshFarm(state, {kThreads}, 1); }

void refreshProcesses(benchmark::State& state) { refreshFarm(state, kManyProcesses, 1); }

bool readBare(const std::vector<std::string>& files) {
  std::array<char, 4096> buffer;
  bool hasRead = false;
  for (const std::string& path : files) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) continue;
    hasRead |= read(file, buffer.data(), buffer.size()) > 0;
    close(file);
  }
  return hasRead;
}

bool readBareFolders(const std::vector<std::string>& folders) {
  static std::array<char, size_t{32} * 1024> entries;
  bool hasRead = false;
  for (const std::string& path : folders) {
    const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) continue;
    while (getdents64(folder, entries.data(), entries.size()) > 0) hasRead = true;
    close(folder);
  }
  return hasRead;
}

bool readBareLinks(const std::vector<std::string>& links) {
  std::array<char, 4096> buffer;
  bool hasRead = false;
  for (const std::string& path : links) {
    hasRead |= readlink(path.c_str(), buffer.data(), buffer.size()) > 0;
  }
  return hasRead;
}

void readBareFiles(benchmark::State& state, const ThreadFarm::Plan& plan, size_t times) {
  farm(plan);
  const ProcFiles files = procFiles();
  for (auto _ : state) {
    for (size_t i = 0; i < times; ++i) {
      if (!readBareFolders(files.folders) || !readBare(files.threads) ||
          !readBare(files.arguments) || !readBareLinks(files.executables)) {
        return state.SkipWithError("bare read");
      }
    }
  }
}

void readFilesOfThreads(benchmark::State& state) { readBareFiles(state, {kThreads}, 1); }

void readFilesOfProcesses(benchmark::State& state) { readBareFiles(state, kManyProcesses, 1); }

void listWithPs(benchmark::State& state) {
  farm({kThreads});
  for (auto _ : state) {
    if (std::system("ps -eLo pid,tid,pcpu,stat,time,comm >/dev/null") != 0) {
      return state.SkipWithError("ps");
    }
  }
}

void listWithTool(benchmark::State& state) {
  farm({kManyThreads});
  const auto list = [] {
    return std::system("'" CORVANE_TOOL "' ps --threads --json >/dev/null") == 0;
  };
  // The first look at new processes takes longer, and the other side has had one.
  if (!list()) return state.SkipWithError("corvane ps");
  for (auto _ : state) {
    if (!list()) return state.SkipWithError("corvane ps");
  }
}

/// How many passes over few threads are compared with one pass over many, so that both sides query
/// the same number of threads, including those of the machine itself.
struct Passes {
  size_t few;
  size_t manyThreads;

  Passes() {
    farm({0});
    const size_t others = procFiles().threads.size();
    const size_t fewInAll = kFewThreads + others;
    few = (kManyThreads + others + fewInAll / 2) / fewInAll;
    manyThreads = few * fewInAll - others;
  }
};

const Passes& passes() {
  static const Passes counts;
  return counts;
}

void refreshManyThreads(benchmark::State& state) { refreshFarm(state, {passes().manyThreads}, 1); }

void refreshManyThreadsOnce(benchmark::State& state) { refreshFarm(state, {kManyThreads}, 1); }

void refreshFewThreadsOften(benchmark::State& state) {
  refreshFarm(state, {kFewThreads}, passes().few);
}

// The kernel's own cost of a thread grows with their number on some machines.
void readFilesOfManyThreads(benchmark::State& state) {
  readBareFiles(state, {passes().manyThreads}, 1);
}

void readFilesOfFewThreadsOften(benchmark::State& state) {
  readBareFiles(state, {kFewThreads}, passes().few);
}

const bool gProcessPairsAdded =
    addPair({"process-refresh", 1.3, refreshThreads, readFilesOfThreads}) &&
    addPair({"process-refresh-processes", 1.25, refreshProcesses, readFilesOfProcesses}) &&
    addPair({"process-refresh-to-ps", 0.25, refreshThreads, listWithPs}) &&
    addPair({"process-list-json", 1.15, listWithTool, refreshManyThreadsOnce}) &&
    addPair({.name = "process-refresh-growth",
             .bound = 1.15,
             .subject = refreshManyThreads,
             .baseline = refreshFewThreadsOften,
             .bareSubject = readFilesOfManyThreads,
             .bareBaseline = readFilesOfFewThreadsOften});

}  // namespace
}  // namespace corvane::bench
