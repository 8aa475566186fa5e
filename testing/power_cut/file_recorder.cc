#include "testing/power_cut/file_recorder.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::testing {
namespace {

namespace fs = std::filesystem;
using Node = Recording::Node;

/// A recording that is being made, and how the system's files map to its nodes.
struct Session {
  Recording recording;
  std::map<std::pair<dev_t, ino_t>, Node> nodes;
  /// Of the files that were written to.
  std::map<Node, std::string> contents;

  static std::pair<dev_t, ino_t> keyOf(const struct stat& facts) {
    return {facts.st_dev, facts.st_ino};
  }

  /// The node of the file at `name` of `folder`; 0 for one outside the recording.
  Node nodeAt(int folder, const char* name) const {
    struct stat facts {};
    if (::fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) != 0) return 0;
    const auto found = nodes.find(keyOf(facts));
    return found == nodes.end() ? 0 : found->second;
  }

  Node nodeOf(int descriptor) const {
    struct stat facts {};
    if (::fstat(descriptor, &facts) != 0) return 0;
    const auto found = nodes.find(keyOf(facts));
    return found == nodes.end() ? 0 : found->second;
  }

  /// The entry that `path`, taken from `folder`, means, with `node` as what it will mean.
  Recording::Entry entryAt(int folder, const char* path, Node node) const {
    const fs::path place(path);
    const fs::path parent = place.parent_path();
    return {nodeAt(folder, parent.empty() ? "." : parent.c_str()), place.filename(), node};
  }

  /// Takes in what was just made at `path`: inode numbers come back, so it is new whatever the map
  /// says.
  void addNew(int folder, const char* path, Node node) {
    struct stat facts {};
    if (::fstatat(folder, path, &facts, AT_SYMLINK_NOFOLLOW) != 0) return;
    const Recording::Entry entry = entryAt(folder, path, node);
    if (entry.folder == 0) return;
    nodes[keyOf(facts)] = node;
    recording.changeEntries({entry});
  }

  /// Takes in what was just written at the end of what the descriptor has passed.
  void addWritten(int descriptor, std::string_view bytes) {
    const Node node = nodeOf(descriptor);
    if (node == 0) return;
    std::string& text = contents[node];
    const auto start = static_cast<size_t>(::lseek(descriptor, 0, SEEK_CUR)) - bytes.size();
    for (const size_t count : {bytes.size() / 2, bytes.size()}) {
      text.resize(std::max(text.size(), start + count));
      text.replace(start, count, bytes.substr(0, count));
      recording.writeContents(node, text);
    }
  }

  void setSize(Node node, size_t size) {
    contents[node].resize(size);
    recording.writeContents(node, contents[node]);
  }

  /// Takes in what the folder at `path`, which is `node`, holds.
  void addTree(const fs::path& path, Node node) {
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
      const fs::path& place = entry.path();
      Node child = 0;
      if (entry.is_symlink()) {
        child = recording.addLink(fs::read_symlink(place));
      } else if (entry.is_directory()) {
        child = recording.addFolder();
      } else {
        std::ifstream file(place, std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        child = recording.addFile(text, true);
        contents[child] = text;
      }
      struct stat facts {};
      ::lstat(place.c_str(), &facts);
      nodes[keyOf(facts)] = child;
      recording.changeEntries({{node, place.filename(), child}});
      if (entry.is_directory() && !entry.is_symlink()) addTree(place, child);
    }
  }
};

struct Thread {
  Session* session = nullptr;
  size_t calls = 0, brokenCall = 0;
  BrokenCall::Way way{};
  bool syncsNothing = false;
  bool limitsWrites = false;
  size_t writeLimit = 0, writesLeft = 0;
};

thread_local Thread gThread;

enum class Need { kNothing, kSpace };

/// Counts a call; whether it must fail, with errno set.
bool isBroken(Need need) {
  if (gThread.brokenCall == 0 || ++gThread.calls != gThread.brokenCall) return false;
  if (gThread.way == BrokenCall::Way::kKill) ::kill(::getpid(), SIGKILL);
  if (gThread.way == BrokenCall::Way::kNoSpace && need == Need::kNothing) return false;
  errno = gThread.way == BrokenCall::Way::kNoSpace ? ENOSPC : EIO;
  return true;
}

