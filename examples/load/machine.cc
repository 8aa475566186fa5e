#include "machine.h"

#include <corvane/processes/processes.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

namespace load {

std::vector<int> usableCores() {
  std::vector<int> cores;
#ifdef __linux__
  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  sched_getaffinity(0, sizeof allowed, &allowed);
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (CPU_ISSET(static_cast<size_t>(core), &allowed)) cores.push_back(core);
  }
#endif
  const auto count = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  if (cores.empty()) {
    for (int core = 0; core < count; ++core) cores.push_back(core);
  }
  return cores;
}

size_t freeMemory() {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
#ifdef _SC_AVPHYS_PAGES
  return static_cast<size_t>(sysconf(_SC_AVPHYS_PAGES)) * page;
#else
  return static_cast<size_t>(sysconf(_SC_PHYS_PAGES)) / 4 * page;
#endif
}

std::optional<double> temperature() {
  std::optional<double> highest;
  std::error_code error;
  for (const auto& zone : std::filesystem::directory_iterator("/sys/class/thermal", error)) {
    double thousandths = 0;
    if (!(std::ifstream(zone.path() / "temp") >> thousandths)) continue;
    highest = std::max(highest.value_or(thousandths / 1000), thousandths / 1000);
  }
  return highest;
}

double loadOfOthers() {
  static corvane::Processes processes;
  const CFDictionaryRef snapshot = processes.refreshProcesses();
  if (!snapshot) return 0;
  std::vector<const void*> records(static_cast<size_t>(CFDictionaryGetCount(snapshot)));
  CFDictionaryGetKeysAndValues(snapshot, nullptr, records.data());
  double sum = 0;
  for (const void* record : records) {
    double usage = 0;
    if (const void* number =
            CFDictionaryGetValue(static_cast<CFDictionaryRef>(record), CFSTR("total_usage"))) {
      CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberDoubleType, &usage);
    }
    sum += usage;
  }
  return sum;
}

}  // namespace load
