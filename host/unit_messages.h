#ifndef CORVANE_HOST_UNIT_MESSAGES_H_
#define CORVANE_HOST_UNIT_MESSAGES_H_

#include <string>

namespace corvane::host {

/// Writes the line "virtual device: `text`" to standard error, or where `sendUnitMessagesTo` sends
/// it.
void reportOnUnit(const std::string& text);

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_MESSAGES_H_
