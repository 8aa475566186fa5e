#ifndef CORVANE_HOST_COREFOUNDATION_DATA_H_
#define CORVANE_HOST_COREFOUNDATION_DATA_H_

#include <CoreFoundation/CFData.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "host/corefoundation/object.h"

/// Keeps bytes in the object's own allocation, in a buffer from `malloc`, or in memory that its
/// owner lends.
struct __CFData final : cf::Object {
 public:
  enum class Owner : uint8_t { kObject, kBuffer, kLender };

  /// Returns an object with a copy of `bytes` in its own allocation.
  static __CFData* create(std::span<const uint8_t> bytes);
  /// Keeps the bytes where they are. A buffer is freed with the object.
  __CFData(uint8_t* bytes, size_t length, Owner owner);
  ~__CFData() override;

  // Copied contents lie after the object, so that its size is not that of its type.
  static void* operator new(size_t size) { return ::operator new(size); }
  static void* operator new(size_t, void* memory) { return memory; }
  static void operator delete(void* object) { ::operator delete(object); }

  cf::Type type() const override { return cf::Type::kData; }
  const char* typeName() const override { return "CFData"; }
  bool equals(const Object& other) const override;
  CFHashCode hash() const override;
  void appendText(std::u16string& out, cf::Layout) const override;

  std::span<const uint8_t> bytes() const { return {_bytes, _length}; }
  std::span<uint8_t> bytes() { return {_bytes, _length}; }
  void append(std::span<const uint8_t> bytes);
  void setLength(size_t length);

 private:
  void reserve(size_t capacity);

  uint8_t* _bytes;
  size_t _length;
  size_t _capacity;
  Owner _owner;
};

#endif  // CORVANE_HOST_COREFOUNDATION_DATA_H_
