#include "tools/log_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/device_path.h"

namespace corvane::tools {
namespace {

std::uintmax_t sizeOf(const std::string& file) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  return error ? 0 : size;
}

/// How many whole lines the file has behind its first `start` bytes; none when the last is cut.
size_t linesFrom(const std::string& file, std::uintmax_t start) {
  std::ifstream log(file, std::ios::binary);
  log.seekg(static_cast<std::streamoff>(start));
  const std::string lines{std::istreambuf_iterator<char>(log), std::istreambuf_iterator<char>()};
  if (!lines.ends_with('\n')) return 0;
  return static_cast<size_t>(std::count(lines.begin(), lines.end(), '\n'));
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
