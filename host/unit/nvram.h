#ifndef CORVANE_HOST_UNIT_NVRAM_H_
#define CORVANE_HOST_UNIT_NVRAM_H_

#include <filesystem>

#include "platform/cf_ref.h"

namespace corvane::host {

inline constexpr char kNvramFile[] = "nvram.plist";

/// The NVRAM variables of one unit, by name in the file "nvram.plist", which is read afresh each
/// time. Without that file there are no variables, and the first change makes it.
class Nvram {
 public:
  /// `folder` is the unit's.
  explicit Nvram(std::filesystem::path folder) : _folder(std::move(folder)) {}

  std::filesystem::path file() const { return _folder / kNvramFile; }

  /// Null when there is no such variable. Throws DeviceError when the file is damaged.
  CFRef<CFTypeRef> copyVariable(CFStringRef name) const;

  /// Durable when this returns; the file holds all of the old or all of the new variables at any
  /// time, and what other threads and processes changed meanwhile stays. Throws DeviceError, with
  /// the file as it was, when it is damaged or cannot be written, or when it cannot hold the value.
  void setVariable(CFStringRef name, CFTypeRef value) const;

 private:
  std::filesystem::path _folder;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_NVRAM_H_
