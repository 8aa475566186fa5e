#ifndef CORVANE_HOST_COREFOUNDATION_PROPERTY_LIST_SAFETY_H_
#define CORVANE_HOST_COREFOUNDATION_PROPERTY_LIST_SAFETY_H_

#include <string_view>

namespace cf {

/// The number of levels that the collections of a property list may have.
inline constexpr int kMaxPropertyListDepth = 512;

/// Return whether the list can be given to its parser and is what the parser takes it for. The
/// parser finds most damage itself; it accepts an XML list without its last tags, a key without a
/// value, a second value at the top and an integer with other characters, cuts a text off at a
/// zero, recurses once per level, and copies what a binary list refers to more than once.
bool isSoundXml(std::string_view list);
bool isSoundBinary(std::string_view list);

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_PROPERTY_LIST_SAFETY_H_
