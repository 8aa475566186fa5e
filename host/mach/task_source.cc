#include "host/mach/task_source.h"

#include <mutex>

namespace corvane::host {
namespace {

struct SourceInUse {
  std::mutex mutex;
  std::shared_ptr<TaskSource> machine;
  std::shared_ptr<TaskSource> other;
};

/// Returns the source in use, which is never destroyed: static destructors may still ask.
SourceInUse& sourceInUse() {
  static SourceInUse& source = *new SourceInUse;
  return source;
}

}  // namespace

std::shared_ptr<TaskSource> taskSource() {
  SourceInUse& source = sourceInUse();
  const std::lock_guard lock(source.mutex);
  if (source.other) return source.other;
  if (!source.machine) source.machine = newMachine();
  return source.machine;
}

void useTaskSource(std::shared_ptr<TaskSource> source) {
  SourceInUse& inUse = sourceInUse();
  const std::lock_guard lock(inUse.mutex);
  inUse.other = std::move(source);
}

}  // namespace corvane::host
