#ifndef CORVANE_HOST_COREFOUNDATION_ARRAY_H_
#define CORVANE_HOST_COREFOUNDATION_ARRAY_H_

#include <CoreFoundation/CFArray.h>

#include <span>
#include <vector>

#include "host/corefoundation/object.h"

struct __CFArray final : cf::Object {
 public:
  /// `callBacks` may be null: bare pointers.
  explicit __CFArray(const CFArrayCallBacks* callBacks);
  ~__CFArray() override;

  cf::Type type() const override { return cf::Type::kArray; }
  const char* typeName() const override { return "CFArray"; }
  bool equals(const Object& other) const override;
  CFHashCode hash() const override { return _values.size(); }
  void appendText(std::u16string& out, cf::Layout layout) const override;
  bool isCollection() const override { return true; }

  std::span<const void* const> values() const { return _values; }
  void append(const void* value);

 private:
  const CFArrayCallBacks* _callBacks;
  std::vector<const void*> _values;
};

#endif  // CORVANE_HOST_COREFOUNDATION_ARRAY_H_
