#include "tools/unit_access.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>

#include "platform/device_path.h"
#include "platform/file_descriptor.h"
#include "platform/printable.h"
#include "platform/scoped_file.h"
#include "platform/text.h"
#include "platform/unit_messages.h"
#include "unit/error.h"
#include "unit/records.h"
#include "unit/status_byte.h"

namespace corvane::tools {
namespace {

void flushAll() {
  std::cout.flush();
  std::fflush(nullptr);
}

[[noreturn]] void fail(const std::string& what) {
  throw CommandError(kFailed, what + ": " + std::strerror(errno));
}

/// Makes standard output or standard error go to an open file while it exists.
class Redirection {
 public:
  Redirection(int descriptor, int file)
      : _descriptor(descriptor), _before(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3)) {
    flushAll();
    if (!_before || ::dup2(file, descriptor) < 0) fail("output cannot be redirected");
  }
  ~Redirection() {
    flushAll();
    ::dup2(_before.get(), _descriptor);
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

  /// Returns where `descriptor` went before.
  int before() const { return _before.get(); }

 private:
  int _descriptor;
  FileDescriptor _before;
};

}  // namespace

CFRef<CFStringRef> textArgument(const std::string& text) {
  CFRef<CFStringRef> string = textFromUtf8(text);
  if (!string) throw CommandError(kUsage, "'" + printable(text) + "' is not UTF-8 text");
  return string;
}

void requireUnitToLook() {
  useExistingUnit();
  if (devicePath("/").empty()) throw CommandError(kNotReady, "the unit is not ready");
}

void requireDataToLook() {
  requireUnitToLook();
  unit::openDataArea();
}

void requireControlBit(uint32_t offset, bool isForced) {
  if (offset < unit::kControlBits) return;
  const std::vector<uint8_t> contents = unit::readDiagnosticData();
  const std::string place = "offset " + std::to_string(offset);
  if (offset >= contents.size()) {
    throw CommandError(kUsage, place + " lies outside the data set of " +
                                   std::to_string(contents.size()) + " bytes");
  }
  if (isForced) return;
  throw CommandError(kFailed, "the byte at " + place + " " +
                                  unit::recordByteText(offset, contents) +
                                  "; nothing was changed: --force changes it");
}

ExitStatus statusOf(const std::exception& error) {
  if (const auto* command = dynamic_cast<const CommandError*>(&error)) return command->status();
  const auto* const unit = dynamic_cast<const unit::Error*>(&error);
  if (!unit) return isOfUnit(error) ? kNotReady : kFailed;
  const unit::Fault fault = unit->fault();
  if (fault == unit::Fault::kLocked || fault == unit::Fault::kUnreadable) return kNotReady;
  return fault == unit::Fault::kBadArgument ? kUsage : kFailed;
}

std::string capturedOutput(const std::function<void()>& work) {
  const ScopedFile kept(std::tmpfile());
  if (!kept) fail("a temporary file cannot be made");
  const int file = fileno(kept.get());
  ::fcntl(file, F_SETFD, FD_CLOEXEC);
  {
    const Redirection redirection(STDOUT_FILENO, file);
    work();
  }
  std::string text(static_cast<size_t>(std::max<off_t>(0, ::lseek(file, 0, SEEK_CUR))), '\0');
  if (::pread(file, text.data(), text.size(), 0) != std::ssize(text)) fail("output is not whole");
  return text;
}

void runQuietly(const std::function<void()>& work) {
  const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  const Redirection redirection(STDERR_FILENO, nowhere.get());
  struct Messages {
    explicit Messages(int file) { sendUnitMessagesTo(file); }
    ~Messages() { sendUnitMessagesTo(-1); }
  } const messages(redirection.before());
  work();
}

}  // namespace corvane::tools
