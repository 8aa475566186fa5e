#ifndef CORVANE_HOST_VIRTUAL_UNIT_DATA_SETS_H_
#define CORVANE_HOST_VIRTUAL_UNIT_DATA_SETS_H_

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "platform/cf_ref.h"

namespace corvane::host {

/// The data sets of one unit, each a file "data/NAME.bin" of its bytes.
///
/// Readers see that file and no other, so a read opens one file and never sees half a change.
/// While a set has uncommitted changes, "data/NAME.committed" holds its committed contents; a
/// reboot puts them back.
///
/// Every failure throws FileError, or UnitBusyError when the unit's lock cannot be acquired, and
/// leaves the sets as they were.
class DataSets {
 public:
  /// `folder` is the unit's.
  explicit DataSets(const std::filesystem::path& folder);
  ~DataSets();
  DataSets(const DataSets&) = delete;
  DataSets& operator=(const DataSets&) = delete;

  /// Return the set's contents, uncommitted changes included; null when there is no such set.
  /// @{
  CFRef<CFMutableDataRef> copyContents(const std::string& set) const;
  CFRef<CFMutableDataRef> copyContents(CFStringRef set) const;
  /// @}

  /// Puts `bytes` at `offset` of the set. A committed change is durable when this returns; an
  /// uncommitted one is seen by every process until the unit reboots. Fails with
  /// no_such_file_or_directory for an unknown set and invalid_argument for a range outside it.
  void write(const std::string& set, uint64_t offset, std::span<const uint8_t> bytes,
             bool commit) const;

  /// Replaces the whole set by contents of any size, and commits that. Makes a set that is missing.
  void replace(const std::string& set, std::span<const uint8_t> contents) const;

  /// Returns the names, in order, of the sets with changes that the next reboot undoes.
  std::vector<std::string> uncommittedSets() const;

  /// Undoes all uncommitted changes.
  void reboot() const;

 private:
  /// The name of a set that was read, and its file: programs read the same set again and again.
  struct ReadSet {
    CFRef<CFStringRef> name;
    std::string file;
    const ReadSet* next;
  };
  const ReadSet* findReadSet(CFStringRef name) const;
  void remember(CFStringRef name, std::string file) const;

  std::string contentsFile(const std::string& set) const;
  std::string committedFile(const std::string& set) const;
  void removeCommittedFile(const std::string& set) const;

  std::filesystem::path _folder;
  std::string _data;
  /// Never shrinks, so that it is read without a lock.
  mutable std::atomic<const ReadSet*> _readSets = nullptr;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_VIRTUAL_UNIT_DATA_SETS_H_
