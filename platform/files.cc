#include "platform/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>

namespace corvane {
namespace {

bool createDirectory(const std::string& path) {
  return mkdir(path.c_str(), 0777) == 0 || errno == EEXIST;
}

}  // namespace

bool createDirectories(const std::string& path) {
  if (createDirectory(path)) return true;
  const size_t lastSlash = path.find_last_of('/');
  if (errno != ENOENT || lastSlash == std::string::npos || lastSlash == 0) return false;
  return createDirectories(path.substr(0, lastSlash)) && createDirectory(path);
}

bool fileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

CFRef<CFDictionaryRef> copyDictionaryFromFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return {};
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};

  const CFRef<CFDataRef> data(CFDataCreate(kCFAllocatorDefault,
                                           reinterpret_cast<const UInt8*>(bytes.data()),
                                           static_cast<CFIndex>(bytes.size())));
  if (!data) return {};
  CFRef<CFPropertyListRef> list(CFPropertyListCreateWithData(
      kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
  if (!list || CFGetTypeID(list.get()) != CFDictionaryGetTypeID()) return {};
  return CFRef<CFDictionaryRef>(static_cast<CFDictionaryRef>(list.release()));
}

}  // namespace corvane
