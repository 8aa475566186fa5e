#include "testing/power_cut/disk.h"

#include <sys/stat.h>

#include <algorithm>
#include <random>

#include "testing/unit_test.h"

namespace corvane::testing {

namespace fs = std::filesystem;

Disk::Disk(fs::path root) : _root(std::move(root)) {
  update();
  _onDisk = _visible;
  _pending.clear();
  for (File& file : _files) file.versions = {file.versions.back()};
}

bool Disk::update() {
  struct stat facts {};
  ::lstat(_root.c_str(), &facts);
  std::map<ino_t, Node> nodes = {{facts.st_ino, kRoot}};
  Entries visible;
  bool isChanged = false;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(_root)) {
    const fs::path& path = entry.path();
    ::lstat(path.c_str(), &facts);
    const auto [known, isNew] = _nodes.emplace(facts.st_ino, _files.size());
    const Node node = nodes[facts.st_ino] = known->second;
    const fs::file_type type = entry.symlink_status().type();
    const std::string contents = type == fs::file_type::symlink   ? fs::read_symlink(path).string()
                                 : type == fs::file_type::regular ? readText(path)
                                                                  : "";
    // A new file can be on the disk without its contents, but a link only with its target.
    if (isNew) _files.push_back({type, {type == fs::file_type::symlink ? contents : ""}});
    std::vector<std::string>& versions = _files[node].versions;
    if (contents != versions.back()) {
      versions.push_back(contents);
      isChanged = true;
    }
    ::lstat(path.parent_path().c_str(), &facts);
    visible[{nodes.at(facts.st_ino), path.filename()}] = node;
  }

  Entries step = visible;
  for (const auto& [place, node] : _visible) {
    const auto now = step.emplace(place, kNone).first;
    if (now->second == node) step.erase(now);
  }
  isChanged |= !step.empty();
  if (!step.empty()) _pending.push_back(std::move(step));
  _nodes = std::move(nodes);
  _visible = std::move(visible);
  return isChanged;
}

bool Disk::sync(int descriptor) {
  struct stat facts {};
  ::fstat(descriptor, &facts);
  const auto found = _nodes.find(facts.st_ino);
  if (found == _nodes.end()) return false;
  std::vector<std::string>& versions = _files[found->second].versions;
  versions = {versions.back()};
  for (Entries& step : _pending) {
    std::erase_if(step, [&](const auto& entry) {
      if (entry.first.first != found->second) return false;
      _onDisk[entry.first] = entry.second;
      return true;
    });
  }
  std::erase_if(_pending, [](const Entries& step) { return step.empty(); });
  return true;
}

size_t Disk::stateCount(size_t limit) const {
  size_t count = 1;
  for (size_t i = 0; i < _pending.size() && count < limit; ++i) count *= 2;
  for (const File& file : _files) count = std::min(limit, count * file.versions.size());
  return count;
}

void Disk::layDown(const fs::path& folder, const std::function<size_t(size_t)>& choose) const {
  Entries entries = _onDisk;
  for (const Entries& step : _pending) {
    if (choose(2) == 0) continue;
    for (const auto& [place, node] : step) entries[place] = node;
  }
  std::vector<std::string> contents;
  for (const File& file : _files) contents.push_back(file.versions[choose(file.versions.size())]);

  // Folders come first, because they were numbered before what is in them.
  std::map<Node, fs::path> folders = {{kRoot, folder}};
  fs::create_directory(folder);
  for (const auto& [place, node] : entries) {
    if (node == kNone || !folders.contains(place.first)) continue;
    const fs::path path = folders[place.first] / place.second;
    if (_files[node].type == fs::file_type::directory) {
      fs::create_directory(path);
      folders[node] = path;
    } else if (_files[node].type == fs::file_type::symlink) {
      fs::create_symlink(contents[node], path);
    } else {
      writeText(path, contents[node]);
    }
  }
}

size_t cutAtEach(const std::vector<Disk>& moments, const fs::path& scratch, size_t limit,
                 const std::function<void(const fs::path&, bool)>& judge) {
  const size_t share = std::max<size_t>(1, limit / moments.size());
  std::minstd_rand random(1);
  size_t cases = 0;
  // A process removes what kills left only when it locks a unit of that name for the first time.
  static size_t number = 0;
  for (const Disk& disk : moments) {
    const size_t count = disk.stateCount(share + 1);
    for (size_t i = 0; i < std::min(count, share); ++i) {
      size_t rest = i;  // Where there are few states, they are all made, one after the other.
      const fs::path folder = scratch / ("case " + std::to_string(++number));
      disk.layDown(folder, [&](size_t alternatives) {
        // The first is what a kill leaves, which loses nothing.
        if (count > share) return i == 0 ? alternatives - 1 : random() % alternatives;
        const size_t chosen = rest % alternatives;
        rest /= alternatives;
        return chosen;
      });
      judge(folder, &disk == &moments.back());
      fs::remove_all(folder);
    }
    cases += std::min(count, share);
  }
  return cases;
}

}  // namespace corvane::testing
