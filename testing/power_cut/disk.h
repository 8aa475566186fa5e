#ifndef CORVANE_TESTING_POWER_CUT_DISK_H_
#define CORVANE_TESTING_POWER_CUT_DISK_H_

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace corvane::testing {

/// What a disk holds of one folder at one moment of a change, and every state in which a power cut
/// can leave it then.
///
/// The model permits a file system everything that it does not promise: contents reach the disk
/// when the file is synced, an earlier version or none before that; an entry of a folder (a
/// creation, a renaming, a removal) when the folder is synced, and before that each entry by
/// itself, in any order. Only what one system call changes is one step: the two names of a
/// renaming.
class Disk {
 public:
  /// Takes everything in `root` to be on the disk.
  explicit Disk(std::filesystem::path root);

  /// Records what the last system call changed below the root. Returns whether it changed anything.
  bool update();
  /// Records a sync of the file or folder that `descriptor` is open on. Returns false for one
  /// outside the root.
  bool sync(int descriptor);

  /// Returns the number of states that a cut can leave, or `limit` when there are more.
  size_t stateCount(size_t limit) const;
  /// Makes one of the states in `folder`. `choose(n)` selects one of the n alternatives of each
  /// step or file.
  void layDown(const std::filesystem::path& folder,
               const std::function<size_t(size_t)>& choose) const;

 private:
  /// The index of a file, folder or symbolic link in `_files`. kNone stands for a removed entry.
  using Node = size_t;
  static constexpr Node kRoot = 0, kNone = SIZE_MAX;
  struct File {
    std::filesystem::file_type type;
    /// The contents, or targets of a link, that can be on the disk. Programs see the last one.
    std::vector<std::string> versions;
  };
  /// Maps folders and names in them to what the names mean.
  using Entries = std::map<std::pair<Node, std::string>, Node>;

  std::filesystem::path _root;
  std::vector<File> _files = {{std::filesystem::file_type::directory, {""}}};
  /// Holds only visible files, because the number of a removed file can be given to a new one.
  std::map<ino_t, Node> _nodes;
  Entries _visible, _onDisk;
  /// The steps that may not be on the disk, in order.
  std::vector<Entries> _pending;
};

/// Lays down what a power cut leaves at each of the `moments`, in a folder of its own below
/// `scratch`, and calls `judge` with that folder and with whether the cut comes after the last
/// moment. There is at least one case for each moment, the one that loses nothing, and about
/// `limit` altogether; the choice among more is the same each time. Returns how many cases there
/// were.
size_t cutAtEach(const std::vector<Disk>& moments, const std::filesystem::path& scratch,
                 size_t limit,
                 const std::function<void(const std::filesystem::path&, bool)>& judge);

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_POWER_CUT_DISK_H_
