#include "unit/lock.h"

#include <utility>

#include "dataarea/data_area.h"
#include "log/log.h"
#include "platform/printable.h"
#include "platform/text.h"
#include "platform/unit_lock.h"
#include "unit/error.h"

namespace corvane::unit {
namespace {

/// The most bytes of a line's text: the log's line has the time and the test name in front.
constexpr size_t kMaxLine = 256 - (sizeof "[2026-11-16 00:05:09] Unit: " - 1);

}  // namespace

void openDataArea() {
  if (getMasterPort() != 0) throw Error(Fault::kUnreadable, "the unit has no registry");
  if (getDataArea() != 0) throw Error(Fault::kUnreadable, "the unit has no data area");
}

Lock::Lock(Lines lines) try : _hold(holdUnitLock()), _lines(lines) {
} catch (const std::runtime_error& error) {
  throw Error(Fault::kLocked, error.what());
}

Lock::~Lock() = default;

void Lock::addLine(std::string_view text) {
  std::string line = printable(text);
  if (line.size() > kMaxLine) {
    size_t end = kMaxLine - 3;
    // Not inside a character of several bytes.
    while (end > 0 && (static_cast<uint8_t>(line[end]) & 0xC0) == 0x80) --end;
    line = line.substr(0, end) + "...";
  }
  if (_lines == Lines::kKept) {
    _kept.push_back(line);
  } else {
    writeLine(line);
  }
}

std::vector<std::string> Lock::takeLines() { return std::exchange(_kept, {}); }

void writeLine(const std::string& line) { Log::write(textFromUtf8(line).get(), CFSTR("Unit"), 0); }

}  // namespace corvane::unit
