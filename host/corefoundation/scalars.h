#ifndef CORVANE_HOST_COREFOUNDATION_SCALARS_H_
#define CORVANE_HOST_COREFOUNDATION_SCALARS_H_

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFNumber.h>

#include <cstdint>
#include <functional>

#include "host/corefoundation/object.h"

struct __CFBoolean final : cf::Object {
 public:
  constexpr __CFBoolean(Lifetime lifetime, bool value) : Object(lifetime), _value(value) {}

  cf::Type type() const override { return cf::Type::kBoolean; }
  const char* typeName() const override { return "CFBoolean"; }
  CFHashCode hash() const override { return _value; }
  void appendText(std::u16string& out, cf::Layout) const override {
    out += _value ? u"true" : u"false";
  }

  bool value() const { return _value; }

 private:
  bool _value;
};

/// Keeps a number in the form in which it was given.
struct __CFNumber final : cf::Object {
 public:
  /// The public stored types with their own values, and a form for integers above the signed range.
  enum class Form : uint8_t {
    kSInt8 = kCFNumberSInt8Type,
    kSInt16 = kCFNumberSInt16Type,
    kSInt32 = kCFNumberSInt32Type,
    kSInt64 = kCFNumberSInt64Type,
    kFloat32 = kCFNumberFloat32Type,
    kFloat64 = kCFNumberFloat64Type,
    kUInt64
  };

  explicit __CFNumber(int64_t value, Form form = Form::kSInt64) : _integer(value), _form(form) {}
  explicit __CFNumber(double value, Form form = Form::kFloat64) : _real(value), _form(form) {}
  /// Keeps an integer of the signed range or above it.
  explicit __CFNumber(uint64_t value)
      : _integer(static_cast<int64_t>(value)),
        _form(_integer < 0 ? Form::kUInt64 : Form::kSInt64) {}

  cf::Type type() const override { return cf::Type::kNumber; }
  const char* typeName() const override { return "CFNumber"; }
  bool equals(const Object& other) const override;
  CFHashCode hash() const override;
  void appendText(std::u16string& out, cf::Layout) const override;

  Form form() const { return _form; }
  bool isReal() const { return _form == Form::kFloat32 || _form == Form::kFloat64; }
  double real() const { return _real; }
  /// Returns the integer. Of a number above the signed range, returns its bits.
  int64_t integer() const { return _integer; }

 private:
  union {
    int64_t _integer;
    double _real;
  };
  Form _form;
};

struct __CFDate final : cf::Object {
 public:
  explicit __CFDate(CFAbsoluteTime at) : _at(at) {}

  cf::Type type() const override { return cf::Type::kDate; }
  const char* typeName() const override { return "CFDate"; }
  bool equals(const Object& other) const override {
    return _at == static_cast<const __CFDate&>(other)._at;
  }
  CFHashCode hash() const override { return std::hash<CFAbsoluteTime>()(_at); }
  /// Appends date and time to the second, in UTC.
  void appendText(std::u16string& out, cf::Layout) const override;

  CFAbsoluteTime at() const { return _at; }

 private:
  CFAbsoluteTime _at;
};

namespace cf {

/// The start of 2001-01-01 in seconds since 1970-01-01.
inline constexpr int64_t kDateEpoch = 978307200;

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_SCALARS_H_
