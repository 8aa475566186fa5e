#ifndef CORVANE_TOOLS_RECORD_FIELD_H_
#define CORVANE_TOOLS_RECORD_FIELD_H_

#include <cstdint>
#include <span>
#include <string>

namespace corvane::tools {

/// Refuses to change a byte from offset 128 on, where records lie and no control bits: throws
/// CommandError (not done), whose text names the record and the field that the byte is of.
/// `contents` is the whole data set, its records in the width of this machine's time value.
void requireNoRecordByte(uint32_t offset, std::span<const uint8_t> contents);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RECORD_FIELD_H_
