#include "station/console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "controlbits/control_bit_byte.h"
#include "platform/number.h"
#include "platform/printable.h"
#include "platform/time_text.h"
#include "platform/truncate.h"
#include "unit/byte_text.h"

namespace corvane::station {
namespace {

const char* yesNo(bool value) { return value ? "yes" : "no"; }

}  // namespace

void Console::clearProgress() {
  if (_hasProgress) std::printf("\r\033[K");
  _hasProgress = false;
}

void Console::line(std::string_view subject, std::string_view text) {
  if (_isQuiet) return;
  const std::lock_guard lock(_lock);
  clearProgress();
  std::printf("%-8s%s\n", printable(subject).c_str(), printable(text).c_str());
  std::fflush(stdout);
}

void Console::error(std::string_view text) {
  const std::lock_guard lock(_lock);
  clearProgress();
  std::fflush(stdout);
  std::fprintf(stderr, "%s\n", printable(text).c_str());
}

void Console::facts(const unit::Facts& facts) {
  line("unit", facts.model.value_or("unknown") + ", build " + facts.build.value_or("unknown") +
                   ", Wi-Fi " + yesNo(facts.hasWiFi) + ", compass " + yesNo(facts.hasCompass) +
                   ", gyroscope " + yesNo(facts.hasGyro) + ", baseband " +
                   yesNo(facts.hasBaseband));
  const std::string battery = facts.battery ? std::to_string(*facts.battery) + " %" : "unknown";
  line("power",
       "battery " + battery + ", external power " + yesNo(facts.externalPower.value_or(false)));
}

void Console::statusByte(std::string_view when, uint32_t offset, uint8_t value) {
  line(when, "byte " + std::to_string(offset) + " is " + hexNumber(value, 2) + ": " +
                 unit::statusName(offset, value) + ", fail count " +
                 std::to_string(failCountOf(value)));
}

void Console::records(const std::vector<unit::Record>& records) {
  line("records", "");
  for (size_t i = 0; i < records.size(); ++i) {
    const unit::Record& record = records[i];
    char text[96];
    std::snprintf(text, sizeof text, "%4zu  %s  station %d  result %d  ", i + 1,
                  localTimeText(record.time).value_or(std::to_string(record.time)).c_str(),
                  record.station, record.result);
    const std::string version =
        record.version == 0 ? "" : "version " + std::to_string(record.version) + "  ";
    line(text, version + record.message);
  }
}

void Console::progress(std::string_view phase, double fraction) {
  if (_isQuiet || ::isatty(STDOUT_FILENO) == 0) return;
  const std::lock_guard lock(_lock);
  constexpr int kWidth = 40;
  const int filled = std::clamp(truncatedToInt32(fraction * kWidth), 0, kWidth);
  std::printf("\r\033[K%-8s[%s%s]", printable(phase).c_str(),
              std::string(static_cast<size_t>(filled), '#').c_str(),
              std::string(static_cast<size_t>(kWidth - filled), '.').c_str());
  std::fflush(stdout);
  _hasProgress = true;
}

}  // namespace corvane::station
