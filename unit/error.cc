#include "unit/error.h"

namespace corvane::unit {

// Here, so that the class has one type information, which a catch in another library compares.
Error::~Error() = default;

}  // namespace corvane::unit
