#ifndef CORVANE_UNIT_ERROR_H_
#define CORVANE_UNIT_ERROR_H_

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "../platform/export.h"

/// Verified access to a unit: each change is read back and compared, and a failure says what the
/// unit holds now. Off the device a `Lock` keeps other processes from changing the unit meanwhile.
///
///     corvane::unit::openDataArea();
///     corvane::unit::Lock lock;
///     corvane::unit::changeStatus(lock, 20, {.status = kCorvaneCotnrolBitsPassed});
///
/// All of it, except boot arguments and facts, goes through `readBits` and `writeBits` alone and
/// keeps no state, so that it works while another thread is stuck in another call of the library.
namespace corvane::unit {

/// What kept an operation from doing its work.
enum class Fault {
  kLocked,        ///< Another process or thread holds the unit's lock.
  kUnreadable,    ///< The unit, or what was asked for, cannot be read.
  kRefused,       ///< The data area refused the write with a code.
  kMismatch,      ///< What was written does not read back.
  kNotDurable,    ///< It reads back, but the write returned a code: a power cut may undo it.
  kDamagedStore,  ///< The configuration area holds a damaged key store, which is not changed.
  kNoRoom,        ///< The configuration area or the chain of records is full.
  kFinal,         ///< What is there stays: a mark of failure, or a word within a longer one.
  kAbsent,        ///< There is no such key, word or variable.
  kNoClock,       ///< The clock cannot be read or has a time that marks a free slot.
  kBadArgument,   ///< The caller's value is not allowed.
};

/// What a failed change has left on the unit.
enum class Left {
  kUnchanged,  ///< Nothing was written.
  kPutBack,    ///< What it held before was written and read back.
  kChanged,    ///< What was meant, or a mark of failure, which is not taken back.
  kUnknown,    ///< It could not be put back, or cannot be read.
};

/// Thrown by the operations on a unit. The text names the byte, key or record, what it holds, what
/// was meant, and what has been left.
class CORVANE_EXPORT Error : public std::runtime_error {
 public:
  /// The difference, where there is one.
  struct Difference {
    uint32_t offset = 0;  ///< In the data set.
    uint8_t held = 0;     ///< What the byte holds.
    uint8_t meant = 0;    ///< What it should hold.
  };

  /// `text` says what is wrong and what `left` and `difference` say; `code` is what the write
  /// returned, and 0 when nothing was written or it returned 0. `fault` is what kept the operation
  /// from its work.
  Error(Fault fault, const std::string& text, Left left = Left::kUnchanged, uint32_t code = 0,
        std::optional<Difference> difference = std::nullopt)
      : std::runtime_error(text),
        _fault(fault),
        _left(left),
        _code(code),
        _difference(difference) {}
  /// Copy the error.
  /// @{
  Error(const Error&) = default;
  Error& operator=(const Error&) = default;
  /// @}
  ~Error() override;

  /// Returns what kept the operation from its work.
  Fault fault() const { return _fault; }
  /// Returns what the unit holds now.
  Left left() const { return _left; }
  /// Returns the code of the write; 0 when nothing was written or it returned 0.
  uint32_t code() const { return _code; }
  /// Returns the first byte that does not read back; nothing when all do or none can be read.
  const std::optional<Difference>& difference() const { return _difference; }

 private:
  Fault _fault;
  Left _left;
  uint32_t _code;
  std::optional<Difference> _difference;
};

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_ERROR_H_
