#ifndef CORVANE_TESTING_POWER_CUT_FILE_RECORDER_H_
#define CORVANE_TESTING_POWER_CUT_FILE_RECORDER_H_

#include <cstddef>
#include <filesystem>

#include "testing/power_cut/recording.h"

/// Watches, and on demand breaks, the system calls by which this thread works on files. A program
/// that links this library has the C library's functions of these names replaced, for the libraries
/// that it uses, too.
namespace corvane::testing {

/// Records what the thread that made it changes below one folder.
class FileRecorder {
 public:
  /// What `root` holds is taken to be on the disk.
  explicit FileRecorder(const std::filesystem::path& root);
  /// Ends the recording, if `stop` has not.
  ~FileRecorder();
  FileRecorder(const FileRecorder&) = delete;
  FileRecorder& operator=(const FileRecorder&) = delete;

  Recording stop();
};

/// While one exists, the `number`-th call of this thread (from 1), and no other, is broken.
class BrokenCall {
 public:
  enum class Way {
    kInputOutputError,  ///< Fails with EIO.
    kNoSpace,           ///< Fails with ENOSPC if it can need space; others are left alone.
    kKill,              ///< Kills the process instead.
  };

  BrokenCall(size_t number, Way way);
  ~BrokenCall();
  BrokenCall(const BrokenCall&) = delete;
  BrokenCall& operator=(const BrokenCall&) = delete;

  /// Whether the thread has come to that call.
  bool isReached() const;
};

/// While one exists, this thread's syncs are recorded and do nothing, which saves time.
class NoSync {
 public:
  NoSync();
  ~NoSync();
  NoSync(const NoSync&) = delete;
  NoSync& operator=(const NoSync&) = delete;
};

/// While one exists, each write of this thread takes at most `limit` bytes, and none after `total`
/// altogether: those fail with ENOSPC.
class ShortWrites {
 public:
  ShortWrites(size_t limit, size_t total);
  ~ShortWrites();
  ShortWrites(const ShortWrites&) = delete;
  ShortWrites& operator=(const ShortWrites&) = delete;
};

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_POWER_CUT_FILE_RECORDER_H_
