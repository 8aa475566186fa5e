#include "station/console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "platform/printable.h"
#include "platform/truncate.h"

namespace corvane::station {
namespace {

const char* yesNo(bool value) { return value ? "yes" : "no"; }

std::string orUnknown(const std::string& text) { return text.empty() ? "unknown" : text; }

}  // namespace

void Console::clearProgress() {
  if (_hasProgress) std::printf("\r\033[K");
  _hasProgress = false;
}

void Console::line(std::string_view subject, std::string_view text) {
  if (_isQuiet) return;
  clearProgress();
  std::printf("%-8s%s\n", printable(subject).c_str(), printable(text).c_str());
  std::fflush(stdout);
}

void Console::error(std::string_view text) {
  clearProgress();
  std::fflush(stdout);
  std::fprintf(stderr, "%s\n", printable(text).c_str());
}

void Console::facts(const UnitFacts& facts) {
  line("unit", orUnknown(facts.model) + ", build " + orUnknown(facts.build) + ", Wi-Fi " +
                   yesNo(facts.hasWiFi) + ", compass " + yesNo(facts.hasCompass) + ", gyroscope " +
                   yesNo(facts.hasGyro) + ", baseband " + yesNo(facts.hasBaseband));
  const std::string battery = facts.battery < 0 ? "unknown" : std::to_string(facts.battery) + " %";
  line("power", "battery " + battery + ", external power " + yesNo(facts.isPowered));
}

void Console::statusByte(std::string_view when, uint32_t offset, uint8_t value) {
  char text[96];
  std::snprintf(text, sizeof text, "byte %u is 0x%02x: %s, fail count %d", offset, value,
                statusName(value), failCountOf(value));
  line(when, text);
}

void Console::records(const std::vector<Record>& records) {
  line("records", "");
  for (size_t i = 0; i < records.size(); ++i) {
    const Record& record = records[i];
    char text[160];
    std::snprintf(text, sizeof text, "%4zu  %s  station %d  result %d  ", i + 1,
                  record.time.substr(0, record.time.find('\n')).c_str(), record.station,
                  record.result);
    line(text, record.message);
  }
}

void Console::progress(std::string_view phase, double fraction) {
  if (_isQuiet || ::isatty(STDOUT_FILENO) == 0) return;
  constexpr int kWidth = 40;
  const int filled = std::clamp(truncatedToInt32(fraction * kWidth), 0, kWidth);
  std::printf("\r\033[K%-8s[%s%s]", printable(phase).c_str(),
              std::string(static_cast<size_t>(filled), '#').c_str(),
              std::string(static_cast<size_t>(kWidth - filled), '.').c_str());
  std::fflush(stdout);
  _hasProgress = true;
}

}  // namespace corvane::station
