#ifndef CORVANE_HOST_COREFOUNDATION_DESCRIPTION_H_
#define CORVANE_HOST_COREFOUNDATION_DESCRIPTION_H_

#include <string>
#include <string_view>

#include "host/corefoundation/object.h"

namespace cf {

void appendAscii(std::u16string& out, std::string_view text);
/// "0x" and lower-case hex digits.
void appendAddress(std::u16string& out, const void* address);
/// The first part of a description: "<CFData 0x...>{".
void appendHead(std::u16string& out, const Object& object);

/// Appends one key, value or item of a collection: by `copyDescription` when the collection has its
/// own, otherwise the text of the object it is, or its address when it is none. `layout` is that of
/// the collection.
void appendElement(std::u16string& out, const void* element,
                   CFStringRef (*copyDescription)(const void*), Layout layout);

/// A line feed and the indentation of an entry in a collection of depth `depth`.
void appendLine(std::u16string& out, int depth);

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_DESCRIPTION_H_
