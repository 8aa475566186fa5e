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
  /// What `root` holds is on the disk.
  explicit Disk(std::filesystem::path root);

  /// Takes in what the last system call changed below the root. Returns whether that is anything.
  bool update();
  /// Takes in that the file or folder was synced that `descriptor` is open on. Returns false for
  /// one outside the root.
  bool sync(int descriptor);

  /// The number of states that a cut can leave; no more than `limit`.
  size_t stateCount(size_t limit) const;
  /// Makes one of the states in `folder`: `choose(alternatives)` tells which of the alternatives
  /// each step or file takes.
  void layDown(const std::filesystem::path& folder,
               const std::function<size_t(size_t)>& choose) const;

 private:
  /// Files, folders and symbolic links, by their place in `_files`. An entry of none is removed.
  using Node = size_t;
  static constexpr Node kRoot = 0, kNone = SIZE_MAX;
  struct File {
    std::filesystem::file_type type;
    /// The contents, or a link's target, that can be on the disk; the last is what programs see.
    std::vector<std::string> versions;
  };
  /// By folder and name.
  using Entries = std::map<std::pair<Node, std::string>, Node>;

  std::filesystem::path _root;
  std::vector<File> _files = {{std::filesystem::file_type::directory, {""}}};
  /// Of what can be seen: a number that comes back later is another file's.
  std::map<ino_t, Node> _nodes;
  Entries _visible, _onDisk;
  /// Steps that are not on the disk for sure, in order.
  std::vector<Entries> _pending;
};

/// Lays down what a power cut leaves at each of the `moments`, in a folder of its own below
/// `scratch`, and calls `judge` with that folder and with whether the cut comes after the last
/// moment. There is at least one case for each moment and about `limit` altogether; the choice
/// among more is the same each time. Returns how many cases there were.
size_t cutAtEach(const std::vector<Disk>& moments, const std::filesystem::path& scratch,
                 size_t limit,
                 const std::function<void(const std::filesystem::path&, bool)>& judge);

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_POWER_CUT_DISK_H_
