#ifndef CORVANE_TOOLS_FILES_H_
#define CORVANE_TOOLS_FILES_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/scoped_file.h"

namespace corvane::tools {

struct FileBytes {
  std::vector<uint8_t> bytes;
  /// False when the file has more bytes after them.
  bool isWhole;
};

/// Opens the file, or standard input for "-", for reading. Throws CommandError (wrong usage) with
/// the file's name and the reason when it cannot be opened.
ScopedFile openFile(const std::string& path);

/// Returns at most `limit` bytes of the file, or of standard input for "-". Throws CommandError
/// (wrong usage) with the file's name and the reason when it cannot be read.
FileBytes readFile(const std::string& path, size_t limit);

/// Atomically and durably replaces a file's contents at `finish`, and keeps its mode; until then,
/// and without it, the file is as it was. A device or a pipe is written to at once. Throws
/// CommandError (not done) with the file's name and the reason, which also says when the file was
/// replaced nevertheless.
class FileReplacement {
 public:
  explicit FileReplacement(const std::string& path);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  void write(std::string_view bytes);
  void finish();

 private:
  std::string _path, _target;
  /// The file next to `_target` that holds the new contents; empty when there is none.
  std::string _partial;
  ScopedFile _file;
};

/// Replace the file's contents, as FileReplacement does; "-" is `std::cout`. Throw CommandError
/// (not done) with the file's name and the reason.
void writeFile(const std::string& path, std::string_view bytes);
void writeFile(const std::string& path, std::span<const uint8_t> bytes);

/// Refuses to replace what is read. `outputs` are options with the files to write, such as
/// {"--html", "page.html"}; those with an empty name are not given. Throws CommandError (wrong
/// usage) when one of them is one of `inputs`, or another output, also through links.
void requireDistinctOutputs(const std::vector<std::pair<std::string, std::string>>& outputs,
                            const std::vector<std::string>& inputs);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_FILES_H_
