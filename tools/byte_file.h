#ifndef CORVANE_TOOLS_BYTE_FILE_H_
#define CORVANE_TOOLS_BYTE_FILE_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace corvane::tools {

struct FileBytes {
  std::vector<uint8_t> bytes;
  /// False when the file has more bytes after them.
  bool isWhole;
};

/// Returns at most `limit` bytes of the file, or of standard input for "-". Throws CommandError
/// (wrong usage) with the file's name and the reason when it cannot be read.
FileBytes readFile(const std::string& path, size_t limit);

/// Replaces the file's contents: the file has all of `bytes`, or is as it was. Throws CommandError
/// (not done) with the file's name and the reason.
void writeFile(const std::string& path, std::span<const uint8_t> bytes);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_BYTE_FILE_H_
