#ifndef CORVANE_HOST_COREFOUNDATION_DATE_H_
#define CORVANE_HOST_COREFOUNDATION_DATE_H_

#include <CoreFoundation/CFDate.h>

#include <functional>

#include "host/corefoundation/object.h"

struct __CFDate final : cf::Object {
 public:
  explicit __CFDate(CFAbsoluteTime at) : _at(at) {}

  cf::Type type() const override { return cf::Type::kDate; }
  const char* typeName() const override { return "CFDate"; }
  bool equals(const Object& other) const override {
    return _at == static_cast<const __CFDate&>(other)._at;
  }
  CFHashCode hash() const override { return std::hash<CFAbsoluteTime>()(_at); }
  /// Date and time to the second, in UTC.
  void appendText(std::u16string& out, cf::Layout) const override;

  CFAbsoluteTime at() const { return _at; }

 private:
  CFAbsoluteTime _at;
};

namespace cf {

/// Seconds from 1970-01-01 to 2001-01-01.
inline constexpr int64_t kDateEpoch = 978307200;

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_DATE_H_
