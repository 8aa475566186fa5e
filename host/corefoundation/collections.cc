#include "host/corefoundation/collections.h"

#include <algorithm>
#include <cstring>
#include <forward_list>
#include <functional>
#include <mutex>
#include <string>
#include <type_traits>

#include "host/corefoundation/description.h"
#include "platform/cf_ref.h"
#include "platform/fork_safe_lock.h"

namespace {

/// Room for a dictionary's first entries. Most dictionaries never need more.
constexpr size_t kUsualCount = 5;
/// Up to this count, walking the entries is as fast as using an index.
constexpr size_t kCountWithoutIndex = 8;

/// Returns a copy of `callBacks` that lives as long as the process, the same one for equal sets. A
/// program has a handful of sets and any number of collections, each of which only keeps a pointer.
template <typename CallBacks>
const CallBacks* interned(const CallBacks& callBacks) {
  static_assert(std::has_unique_object_representations_v<CallBacks>);
  static auto& known = *new std::forward_list<CallBacks>;
  const std::lock_guard lock(corvane::ForkSafeLock<CallBacks>::get());
  for (const CallBacks& candidate : known) {
    if (std::memcmp(&candidate, &callBacks, sizeof(CallBacks)) == 0) return &candidate;
  }
  return &known.emplace_front(callBacks);
}

/// Returns the value that a collection with these callbacks keeps.
template <typename CallBacks>
const void* retained(const CallBacks& callBacks, const void* value) {
  return callBacks.retain != nullptr ? callBacks.retain(kCFAllocatorDefault, value) : value;
}

template <typename CallBacks>
void discard(const CallBacks& callBacks, const void* value) {
  if (callBacks.release != nullptr) callBacks.release(kCFAllocatorDefault, value);
}

template <typename CallBacks>
bool equal(const CallBacks& callBacks, const void* value1, const void* value2) {
  return value1 == value2 || (callBacks.equal != nullptr && callBacks.equal(value1, value2));
}

}  // namespace

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, cf::retainValue, cf::releaseValue,
                                                CFCopyDescription, CFEqual};

__CFArray::__CFArray(const CFArrayCallBacks* callBacks)
    : _callBacks(interned(callBacks != nullptr ? *callBacks : CFArrayCallBacks{})) {}

__CFArray::~__CFArray() {
  for (const void* value : _values) discard(*_callBacks, value);
}

bool __CFArray::equals(const Object& other) const {
  const auto& array = static_cast<const __CFArray&>(other);
  if (_callBacks->equal != array._callBacks->equal) return false;
  return std::ranges::equal(_values, array._values, [this](const void* value1, const void* value2) {
    return areEqual(value1, value2);
  });
}

bool __CFArray::areEqual(const void* value1, const void* value2) const {
  return equal(*_callBacks, value1, value2);
}

std::span<const void* const> __CFArray::values(CFRange range, const char* function) const {
  cf::requireRange(range, _values.size(), function);
  return values().subspan(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
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

void __CFArray::append(const void* value) {
  // Retained only when there is a place for it.
  _values.push_back(nullptr);
  _values.back() = retained(*_callBacks, value);
}

CFTypeID CFArrayGetTypeID() { return static_cast<CFTypeID>(cf::Type::kArray); }

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks* callBacks) {
  return new __CFArray(callBacks);
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) {
  corvane::CFRef<CFMutableArrayRef> array(new __CFArray(callBacks));
  for (CFIndex i = 0; i < count; ++i) array.get()->append(values[i]);
  return array.release();
}

CFIndex CFArrayGetCount(CFArrayRef array) { return static_cast<CFIndex>(array->values().size()); }

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  if (index < 0 || index >= CFArrayGetCount(array)) {
    cf::endProgram("CFArrayGetValueAtIndex", "the index lies outside the array");
  }
  return array->values()[static_cast<size_t>(index)];
}

Boolean CFArrayContainsValue(CFArrayRef array, CFRange range, const void* value) {
  return std::ranges::any_of(array->values(range, "CFArrayContainsValue"),
                             [&](const void* held) { return array->areEqual(held, value); });
}

void CFArrayApplyFunction(CFArrayRef array, CFRange range, CFArrayApplierFunction applier,
                          void* context) {
  for (const void* value : array->values(range, "CFArrayApplyFunction")) applier(value, context);
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) { array->append(value); }

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0, cf::retainValue, cf::releaseValue, CFCopyDescription, CFEqual, CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, cf::retainValue, cf::releaseValue, CFCopyDescription, CFEqual};

__CFDictionary::__CFDictionary(const CFDictionaryKeyCallBacks* keyCallBacks,
                               const CFDictionaryValueCallBacks* valueCallBacks)
    : _callBacks(interned(
          CallBacks{keyCallBacks != nullptr ? *keyCallBacks : CFDictionaryKeyCallBacks{},
                    valueCallBacks != nullptr ? *valueCallBacks : CFDictionaryValueCallBacks{}})) {}

__CFDictionary::~__CFDictionary() {
  for (const Entry& entry : _entries) {
    discard(_callBacks->key, entry.key);
    discard(_callBacks->value, entry.value);
  }
}

bool __CFDictionary::equals(const Object& other) const {
  const auto& dictionary = static_cast<const __CFDictionary&>(other);
  if (_entries.size() != dictionary._entries.size()) return false;
  if (_callBacks->key.equal != dictionary._callBacks->key.equal) return false;
  if (_callBacks->value.equal != dictionary._callBacks->value.equal) return false;
  return std::ranges::all_of(_entries, [&](const Entry& entry) {
    const Entry* same = dictionary.find(entry.key);
    return same != nullptr && equal(_callBacks->value, entry.value, same->value);
  });
}

