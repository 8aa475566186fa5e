#ifndef CORVANE_TOOLS_RESULTS_LINE_SOURCE_H_
#define CORVANE_TOOLS_RESULTS_LINE_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/scoped_file.h"

namespace corvane::tools {

/// Reads the lines of a file, or of standard input for "-", into a buffer of fixed size.
class LineSource {
 public:
  /// Bytes that can be read after a line, whatever they hold; JSON parsers read ahead.
  static constexpr size_t kPadding = 64;
  /// A longer line is cut.
  static constexpr size_t kMaxLine = size_t{1} << 20;

  struct Line {
    std::string_view text;  ///< Without its line feed; valid until the next line is read.
    uint64_t number = 0;    ///< From 1.
    bool isCut = false;     ///< The line is longer than `kMaxLine`; the rest is left out.
    bool isEnded = false;   ///< It has a line feed.
  };

  /// Throws CommandError (wrong usage) when the file cannot be opened.
  explicit LineSource(const std::string& path);

  /// Reads the next line. Returns false at the end. Throws CommandError when reading fails.
  bool next(Line& line);

 private:
  bool fill();
  /// A file's first line may begin with U+FEFF, which is not a part of it.
  static void skipByteOrderMark(Line& line);

  std::string _path;
  ScopedFile _file;
  std::vector<char> _buffer;
  size_t _begin = 0;
  size_t _end = 0;
  uint64_t _number = 0;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_LINE_SOURCE_H_
