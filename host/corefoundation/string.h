#ifndef CORVANE_HOST_COREFOUNDATION_STRING_H_
#define CORVANE_HOST_COREFOUNDATION_STRING_H_

#include <CoreFoundation/CFString.h>

#include <cstdarg>
#include <string>
#include <string_view>
#include <utility>

#include "host/corefoundation/object.h"

/// Keeps a text as UTF-16 units, which need not be well-formed.
struct __CFString final : cf::Object {
 public:
  explicit __CFString(std::u16string text) : _text(std::move(text)) {}
  __CFString(Lifetime lifetime, std::u16string text) : Object(lifetime), _text(std::move(text)) {}

  cf::Type type() const override { return cf::Type::kString; }
  const char* typeName() const override { return "CFString"; }
  bool equals(const Object& other) const override;
  CFHashCode hash() const override;
  void appendText(std::u16string& out, cf::Layout) const override { out += _text; }

  const std::u16string& text() const { return _text; }
  std::u16string& text() { return _text; }
  /// Returns the units of `range`. A range that does not lie within the text ends the program.
  std::u16string_view units(CFRange range, const char* function) const;

 private:
  std::u16string _text;
};

namespace cf {

/// Returns the text of `format` with its conversions replaced by `arguments`, of which a copy is
/// walked. What is not a conversion that CFStringCreateWithFormat knows stays in the text as it is.
std::u16string formatted(std::u16string_view format, va_list arguments);

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_STRING_H_