void __CFDictionary::appendText(std::u16string& out, cf::Layout layout) const {
  if (layout.lines) {
    cf::appendHead(out, *this);
    cf::appendAscii(out, "count = " + std::to_string(_entries.size()));
  } else {
    out += u'{';
  }
  for (const Entry& entry : _entries) {
    if (layout.lines) cf::appendLine(out, layout.depth + 1);
    cf::appendElement(out, entry.key, _callBacks->key.copyDescription, layout);
    out += u" = ";
    cf::appendElement(out, entry.value, _callBacks->value.copyDescription, layout);
    if (!layout.lines) out += u"; ";
  }
  if (layout.lines) cf::appendLine(out, layout.depth);
  out += u'}';
}

CFHashCode __CFDictionary::keyHash(const void* key) const {
  return _callBacks->key.hash != nullptr ? _callBacks->key.hash(key)
                                         : std::hash<const void*>()(key);
}

size_t __CFDictionary::position(const void* key) const {
  if (_index == nullptr) {
    const auto found = std::ranges::find_if(
        _entries, [&](const Entry& entry) { return equal(_callBacks->key, entry.key, key); });
    return static_cast<size_t>(found - _entries.begin());
  }
  for (auto [at, end] = _index->equal_range(keyHash(key)); at != end; ++at) {
    if (equal(_callBacks->key, _entries[at->second].key, key)) return at->second;
  }
  return _entries.size();
}

const __CFDictionary::Entry* __CFDictionary::find(const void* key) const {
  const size_t at = position(key);
  return at < _entries.size() ? &_entries[at] : nullptr;
}

void __CFDictionary::reserve(CFIndex capacity) {
  constexpr CFIndex kMaxReserved = 4096;
  if (capacity > 0) _entries.reserve(static_cast<size_t>(std::min(capacity, kMaxReserved)));
}

void __CFDictionary::append(const void* key, const void* value) {
  if (_entries.capacity() == 0) _entries.reserve(kUsualCount);
  _entries.push_back({});
  _entries.back() = {retained(_callBacks->key, key), retained(_callBacks->value, value)};

  // An index finds equal keys at different addresses only if the callbacks hash them alike.
  const bool canIndex = _callBacks->key.hash != nullptr || _callBacks->key.equal == nullptr;
  if (!canIndex) return;
  if (_index == nullptr) {
    if (_entries.size() <= kCountWithoutIndex) return;
    _index = std::make_unique<Index>();
  }
  for (size_t at = _index->size(); at < _entries.size(); ++at) {
    _index->emplace(keyHash(_entries[at].key), at);
  }
}

void __CFDictionary::add(const void* key, const void* value) {
  if (find(key) == nullptr) append(key, value);
}

void __CFDictionary::set(const void* key, const void* value) {
  const size_t at = position(key);
  if (at == _entries.size()) return append(key, value);
  const void* const old = _entries[at].value;
  _entries[at].value = retained(_callBacks->value, value);
  discard(_callBacks->value, old);
}

void __CFDictionary::remove(const void* key) {
  const size_t at = position(key);
  if (at == _entries.size()) return;
  const Entry removed = _entries[at];
  if (_index != nullptr) dropFromIndex(removed.key, at);
  _entries.erase(_entries.begin() + static_cast<ptrdiff_t>(at));
  discard(_callBacks->key, removed.key);
  discard(_callBacks->value, removed.value);
}

void __CFDictionary::dropFromIndex(const void* key, size_t position) {
  auto [at, end] = _index->equal_range(keyHash(key));
  _index->erase(std::find_if(at, end, [&](const auto& item) { return item.second == position; }));
  for (auto& item : *_index) {
    if (item.second > position) --item.second;
  }
}

CFTypeID CFDictionaryGetTypeID() { return static_cast<CFTypeID>(cf::Type::kDictionary); }

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
  corvane::CFRef<CFMutableDictionaryRef> dictionary(
      new __CFDictionary(keyCallBacks, valueCallBacks));
  for (CFIndex i = 0; i < count; ++i) dictionary.get()->add(keys[i], values[i]);
  return dictionary.release();
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
  corvane::CFRef<CFMutableDictionaryRef> dictionary(
      new __CFDictionary(keyCallBacks, valueCallBacks));
  dictionary.get()->reserve(capacity);
  return dictionary.release();
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex,
                                                     CFDictionaryRef dictionary) {
  const auto& callBacks = dictionary->callBacks();
  corvane::CFRef<CFMutableDictionaryRef> copy(new __CFDictionary(&callBacks.key, &callBacks.value));
  copy.get()->reserve(CFDictionaryGetCount(dictionary));
  for (const auto& [key, value] : dictionary->entries()) copy.get()->add(key, value);
  return copy.release();
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
  return static_cast<CFIndex>(dictionary->entries().size());
}

Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key) {
  return dictionary->find(key) != nullptr;
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const auto* entry = dictionary->find(key);
  return entry != nullptr ? entry->value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key,
                                      const void** value) {
  const auto* entry = dictionary->find(key);
  if (entry != nullptr && value != nullptr) *value = entry->value;
  return entry != nullptr;
}

void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction applier,
                               void* context) {
  for (const auto& [key, value] : dictionary->entries()) applier(key, value, context);
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values) {
  for (const auto& [key, value] : dictionary->entries()) {
    if (keys != nullptr) *keys++ = key;
    if (values != nullptr) *values++ = value;
  }
}

void CFDictionaryAddValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  dictionary->add(key, value);
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  dictionary->set(key, value);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key) {
  dictionary->remove(key);
}
