#ifndef CORVANE_STATION_UNIT_MARKS_H_
#define CORVANE_STATION_UNIT_MARKS_H_

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "controlbits/control_bit_byte.h"

/// What a station leaves on a unit. Every write is read back from the unit and compared with what
/// was meant.
namespace corvane::station {

/// Thrown when the unit does not hold what it should, or cannot be read; the text names the byte,
/// key or record and what it holds.
class UntrustedUnit : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The bytes of a diagnostic record as the library lists them.
struct Record {
  std::string time;  ///< As `ctime` shows it, with its line feed.
  int station = -1;
  int version = -1;
  int result = -1;
  std::string message;

  bool operator==(const Record&) const = default;
};

inline constexpr size_t kMostRecords = 20;

/// Returns the chain of records, first to last. Throws UntrustedUnit when it cannot be read.
std::vector<Record> readRecords();

/// Returns the byte at `offset` of "VelmoDiagnosticData". Throws UntrustedUnit when it cannot be
/// read.
uint8_t readUnitByte(uint32_t offset);

/// Returns "passed", "incomplete", "failed" or "not-tested".
const char* statusName(uint8_t controlBitByte);
/// One of a station's places: a byte of "VelmoDiagnosticData", and its value as last read or
/// written.
class MarkedByte {
 public:
  /// Reads the byte.
  explicit MarkedByte(uint32_t offset) : _offset(offset), _value(readUnitByte(offset)) {}

  uint32_t offset() const { return _offset; }
  /// Returns the byte as last read or written.
  uint8_t value() const { return _value; }

  /// Writes and commits `value`, and reads it back.
  void write(uint8_t value);
  /// Reads the byte again and compares it with `value()`.
  void verify() const;

 private:
  uint32_t _offset;
  uint8_t _value;
};

/// The count of a station's runs, kept under a configuration key as 32 bits, little-endian.
class RunCounter {
 public:
  /// Reads the count. Throws UntrustedUnit when the area cannot be read, holds something that is no
  /// key store, or has another kind of value under the key.
  explicit RunCounter(std::string_view key);

  uint32_t count() const { return _count; }
  /// Adds one. Writes the whole area as this object read it, with this one change, and reads it
  /// back. Changes nothing when the value does not fit.
  void increase();

 private:
  std::string _name;
  uint32_t _key;
  uint32_t _count = 0;
  std::vector<uint8_t> _area;
};

/// Returns the text of the configuration value `key`, up to its first byte that is 0 or 0xFF; empty
/// when there is none.
std::string readKeyText(std::string_view key);

/// Appends a record with the time now and returns it as the unit holds it. Throws UntrustedUnit
/// unless the chain is then `before` with just this record added.
Record appendRecord(const std::vector<Record>& before, uint8_t station,
                    CorvaneControlBitStatus result, const std::string& text);

}  // namespace corvane::station

#endif  // CORVANE_STATION_UNIT_MARKS_H_
