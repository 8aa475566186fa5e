#ifndef CORVANE_PLATFORM_SCOPED_FILE_H_
#define CORVANE_PLATFORM_SCOPED_FILE_H_

#include <cstdio>
#include <memory>

namespace corvane {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
/// Owns an open stream and closes it.
using ScopedFile = std::unique_ptr<std::FILE, FileCloser>;

}  // namespace corvane

#endif  // CORVANE_PLATFORM_SCOPED_FILE_H_
