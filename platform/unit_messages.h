#ifndef CORVANE_PLATFORM_UNIT_MESSAGES_H_
#define CORVANE_PLATFORM_UNIT_MESSAGES_H_

#include "platform/export.h"

namespace corvane {

/// Sends the virtual device's own messages, such as why a file of it cannot be used, to the open
/// file `descriptor` from now on; to standard error when it is negative. Does nothing on the
/// device.
CORVANE_PLATFORM_EXPORT void sendUnitMessagesTo(int descriptor);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_UNIT_MESSAGES_H_
