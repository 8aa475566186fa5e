#include "tools/diagnostic_data.h"

#include "dataarea/data_area.h"
#include "dataarea/data_sets.h"

namespace corvane::tools {

std::span<const uint8_t> readDiagnosticData(const std::string& what) {
  const uint8_t* bytes = nullptr;
  uint32_t length = 0;
  if (getDataAreaBytePtr(&bytes, &length, diagnosticDataSet())) return {bytes, length};
  throw CommandError(kNotReady, what + " cannot be read");
}

CommandError unknownChange(const std::string& what) {
  return {kNotReady, what + " cannot be read back: whether the change was made is not known"};
}

CommandError undurableChange(const std::string& what) {
  return {kFailed, what + " could not be made durable: a power cut may undo it"};
}

}  // namespace corvane::tools
