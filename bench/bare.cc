#include "bench/bare.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace corvane::bench {
namespace {

class Descriptor {
 public:
  Descriptor(const std::string& path, int flags)
      : _descriptor(::open(path.c_str(), flags | O_CLOEXEC, 0666)) {}
  ~Descriptor() {
    if (_descriptor >= 0) ::close(_descriptor);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return _descriptor; }
  explicit operator bool() const { return _descriptor >= 0; }

 private:
  int _descriptor;
};

bool writeDurably(const std::string& file, std::span<const uint8_t> contents) {
  const Descriptor output(file, O_WRONLY | O_CREAT | O_TRUNC);
  return output &&
         ::write(output.get(), contents.data(), contents.size()) ==
             static_cast<ssize_t>(contents.size()) &&
         ::fsync(output.get()) == 0;
}

}  // namespace

bool appendLine(const std::string& folder, const std::string& file, std::string_view line) {
  if (::mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) return false;
  std::FILE* output = std::fopen(file.c_str(), "a");
  if (!output) return false;
  const bool isWritten = std::fwrite(line.data(), 1, line.size(), output) == line.size();
  const bool isFlushed = std::fflush(output) == 0;
  return std::fclose(output) == 0 && isWritten && isFlushed;
}

bool readFile(const std::string& file, std::span<uint8_t> destination) {
  const Descriptor input(file, O_RDONLY);
  return input && ::read(input.get(), destination.data(), destination.size()) ==
                      static_cast<ssize_t>(destination.size());
}

bool replaceFile(const std::string& folder, const std::string& temporary, const std::string& file,
                 std::span<const uint8_t> contents) {
  if (!writeDurably(temporary, contents)) return false;
  if (::rename(temporary.c_str(), file.c_str()) != 0) return false;
  const Descriptor directory(folder, O_RDONLY | O_DIRECTORY);
  return directory && ::fsync(directory.get()) == 0;
}

}  // namespace corvane::bench
