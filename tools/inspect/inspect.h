#ifndef CORVANE_TOOLS_INSPECT_INSPECT_H_
#define CORVANE_TOOLS_INSPECT_INSPECT_H_

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dataarea/nor_access.h"
#include "platform/time_text.h"
#include "syscfg/area_format.h"
#include "tools/terminal/terminal.h"
#include "unit/byte_text.h"
#include "unit/keys.h"
#include "unit/records.h"

/// What the data sets of a unit hold, damaged or not, and how the tool shows it: as tables, for a
/// terminal or a page, and as JSON. Any bytes have an answer.
namespace corvane::tools {

using ByteSpan = std::span<const uint8_t>;

/// Bytes of a data set that are not what they should be, and the reason.
struct Finding {
  size_t offset, length;
  std::string reason;
};

struct ControlBit {
  size_t offset;
  uint8_t byte;
};

/// The data set "VelmoDiagnosticData".
struct DiagnosticReport {
  /// Width of a record's time value in bits, 64 or 32: the more plausible one.
  int timeBits = 0;
  /// Size of a slot in bytes.
  size_t recordSize = 0;
  /// The number of sound records and free slots, minus the number of slots that are neither.
  int plausibility = 0;
  /// Those that are not 0xFF.
  std::vector<ControlBit> controlBits;
  std::vector<unit::Record> records;
  /// By offset.
  std::vector<Finding> findings;
};

DiagnosticReport reportOnDiagnosticData(ByteSpan contents);

/// One entry of a configuration area's table.
struct AreaEntry {
  uint32_t key;
  bool isIndirect;
  /// Where the entry and its value lie. A faulty entry may claim a value outside the area.
  size_t offset, valueOffset, valueLength;
  /// What is wrong with the entry; empty when it is sound.
  std::string fault = {};
  /// The bytes of the value that lie inside the area.
  unit::Bytes value = {};
  /// Whether a unit that looks up the key finds this entry.
  bool isFound = false;

  /// Returns the value as it was probably written: an inline entry does not record the length of
  /// its value, so free bytes (0xFF) at its end are left out.
  ByteSpan writtenValue() const;
};

/// The data set "VelmoDiagnosticDataSysCfg".
struct AreaReport {
  size_t size = 0;
  /// Absent when the area is too small for a header.
  std::optional<area::Header> header;
  /// The conditions of a sound header, and whether each holds.
  std::vector<std::pair<const char*, bool>> checks;
  /// Whether all checks hold. If not, a unit treats the area as an empty store.
  bool isHeaderSound = false;
  /// In table order. As many as the header claims and the area can hold.
  std::vector<AreaEntry> entries;
  size_t freeBegin = 0, freeEnd = 0;
  /// By offset.
  std::vector<Finding> findings;
};

/// The area is the first 8192 bytes of `contents`; more is a finding.
AreaReport reportOnArea(ByteSpan contents);

enum class DumpKind { kConfiguration, kDiagnosticData };

/// The choices of "--as", and its help text.
inline const std::map<std::string, DumpKind> kDumpKinds = {{"data", DumpKind::kDiagnosticData},
                                                           {"syscfg", DumpKind::kConfiguration}};
inline constexpr char kDumpKindsHelp[] =
    "Kind of a raw dump: data (control-bit bytes and records) or syscfg (a\n"
    "configuration area); guessed when not given";

/// A raw dump of one of a unit's data sets, with the report of its kind. An unknown one has none.
struct Dump {
  /// Why the dump is taken to be of its kind.
  std::string reason;
  std::optional<AreaReport> area = {};
  std::optional<DiagnosticReport> diagnosticData = {};
  /// Those of the report.
  std::vector<Finding> findings = {};
};

/// Without `kind`, it is guessed.
Dump inspectDump(ByteSpan contents, std::optional<DumpKind> kind = {});

Table controlBitTable(const std::vector<ControlBit>& bytes);
Table recordTable(const std::vector<unit::Record>& records);
/// Returns the entries with their values, each cut to `valueWidth` columns.
Table entryTable(const AreaReport& report, size_t valueWidth = 40);
Table findingTable(const std::vector<Finding>& findings);

/// Draws where header, entries, free space, values and damage of the area are, with a legend, in at
/// most 80 columns.
void printMap(std::ostream& out, const AreaReport& report, bool coloured);

/// Returns how a byte looks in a grid: P passed, F failed, ! failed or poisoned, I incomplete, N
/// not tested; for the log collection's byte C complete, I incomplete or "?"; . for one not
/// written.
char markOf(size_t offset, uint8_t byte);

/// Returns seconds since 1970-01-01 00:00 UTC as text; nothing for a time that the calendar does
/// not have.
using TimeText = std::optional<std::string>(int64_t seconds);

/// What nlohmann's library calls to make JSON of them, in lists too.
/// @{
void to_json(nlohmann::ordered_json& json, const Finding& finding);
void to_json(nlohmann::ordered_json& json, const ControlBit& bit);
void to_json(nlohmann::ordered_json& json, const AreaEntry& entry);
void to_json(nlohmann::ordered_json& json, const AreaReport& report);
/// @}
/// Returns the record with "time" as `timeText` has it, else null; "seconds" always has the value.
nlohmann::ordered_json recordAsJson(const unit::Record& record, TimeText timeText = isoTimeText);
nlohmann::ordered_json recordsAsJson(const std::vector<unit::Record>& records,
                                     TimeText timeText = isoTimeText);
/// Returns control-bit bytes and records.
nlohmann::ordered_json diagnosticDataAsJson(const DiagnosticReport& report,
                                            TimeText timeText = isoTimeText);
/// Returns the key with its value as bytes and, when it is plain text, as text. `written` is the
/// part of `value` that was probably written.
nlohmann::ordered_json keyAsJson(uint32_t key, ByteSpan value, ByteSpan written);

using unit::keyName;

/// Parses pairs of digits, with or without white space between them. Returns nothing for other
/// text.
std::optional<unit::Bytes> parseHex(std::string_view text);

/// Returns the value as text when it is plain text, else as 0x and hexadecimal digits.
std::string valueText(ByteSpan value);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_INSPECT_H_