int openFile(int folder, const char* path, int flags, mode_t mode) {
  if (isBroken(flags & O_CREAT ? Need::kSpace : Need::kNothing)) return -1;
  struct stat facts {};
  const bool isThere = ::fstatat(folder, path, &facts, AT_SYMLINK_NOFOLLOW) == 0;
  const auto descriptor = static_cast<int>(::syscall(SYS_openat, folder, path, flags, mode));
  if (Session* session = gThread.session; session && descriptor >= 0) {
    if (!isThere && (flags & O_CREAT)) {
      session->addNew(folder, path, session->recording.addFile({}, false));
    } else if (const Node node = session->nodeOf(descriptor); node != 0 && (flags & O_TRUNC)) {
      session->setSize(node, 0);
    }
  }
  return descriptor;
}

int renameFile(int oldFolder, const char* oldPath, int newFolder, const char* newPath,
               unsigned int flags) {
  if (isBroken(Need::kSpace)) return -1;
  std::vector<Recording::Entry> entries;
  if (const Session* session = gThread.session) {
    const bool isExchange = (flags & RENAME_EXCHANGE) != 0;
    const Node target = isExchange ? session->nodeAt(newFolder, newPath) : 0;
    entries.push_back(session->entryAt(oldFolder, oldPath, target));
    entries.push_back(session->entryAt(newFolder, newPath, session->nodeAt(oldFolder, oldPath)));
  }
  const auto result =
      static_cast<int>(::syscall(SYS_renameat2, oldFolder, oldPath, newFolder, newPath, flags));
  if (result == 0 && !entries.empty() && entries[1].node != 0) {
    gThread.session->recording.changeEntries(std::move(entries));
  }
  return result;
}

int removeFile(int folder, const char* path, int flags) {
  if (isBroken(Need::kNothing)) return -1;
  Recording::Entry entry{};
  if (gThread.session) entry = gThread.session->entryAt(folder, path, 0);
  const auto result = static_cast<int>(::syscall(SYS_unlinkat, folder, path, flags));
  if (result == 0 && entry.folder != 0) gThread.session->recording.changeEntries({entry});
  return result;
}

mode_t modeFrom(int flags, va_list arguments) {
  return flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

FileRecorder::FileRecorder(const fs::path& root) {
  gThread.session = nullptr;
  auto* session = new Session;
  struct stat facts {};
  ::stat(root.c_str(), &facts);
  session->nodes[Session::keyOf(facts)] = Recording::kRoot;
  session->addTree(root, Recording::kRoot);
  session->recording.start();
  gThread.session = session;
}

FileRecorder::~FileRecorder() { stop(); }

Recording FileRecorder::stop() {
  Recording recording;
  if (gThread.session) recording = std::move(gThread.session->recording);
  delete gThread.session;
  gThread.session = nullptr;
  return recording;
}

BrokenCall::BrokenCall(size_t number, Way way) {
  gThread.calls = 0;
  gThread.brokenCall = number;
  gThread.way = way;
}

BrokenCall::~BrokenCall() { gThread.brokenCall = 0; }

bool BrokenCall::isReached() const { return gThread.calls >= gThread.brokenCall; }

NoSync::NoSync() { gThread.syncsNothing = true; }

NoSync::~NoSync() { gThread.syncsNothing = false; }

ShortWrites::ShortWrites(size_t limit, size_t total) {
  gThread.limitsWrites = true;
  gThread.writeLimit = limit;
  gThread.writesLeft = total;
}

ShortWrites::~ShortWrites() { gThread.limitsWrites = false; }

}  // namespace corvane::testing

// The C library's functions, for everything that this program is linked from.
using namespace corvane::testing;

#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeFrom(flags, arguments);
  va_end(arguments);
  return openFile(AT_FDCWD, path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeFrom(flags, arguments);
  va_end(arguments);
  return openFile(folder, path, flags, mode);
}

ssize_t read(int descriptor, void* buffer, size_t size) {
  if (isBroken(Need::kNothing)) return -1;
  return ::syscall(SYS_read, descriptor, buffer, size);
}

