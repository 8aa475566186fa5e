#include "tools/log_file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "platform/device_path.h"

namespace corvane::tools {
namespace {

std::uintmax_t sizeOf(const std::string& file) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  return error ? 0 : size;
}

/// Returns how many whole lines the file has after its first `start` bytes; 0 when the last is cut
/// short.
size_t linesFrom(const std::string& file, std::uintmax_t start) {
  std::ifstream log(file, std::ios::binary);
  log.seekg(static_cast<std::streamoff>(start));
  size_t lines = 0;
  char last = 0;
  std::array<char, 4096> piece;
  while (log.read(piece.data(), piece.size()), log.gcount() > 0) {
    const std::string_view text(piece.data(), static_cast<size_t>(log.gcount()));
    lines += static_cast<size_t>(std::ranges::count(text, '\n'));
    last = text.back();
  }
  return last == '\n' ? lines : 0;
}

}  // namespace

ExitStatus writeToLog(const std::function<size_t()>& write) {
  const std::string file = devicePath(kLogFile);
  if (file.empty()) throw CommandError(kNotReady, "the unit is not ready");
  const std::uintmax_t before = sizeOf(file);
  const size_t lines = write();
  if (linesFrom(file, before) >= lines) return kDone;
  throw CommandError(kFailed, (lines == 1 ? "the line" : "the lines") +
                                  std::string(" could not be written to ") + file);
}

}  // namespace corvane::tools
