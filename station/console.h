#ifndef CORVANE_STATION_CONSOLE_H_
#define CORVANE_STATION_CONSOLE_H_

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "unit/facts.h"
#include "unit/records.h"

namespace corvane::station {

/// Shows a run to the operator, on standard output except for errors. No text of a unit or of a
/// station drives the terminal: control characters show as "\x1b". The functions may be called from
/// any thread.
class Console {
 public:
  explicit Console(bool isQuiet) : _isQuiet(isQuiet) {}

  /// Prints a line that begins with `subject`, in a column of its own.
  void line(std::string_view subject, std::string_view text);
  void facts(const unit::Facts& facts);
  /// Prints a status byte; `when` is "before" or "after".
  void statusByte(std::string_view when, uint32_t offset, uint8_t value);
  void records(const std::vector<unit::Record>& records);
  /// Prints a line on standard error.
  void error(std::string_view text);
  /// Draws a progress bar in place, on a terminal only.
  void progress(std::string_view phase, double fraction);

 private:
  void clearProgress();

  const bool _isQuiet;
  std::mutex _lock;
  bool _hasProgress = false;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_CONSOLE_H_
