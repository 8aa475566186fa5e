#ifndef CORVANE_HOST_COREFOUNDATION_COLLECTIONS_H_
#define CORVANE_HOST_COREFOUNDATION_COLLECTIONS_H_

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>

#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "host/corefoundation/object.h"

struct __CFArray final : cf::Object {
 public:
  /// Makes an empty array. With null `callBacks` its values are bare pointers.
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
  /// Returns the values of `range`. A range that does not lie within the array ends the program.
  std::span<const void* const> values(CFRange range, const char* function) const;
  /// Returns whether the two values are equal by the array's callback.
  bool areEqual(const void* value1, const void* value2) const;

 private:
  const CFArrayCallBacks* _callBacks;
  std::vector<const void*> _values;
};

/// Keeps its entries in the order of their insertion, and an index by hash once they are many.
struct __CFDictionary final : cf::Object {
 public:
  struct Entry {
    const void* key;
    const void* value;
  };
  struct CallBacks {
    CFDictionaryKeyCallBacks key;
    CFDictionaryValueCallBacks value;
  };

  /// Makes an empty dictionary. With null callbacks its keys or values are bare pointers.
  __CFDictionary(const CFDictionaryKeyCallBacks* keyCallBacks,
                 const CFDictionaryValueCallBacks* valueCallBacks);
  ~__CFDictionary() override;

  cf::Type type() const override { return cf::Type::kDictionary; }
  const char* typeName() const override { return "CFDictionary"; }
  bool equals(const Object& other) const override;
  CFHashCode hash() const override { return _entries.size(); }
  void appendText(std::u16string& out, cf::Layout layout) const override;
  bool isCollection() const override { return true; }

  const CallBacks& callBacks() const { return *_callBacks; }
  std::span<const Entry> entries() const { return _entries; }
  /// Returns the entry of `key`, or null when there is none.
  const Entry* find(const void* key) const;
  void reserve(CFIndex capacity);
  /// Adds the pair, unless the key is there already.
  void add(const void* key, const void* value);
  /// Adds the pair, or replaces the value of a key that is there.
  void set(const void* key, const void* value);
  void remove(const void* key);

 private:
  using Index = std::unordered_multimap<CFHashCode, size_t>;

  size_t position(const void* key) const;
  CFHashCode keyHash(const void* key) const;
  void append(const void* key, const void* value);
  void dropFromIndex(const void* key, size_t position);

  const CallBacks* _callBacks;
  std::vector<Entry> _entries;
  std::unique_ptr<Index> _index;
};

#endif  // CORVANE_HOST_COREFOUNDATION_COLLECTIONS_H_
