#ifndef CORVANE_HOST_COREFOUNDATION_STRING_FORMAT_H_
#define CORVANE_HOST_COREFOUNDATION_STRING_FORMAT_H_

#include <cstdarg>
#include <string>
#include <string_view>

namespace cf {

/// The text of `format` with its conversions replaced by `arguments`, of which a copy is walked.
/// What is no conversion that CFStringCreateWithFormat knows, stands in the text as it is.
std::u16string formatted(std::u16string_view format, va_list arguments);

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_STRING_FORMAT_H_
