#include "platform/unit_messages.h"

namespace corvane {

void sendUnitMessagesTo(int) {}

}  // namespace corvane
