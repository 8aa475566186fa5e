#include "host/corefoundation/array.h"

#include <algorithm>
#include <string>

#include "host/corefoundation/callbacks.h"
#include "host/corefoundation/description.h"

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, cf::retainValue, cf::releaseValue,
                                                CFCopyDescription, CFEqual};

__CFArray::__CFArray(const CFArrayCallBacks* callBacks)
    : _callBacks(cf::interned(callBacks != nullptr ? *callBacks : CFArrayCallBacks{})) {}

__CFArray::~__CFArray() {
  for (const void* value : _values) cf::release(*_callBacks, value);
}

bool __CFArray::equals(const Object& other) const {
  const auto& array = static_cast<const __CFArray&>(other);
  if (_callBacks->equal != array._callBacks->equal) return false;
  return std::ranges::equal(_values, array._values, [this](const void* value1, const void* value2) {
    return cf::equal(*_callBacks, value1, value2);
  });
}

void __CFArray::appendText(std::u16string& out, cf::Layout layout) const {
  if (layout.lines) {
    cf::appendHead(out, *this);
    cf::appendAscii(out, "count = " + std::to_string(_values.size()));
    for (const void* value : _values) {
      cf::appendLine(out, layout.depth + 1);
      cf::appendElement(out, value, _callBacks->copyDescription, layout);
    }
    cf::appendLine(out, layout.depth);
    out += u'}';
    return;
  }

  out += u'(';
  for (size_t index = 0; index < _values.size(); ++index) {
    if (index > 0) out += u", ";
    cf::appendElement(out, _values[index], _callBacks->copyDescription, layout);
  }
  out += u')';
}

void __CFArray::append(const void* value) { _values.push_back(cf::retained(*_callBacks, value)); }

CFTypeID CFArrayGetTypeID() { return static_cast<CFTypeID>(cf::Type::kArray); }

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks* callBacks) {
  return new __CFArray(callBacks);
}

CFIndex CFArrayGetCount(CFArrayRef array) { return static_cast<CFIndex>(array->values().size()); }

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  if (index < 0 || index >= CFArrayGetCount(array)) {
    cf::endProgram("CFArrayGetValueAtIndex", "the index lies outside the array");
  }
  return array->values()[static_cast<size_t>(index)];
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) { array->append(value); }
