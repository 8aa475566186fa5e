#ifndef CORVANE_HOST_COREFOUNDATION_PROPERTY_LIST_SAFETY_H_
#define CORVANE_HOST_COREFOUNDATION_PROPERTY_LIST_SAFETY_H_

#include <string_view>

namespace cf {

/// The number of levels that the collections of a property list may have.
inline constexpr int kDeepestPropertyList = 512;

/// Return whether the list is whole and sound, and can be given to its parser. The parser accepts
/// what it understands of a damaged or truncated XML list, recurses once per level, copies what a
/// binary list refers to more than once, and ends the program at a key with a zero in it.
bool isSoundXml(std::string_view list);
bool isSoundBinary(std::string_view list);

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_PROPERTY_LIST_SAFETY_H_
