#include "host/corefoundation/array.h"

#include <algorithm>
#include <string>

#include "host/corefoundation/callbacks.h"
#include "host/corefoundation/description.h"
#include "host/faults.h"

using corvane::host::appendAscii;
using corvane::host::appendElement;
using corvane::host::Call;
using corvane::host::injectedFault;
using corvane::host::Layout;

const CFArrayCallBacks kCFTypeArrayCallBacks = {
    0, corvane::host::retainValue, corvane::host::releaseValue, CFCopyDescription, CFEqual};

__CFArray::__CFArray(const CFArrayCallBacks* callBacks)
    : _callBacks(corvane::host::interned(callBacks != nullptr ? *callBacks : CFArrayCallBacks{})) {}

__CFArray::~__CFArray() {
  for (const void* value : _values) corvane::host::release(*_callBacks, value);
}

bool __CFArray::equals(const Object& other) const {
  const auto& array = static_cast<const __CFArray&>(other);
  if (_callBacks->equal != array._callBacks->equal) return false;
  return std::ranges::equal(_values, array._values, [this](const void* value1, const void* value2) {
    return corvane::host::equal(*_callBacks, value1, value2);
  });
}

void __CFArray::appendText(std::u16string& out, Layout layout) const {
  if (layout.lines) {
    corvane::host::appendHead(out, *this);
    appendAscii(out, "count = " + std::to_string(_values.size()));
    for (const void* value : _values) {
      corvane::host::appendLine(out, layout.depth + 1);
      appendElement(out, value, _callBacks->copyDescription, layout);
    }
    corvane::host::appendLine(out, layout.depth);
    out += u'}';
    return;
  }

  out += u'(';
  for (size_t index = 0; index < _values.size(); ++index) {
    if (index > 0) out += u", ";
    appendElement(out, _values[index], _callBacks->copyDescription, layout);
  }
  out += u')';
}

void __CFArray::append(const void* value) {
  _values.push_back(corvane::host::retained(*_callBacks, value));
}

CFTypeID CFArrayGetTypeID() { return static_cast<CFTypeID>(corvane::host::Type::kArray); }

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) {
  auto* array = new __CFArray(callBacks);
  for (CFIndex index = 0; index < count; ++index) array->append(values[index]);
  return array;
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks* callBacks) {
  if (injectedFault(Call::CFArrayCreateMutable)) return nullptr;
  return new __CFArray(callBacks);
}

CFIndex CFArrayGetCount(CFArrayRef array) { return static_cast<CFIndex>(array->values().size()); }

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  if (index < 0 || index >= CFArrayGetCount(array)) {
    corvane::host::endProgram("CFArrayGetValueAtIndex", "the index lies outside the array");
  }
  return array->values()[static_cast<size_t>(index)];
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) { array->append(value); }
