#ifndef CORVANE_TESTING_POWER_CUT_RECORDING_H_
#define CORVANE_TESTING_POWER_CUT_RECORDING_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace corvane::testing {

/// The file operations of one change, and every state in which a power cut during it can leave the
/// disk.
///
/// The model permits a file system everything that it does not promise: contents reach the disk
/// when the file is synced, an earlier version or none before that; an entry of a folder (a
/// creation, a renaming, a removal) when the folder is synced, and before that each entry by
/// itself, in any order. Only a renaming, with its two names, is one step.
class Recording {
 public:
  /// Files, folders and symbolic links have numbers; 0 is none.
  using Node = uint32_t;
  struct Entry {
    Node folder;
    std::string name;
    /// What the name means from now on; 0 when it is removed.
    Node node;
  };
  static constexpr Node kRoot = 1;

  /// A new file with `contents`, which are on the disk already or not.
  Node addFile(std::string contents, bool isOnDisk);
  Node addFolder();
  Node addLink(std::string target);

  /// What happens to nodes, in order. Each is a moment before which the power can go.
  void changeEntries(std::vector<Entry> entries);
  void writeContents(Node file, std::string contents);
  void sync(Node node);
  void syncAll();
  /// Everything up to here was on the disk before the change.
  void start();

  size_t operationCount() const { return _operations.size() - _start; }

  struct Case {
    size_t number;
    /// Whether the power goes after the last operation.
    bool isAfterTheChange;
    std::filesystem::path folder;
  };

  /// Calls `judge` with what is left in each case, in a folder below `scratch`: at least one case
  /// for each moment, at most about `limit` altogether; the choice among more is the same each
  /// time. Returns how many there were.
  size_t replay(const std::filesystem::path& scratch, size_t limit,
                const std::function<void(const Case&)>& judge) const;

 private:
  enum class Kind { kEntries, kContents, kSync, kSyncAll };
  struct Operation {
    Kind kind;
    std::vector<Entry> entries;
    Node node = 0;
    std::string contents;
  };
  struct NewNode {
    enum class Kind { kFile, kFolder, kLink } kind;
    /// A file's contents on the disk at first, a link's target.
    std::string text;
  };
  class Disk;

  std::vector<NewNode> _nodes = {{}, {NewNode::Kind::kFolder, {}}};
  std::vector<Operation> _operations;
  size_t _start = 0;
};

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_POWER_CUT_RECORDING_H_
