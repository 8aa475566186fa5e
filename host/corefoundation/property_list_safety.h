#ifndef CORVANE_HOST_COREFOUNDATION_PROPERTY_LIST_SAFETY_H_
#define CORVANE_HOST_COREFOUNDATION_PROPERTY_LIST_SAFETY_H_

#include <string_view>

namespace cf {

/// How many collections may lie in one another in a property list.
inline constexpr int kDeepestPropertyList = 512;

/// Whether the list can be given to its parser: that recurses once per level, spreads out what a
/// binary list refers to more than once, and ends the program over a key with a zero in it.
bool isSafeXml(std::string_view list);
/// False also for a damaged list.
bool isSafeBinary(std::string_view list);

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_PROPERTY_LIST_SAFETY_H_
