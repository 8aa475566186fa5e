// The C library functions that the library calls, so that fault rules can fail them: the library is
// linked with --wrap for each, which sends its calls here. A failed call still gives back what it
// was to give back (a closed file is closed).

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "host/faults.h"
#include "platform/export.h"

using corvane::host::Call;
using corvane::host::injectedFault;

namespace {

/// What the call must return by the rules in force, with errno set; nothing when it is to do its
/// work.
template <typename Result>
std::optional<Result> failed(Call call, int error) {
  const std::optional<int64_t> result = injectedFault(call);
  if (!result) return {};
  errno = error;
  return static_cast<Result>(*result);
}

bool isNull(Call call, int error) { return failed<int>(call, error).has_value(); }

}  // namespace

#define CORVANE_WRAPPER extern "C" CORVANE_EXPORT

CORVANE_WRAPPER int __wrap_access(const char* path, int mode) {
  if (const auto result = failed<int>(Call::access, EACCES)) return *result;
  return access(path, mode);
}

CORVANE_WRAPPER void* __wrap_calloc(size_t count, size_t size) {
  return isNull(Call::calloc, ENOMEM) ? nullptr : calloc(count, size);
}

CORVANE_WRAPPER char* __wrap_ctime(const time_t* time) {
  return isNull(Call::ctime, EOVERFLOW) ? nullptr : ctime(time);
}

CORVANE_WRAPPER int __wrap_fclose(FILE* file) {
  const int closed = fclose(file);
  return failed<int>(Call::fclose, EIO).value_or(closed);
}

CORVANE_WRAPPER int __wrap_fflush(FILE* file) {
  if (const auto result = failed<int>(Call::fflush, EIO)) return *result;
  return fflush(file);
}

CORVANE_WRAPPER FILE* __wrap_fopen(const char* path, const char* mode) {
  return isNull(Call::fopen, EACCES) ? nullptr : fopen(path, mode);
}

CORVANE_WRAPPER int __wrap_fputc(int character, FILE* file) {
  if (const auto result = failed<int>(Call::fputc, EIO)) return *result;
  return fputc(character, file);
}

CORVANE_WRAPPER size_t __wrap_fwrite(const void* bytes, size_t size, size_t count, FILE* file) {
  if (const auto result = failed<size_t>(Call::fwrite, EIO)) return *result;
  return fwrite(bytes, size, count, file);
}

CORVANE_WRAPPER struct tm* __wrap_localtime(const time_t* time) {
  return isNull(Call::localtime, EOVERFLOW) ? nullptr : localtime(time);
}

CORVANE_WRAPPER void* __wrap_malloc(size_t size) {
  return isNull(Call::malloc, ENOMEM) ? nullptr : malloc(size);
}

CORVANE_WRAPPER int __wrap_mkdir(const char* path, mode_t mode) {
  if (const auto result = failed<int>(Call::mkdir, EACCES)) return *result;
  return mkdir(path, mode);
}

CORVANE_WRAPPER time_t __wrap_time(time_t* stored) {
  if (const auto result = failed<time_t>(Call::time, EOVERFLOW)) return *result;
  return time(stored);
}
