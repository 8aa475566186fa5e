#ifndef CORVANE_HOST_UNIT_DATA_SETS_H_
#define CORVANE_HOST_UNIT_DATA_SETS_H_

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "platform/cf_ref.h"
#include "platform/export.h"

namespace corvane::host {

/// The data sets of one unit, each a file "data/NAME.bin" of its bytes.
///
/// That file is always what readers see, so a read is one look at one file and never half a set.
/// While a set has changes that were not committed, its committed contents stand beside it in
/// "data/NAME.committed"; a reboot puts them back.
class CORVANE_EXPORT DataSets {
 public:
  /// `folder` is the unit's.
  explicit DataSets(const std::filesystem::path& folder);

  /// The set's contents as they stand; null when there is no such set, or its file cannot be read.
  CFRef<CFMutableDataRef> copyContents(const std::string& set) const;

  /// Puts `bytes` at `offset` of the set. A committed change is durable when this returns; another
  /// is seen by every process until the unit reboots. On any error the set is as it was:
  /// no_such_file_or_directory for an unknown set, invalid_argument for a range outside it, or what
  /// the file system said.
  std::error_code write(const std::string& set, uint64_t offset, std::span<const uint8_t> bytes,
                        bool commit) const;

  /// Puts `contents` in the place of the whole set, committed, whatever size it had.
  std::error_code replace(const std::string& set, std::span<const uint8_t> contents) const;

  /// Sets with changes that the next reboot undoes.
  std::vector<std::string> uncommittedSets() const;

  /// Undoes what was not committed. Throws DeviceError when it cannot.
  void reboot() const;

 private:
  std::string contentsFile(const std::string& set) const;
  std::string committedFile(const std::string& set) const;

  std::filesystem::path _folder;
  std::string _data;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_DATA_SETS_H_
