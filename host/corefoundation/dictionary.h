#ifndef CORVANE_HOST_COREFOUNDATION_DICTIONARY_H_
#define CORVANE_HOST_COREFOUNDATION_DICTIONARY_H_

#include <CoreFoundation/CFDictionary.h>

#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "host/corefoundation/object.h"

/// Entries in the order of their insertion; an index by hash joins them once they are many.
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

  /// Either pointer may be null: bare pointers.
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
  /// Null when the key is not there.
  const Entry* find(const void* key) const;
  void reserve(CFIndex capacity);
  /// Leaves a value that the key has already.
  void add(const void* key, const void* value);
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

#endif  // CORVANE_HOST_COREFOUNDATION_DICTIONARY_H_
