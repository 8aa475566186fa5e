#ifndef CORVANE_HOST_COREFOUNDATION_DESCRIPTION_H_
#define CORVANE_HOST_COREFOUNDATION_DESCRIPTION_H_

#include <string>
#include <string_view>

#include "host/corefoundation/object.h"

namespace cf {

void appendAscii(std::u16string& out, std::string_view text);
/// Appends "0x" and lower-case hexadecimal digits.
void appendAddress(std::u16string& out, const void* address);
/// Appends the first part of a description: "<CFData 0x...>{".
void appendHead(std::u16string& out, const Object& object);

/// Appends a key, value or item of a collection: what `copyDescription` returns when the collection
/// has its own, otherwise the object's text, or the address of what is not an object. `layout` is
/// that of the collection.
void appendElement(std::u16string& out, const void* element,
                   CFStringRef (*copyDescription)(const void*), Layout layout);

/// Appends a line feed and the indentation of an entry at depth `depth`.
void appendLine(std::u16string& out, int depth);

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_DESCRIPTION_H_
