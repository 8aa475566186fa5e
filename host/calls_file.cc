#include "host/calls_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/file_descriptor.h"

namespace corvane::host {
namespace {

// A count is a text of eight characters at a multiple of eight, so that it is stored in one piece.
constexpr size_t kDigits = 8;

void writeNumber(char* place, uint64_t number) {
  char text[kDigits];
  for (size_t i = kDigits; i-- > 0; number /= 10) {
    text[i] = number > 0 || i == kDigits - 1 ? static_cast<char>('0' + number % 10) : ' ';
  }
  std::memcpy(place, text, kDigits);
}

/// Appends a number of eight characters to the line and returns its place.
size_t appendNumber(std::string& line) {
  line.append((kDigits - line.size() % kDigits) % kDigits, ' ');
  line.append(kDigits - 1, ' ').append("0");
  return line.size() - kDigits;
}

}  // namespace

CallsFile::CallsFile(std::string path, const std::vector<std::string_view>& functions)
    : _path(std::move(path)), _line("{\"process\":") {
  _places.push_back(appendNumber(_line));
  const char* separator = ",\"calls\":{";
  for (const std::string_view function : functions) {
    _line.append(separator).append("\"").append(function).append("\":");
    _places.push_back(appendNumber(_line));
    separator = ",";
  }
  _line.append("}}");
  _line.append(kDigits - 1 - _line.size() % kDigits, ' ').append("\n");
}

bool CallsFile::appendLine() {
  // Called in a child of `fork` too, where other threads' locks stay locked: it allocates nothing.
  if (const char* shown = _shown.exchange(nullptr)) std::memcpy(_line.data(), shown, _line.size());
  writeNumber(&_line[_places[0]], static_cast<uint64_t>(::getpid()));

  const FileDescriptor file(::open(_path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
  if (!file) return false;
  const auto written = ::write(file.get(), _line.data(), _line.size());
  if (written != static_cast<ssize_t>(_line.size())) return false;
  // After an append the position is the end of what was appended, whatever others append.
  const off_t begin = ::lseek(file.get(), 0, SEEK_CUR) - written;
  const off_t skipped = begin % ::sysconf(_SC_PAGESIZE);
  void* const mapped = ::mmap(nullptr, static_cast<size_t>(written + skipped),
                              PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), begin - skipped);
  if (mapped == MAP_FAILED) return false;
  _shown = static_cast<char*>(mapped) + skipped;
  return true;
}

void CallsFile::show(size_t function, const std::atomic<uint64_t>& count) {
  constexpr uint64_t kMaxShown = 99999999;
  char* const line = _shown;
  if (line == nullptr) return;
  uint64_t shown = 0;
  do {
    shown = count;
    writeNumber(line + _places[function + 1], std::min(shown, kMaxShown));
  } while (shown != count);  // Another thread has counted and may have stored its count before.
}

}  // namespace corvane::host
