#ifndef CORVANE_TOOLS_RECORD_FIELD_H_
#define CORVANE_TOOLS_RECORD_FIELD_H_

#include <cstdint>
#include <span>
#include <string>

namespace corvane::tools {

/// Throws CommandError (not done) for an offset of 128 or more, where records lie instead of
/// control bits. Its text names the record and the field that the byte belongs to. `contents` is
/// the whole data set, its records in the width of this machine's time value.
void requireNoRecordByte(uint32_t offset, std::span<const uint8_t> contents);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RECORD_FIELD_H_
