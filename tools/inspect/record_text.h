#ifndef CORVANE_TOOLS_INSPECT_RECORD_TEXT_H_
#define CORVANE_TOOLS_INSPECT_RECORD_TEXT_H_

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "controlbits/diagnostic_record.h"
#include "platform/text.h"
#include "tools/inspect/diagnostic_report.h"

/// How the tool shows diagnostic records.
namespace corvane::tools {

template <typename Time>
RecordLine recordLine(size_t slot, const DiagnosticRecord<Time>& record) {
  return {slotOffset<Time>(slot), record.time,      record.station,
          versionOf(record),      resultOf(record), utf8Bytes(messageOf(record).get())};
}

/// A table, one row a record.
void printRecords(std::ostream& out, const std::vector<RecordLine>& records);

nlohmann::ordered_json recordAsJson(const RecordLine& record);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_RECORD_TEXT_H_