ssize_t pread(int descriptor, void* buffer, size_t size, off_t offset) {
  if (isBroken(Need::kNothing)) return -1;
  return ::syscall(SYS_pread64, descriptor, buffer, size, offset);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  if (isBroken(Need::kSpace)) return -1;
  if (gThread.limitsWrites && size > 0) {
    size = std::min({size, gThread.writeLimit, gThread.writesLeft});
    gThread.writesLeft -= size;
    if (size == 0) {
      errno = ENOSPC;
      return -1;
    }
  }
  const ssize_t written = ::syscall(SYS_write, descriptor, bytes, size);
  if (gThread.session && written > 0) {
    gThread.session->addWritten(descriptor,
                                {static_cast<const char*>(bytes), static_cast<size_t>(written)});
  }
  return written;
}

int ftruncate(int descriptor, off_t size) noexcept {
  if (isBroken(Need::kNothing)) return -1;
  const auto result = static_cast<int>(::syscall(SYS_ftruncate, descriptor, size));
  if (Session* session = gThread.session; session && result == 0) {
    if (const Node node = session->nodeOf(descriptor)) {
      session->setSize(node, static_cast<size_t>(size));
    }
  }
  return result;
}

int fsync(int descriptor) {
  if (isBroken(Need::kSpace)) return -1;
  const long result = gThread.syncsNothing ? 0 : ::syscall(SYS_fsync, descriptor);
  if (Session* session = gThread.session; session && result == 0) {
    if (const Node node = session->nodeOf(descriptor)) session->recording.sync(node);
  }
  return static_cast<int>(result);
}

int fchmod(int descriptor, mode_t mode) noexcept {
  if (isBroken(Need::kNothing)) return -1;
  return static_cast<int>(::syscall(SYS_fchmod, descriptor, mode));
}

int flock(int descriptor, int operation) noexcept {
  if (isBroken(Need::kNothing)) return -1;
  return static_cast<int>(::syscall(SYS_flock, descriptor, operation));
}

int mkdir(const char* path, mode_t mode) noexcept {
  if (isBroken(Need::kSpace)) return -1;
  const auto result = static_cast<int>(::syscall(SYS_mkdirat, AT_FDCWD, path, mode));
  Session* session = gThread.session;
  if (session && result == 0) session->addNew(AT_FDCWD, path, session->recording.addFolder());
  return result;
}

int symlink(const char* target, const char* path) noexcept {
  if (isBroken(Need::kSpace)) return -1;
  const auto result = static_cast<int>(::syscall(SYS_symlinkat, target, AT_FDCWD, path));
  Session* session = gThread.session;
  if (session && result == 0) session->addNew(AT_FDCWD, path, session->recording.addLink(target));
  return result;
}

int linkat(int oldFolder, const char* oldPath, int newFolder, const char* newPath,
           int flags) noexcept {
  if (isBroken(Need::kSpace)) return -1;
  const auto result =
      static_cast<int>(::syscall(SYS_linkat, oldFolder, oldPath, newFolder, newPath, flags));
  if (Session* session = gThread.session; session && result == 0) {
    const Node node = session->nodeAt(newFolder, newPath);
    if (node) session->recording.changeEntries({session->entryAt(newFolder, newPath, node)});
  }
  return result;
}

int renameat(int oldFolder, const char* oldPath, int newFolder, const char* newPath) noexcept {
  return renameFile(oldFolder, oldPath, newFolder, newPath, 0);
}

int renameat2(int oldFolder, const char* oldPath, int newFolder, const char* newPath,
              unsigned int flags) noexcept {
  return renameFile(oldFolder, oldPath, newFolder, newPath, flags);
}

int rename(const char* oldPath, const char* newPath) noexcept {
  return renameFile(AT_FDCWD, oldPath, AT_FDCWD, newPath, 0);
}

int unlink(const char* path) noexcept { return removeFile(AT_FDCWD, path, 0); }

int unlinkat(int folder, const char* path, int flags) noexcept {
  return removeFile(folder, path, flags);
}

}  // extern "C"
#pragma GCC visibility pop
