#include "testing/power_cut/recording.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <set>
#include <utility>

namespace corvane::testing {

/// What is on the disk for sure, and what can be.
class Recording::Disk {
 public:
  explicit Disk(const Recording& recording) : _recording(recording) {
    for (const NewNode& node : recording._nodes) _contents.push_back({node.text});
  }

  void apply(const Operation& operation) {
    switch (operation.kind) {
      case Kind::kEntries:
        _pending.push_back(operation.entries);
        break;
      case Kind::kContents:
        _contents[operation.node].push_back(operation.contents);
        break;
      case Kind::kSync:
        sync(operation.node);
        break;
      case Kind::kSyncAll:
        for (Node node = 1; node < _contents.size(); ++node) sync(node);
    }
  }

  /// The number of states that a cut can leave now; no more than `limit`.
  size_t stateCount(size_t limit) const {
    size_t count = 1;
    for (size_t i = 0; i < _pending.size() && count < limit; ++i) count *= 2;
    for (const auto& versions : _contents) count = std::min(limit, count * versions.size());
    return count;
  }

  /// Lays down one of the states: each pending step or version is taken as `choose(alternatives)`
  /// says.
  void layDown(const std::filesystem::path& folder,
               const std::function<size_t(size_t)>& choose) const {
    auto entries = _entries;
    for (const std::vector<Entry>& step : _pending) {
      if (choose(2) == 0) continue;
      for (const Entry& entry : step) entries[{entry.folder, entry.name}] = entry.node;
    }
    std::vector<std::string> contents;
    for (const auto& versions : _contents) contents.push_back(versions[choose(versions.size())]);
    std::filesystem::create_directory(folder);
    layDown(folder, kRoot, entries, contents);
  }

 private:
  using Entries = std::map<std::pair<Node, std::string>, Node>;

  void sync(Node node) {
    if (_recording._nodes[node].kind == NewNode::Kind::kFile) {
      _contents[node] = {_contents[node].back()};
      return;
    }
    std::erase_if(_pending, [&](std::vector<Entry>& step) {
      std::erase_if(step, [&](const Entry& entry) {
        if (entry.folder != node) return false;
        _entries[{entry.folder, entry.name}] = entry.node;
        return true;
      });
      return step.empty();
    });
  }

  void layDown(const std::filesystem::path& path, Node folder, const Entries& entries,
               const std::vector<std::string>& contents) const {
    for (auto entry = entries.lower_bound({folder, ""});
         entry != entries.end() && entry->first.first == folder; ++entry) {
      const Node node = entry->second;
      const std::filesystem::path place = path / entry->first.second;
      if (node == 0) continue;
      switch (_recording._nodes[node].kind) {
        case NewNode::Kind::kFile:
          std::ofstream(place, std::ios::binary) << contents[node];
          break;
        case NewNode::Kind::kLink:
          std::filesystem::create_symlink(_recording._nodes[node].text, place);
          break;
        case NewNode::Kind::kFolder:
          std::filesystem::create_directory(place);
          layDown(place, node, entries, contents);
      }
    }
  }

  const Recording& _recording;
  /// By node, what can be on the disk; alone or first what is there for sure.
  std::vector<std::vector<std::string>> _contents;
  Entries _entries;
  std::vector<std::vector<Entry>> _pending;
};

Recording::Node Recording::addFile(std::string contents, bool isOnDisk) {
  _nodes.push_back({NewNode::Kind::kFile, isOnDisk ? std::move(contents) : std::string()});
  const auto node = static_cast<Node>(_nodes.size() - 1);
  if (!isOnDisk && !contents.empty()) writeContents(node, std::move(contents));
  return node;
}

Recording::Node Recording::addFolder() {
  _nodes.push_back({NewNode::Kind::kFolder, {}});
  return static_cast<Node>(_nodes.size() - 1);
}

Recording::Node Recording::addLink(std::string target) {
  _nodes.push_back({NewNode::Kind::kLink, std::move(target)});
  return static_cast<Node>(_nodes.size() - 1);
}

void Recording::changeEntries(std::vector<Entry> entries) {
  _operations.push_back({Kind::kEntries, std::move(entries), 0, {}});
}

void Recording::writeContents(Node file, std::string contents) {
  _operations.push_back({Kind::kContents, {}, file, std::move(contents)});
}

void Recording::sync(Node node) { _operations.push_back({Kind::kSync, {}, node, {}}); }

void Recording::syncAll() { _operations.push_back({Kind::kSyncAll, {}, 0, {}}); }

void Recording::start() {
  syncAll();
  _start = _operations.size();
}

size_t Recording::replay(const std::filesystem::path& scratch, size_t limit,
                         const std::function<void(const Case&)>& judge) const {
  Disk disk(*this);
  for (size_t i = 0; i < _start; ++i) disk.apply(_operations[i]);
  const size_t share = std::max<size_t>(1, limit / (operationCount() + 1));
  std::minstd_rand random(1);
  size_t cases = 0;
  size_t moment = _start;
  const auto lay = [&](const std::function<size_t(size_t)>& choose) {
    const std::filesystem::path folder = scratch / std::to_string(cases);
    disk.layDown(folder, choose);
    judge({cases++, moment == _operations.size(), folder});
    std::filesystem::remove_all(folder);
  };
  for (;; ++moment) {
    const size_t count = disk.stateCount(share + 1);
    for (size_t i = 0; i < std::min(count, share); ++i) {
      if (count > share) {
        lay([&](size_t alternatives) { return random() % alternatives; });
        continue;
      }
      size_t rest = i;  // All states, one after the other.
      lay([&](size_t alternatives) {
        const size_t chosen = rest % alternatives;
        rest /= alternatives;
        return chosen;
      });
    }
    if (moment == _operations.size()) return cases;
    disk.apply(_operations[moment]);
  }
}

}  // namespace corvane::testing
