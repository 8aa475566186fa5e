#ifndef CORVANE_HOST_COREFOUNDATION_OBJECT_H_
#define CORVANE_HOST_COREFOUNDATION_OBJECT_H_

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace cf {

enum class Type : CFTypeID {
  kAllocator = 1,
  kArray,
  kBoolean,
  kData,
  kDate,
  kDictionary,
  kNull,
  kNumber,
  kString
};

/// Says how an object is written as text.
struct Layout {
  /// Collections take several lines, one per entry, rather than one line in all.
  bool lines = false;
  /// The number of collections around the object.
  int depth = 0;
};

/// The counted base of all objects, at which every CFTypeRef points.
class Object {
 public:
  enum class Lifetime { kCounted, kImmortal };

  constexpr explicit Object(Lifetime lifetime = Lifetime::kCounted)
      : _count(lifetime == Lifetime::kImmortal ? kImmortal : 1) {}
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  virtual Type type() const = 0;
  /// Returns the type's name as descriptions show it.
  virtual const char* typeName() const = 0;
  /// Returns whether the contents equal those of `other`, which is of the same type.
  virtual bool equals(const Object& other) const { return this == &other; }
  virtual CFHashCode hash() const { return reinterpret_cast<CFHashCode>(this); }
  virtual void appendText(std::u16string& out, Layout layout) const = 0;
  /// Returns whether the object describes itself in full when it is written on several lines.
  virtual bool isCollection() const { return false; }

  void retain() const;
  /// Gives a reference back. The last one destroys the object.
  void release() const;
  /// Returns how many references are held: the largest CFIndex for an immortal object.
  CFIndex retainCount() const;

 protected:
  virtual constexpr ~Object() {
    // A volatile store: the compiler may not drop it although the object ends here.
    *const_cast<volatile uint32_t*>(&_magic) = 0;
  }

 private:
  friend const Object* liveObject(const void* pointer);

  static constexpr uint32_t kMagic = 0xC0FE0B1E;
  static constexpr uint32_t kImmortal = UINT32_MAX;

  uint32_t _magic = kMagic;
  mutable std::atomic<uint32_t> _count;
};

/// Stores a constant object, which is initialised before any code runs and never destroyed.
template <typename T>
union Constant {
  template <typename... Arguments>
  constexpr explicit Constant(Arguments... arguments)
      : object(Object::Lifetime::kImmortal, arguments...) {}
  constexpr ~Constant() {}
  T object;
};

inline const Object* asObject(CFTypeRef reference) { return static_cast<const Object*>(reference); }

/// Returns the object at `pointer` when there provably is a live one, otherwise null. `pointer` may
/// have any value, even one that is not an address.
const Object* liveObject(const void* pointer);

bool equalObjects(const Object& object1, const Object& object2);

/// Retain and release a value: the callbacks of collections of objects.
const void* retainValue(CFAllocatorRef allocator, const void* value);
void releaseValue(CFAllocatorRef allocator, const void* value);

/// Ends the program when `range` does not lie within the `size` elements of the object that
/// `function` was called with.
void requireRange(CFRange range, size_t size, const char* function);

/// Reports on standard error what was wrong in the call of `function`, and aborts.
[[noreturn]] void endProgram(const char* function, const char* reason);

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_OBJECT_H_
