#include "host/corefoundation/object.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "host/corefoundation/description.h"
#include "host/linux/system_calls.h"

struct __CFAllocator final : cf::Object {
  using Object::Object;
  cf::Type type() const override { return cf::Type::kAllocator; }
  const char* typeName() const override { return "CFAllocator"; }
  void appendText(std::u16string& out, cf::Layout) const override { cf::appendAddress(out, this); }
};

struct __CFNull final : cf::Object {
  using Object::Object;
  cf::Type type() const override { return cf::Type::kNull; }
  const char* typeName() const override { return "CFNull"; }
  void appendText(std::u16string& out, cf::Layout) const override { out += u"<null>"; }
};

namespace {

constinit cf::Constant<__CFNull> gNullObject;
constinit cf::Constant<__CFAllocator> gMalloc;
constinit cf::Constant<__CFAllocator> gNull;

const cf::Object& required(CFTypeRef object, const char* function) {
  if (object == nullptr) cf::endProgram(function, "the object is null");
  return *cf::asObject(object);
}

}  // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorMalloc = &gMalloc.object;
const CFAllocatorRef kCFAllocatorNull = &gNull.object;
const CFNullRef kCFNull = &gNullObject.object;

CFTypeID CFNullGetTypeID() { return static_cast<CFTypeID>(cf::Type::kNull); }

namespace cf {

void Object::retain() const {
  if (_count.load(std::memory_order_relaxed) == kImmortal) return;
  _count.fetch_add(1, std::memory_order_relaxed);
}

void Object::release() const {
  if (_count.load(std::memory_order_relaxed) == kImmortal) return;
  if (_count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

CFIndex Object::retainCount() const {
  const uint32_t count = _count.load(std::memory_order_relaxed);
  return count == kImmortal ? std::numeric_limits<CFIndex>::max() : static_cast<CFIndex>(count);
}

const Object* liveObject(const void* pointer) {
  if (pointer == nullptr || reinterpret_cast<uintptr_t>(pointer) % alignof(Object) != 0) {
    return nullptr;
  }

  std::array<std::byte, sizeof(Object)> image;
  if (!corvane::host::copyMemory(pointer, image)) return nullptr;

  const Object& known = gNull.object;
  const auto magicOffset = reinterpret_cast<const std::byte*>(&known._magic) -
                           reinterpret_cast<const std::byte*>(&known);
  uint32_t magic = 0;
  std::memcpy(&magic, image.data() + magicOffset, sizeof(magic));
  return magic == Object::kMagic ? asObject(pointer) : nullptr;
}

bool equalObjects(const Object& object1, const Object& object2) {
  if (&object1 == &object2) return true;
  return object1.type() == object2.type() && object1.equals(object2);
}

const void* retainValue(CFAllocatorRef, const void* value) { return CFRetain(value); }
void releaseValue(CFAllocatorRef, const void* value) { CFRelease(value); }

void requireRange(CFRange range, size_t size, const char* function) {
  const auto count = static_cast<CFIndex>(size);
  if (range.location < 0 || range.length < 0 || range.location > count ||
      range.length > count - range.location) {
    endProgram(function, "the range does not lie within the object");
  }
}

void endProgram(const char* function, const char* reason) {
  std::fprintf(stderr, "%s: %s\n", function, reason);
  std::abort();
}

}  // namespace cf

CFTypeID CFGetTypeID(CFTypeRef object) {
  return static_cast<CFTypeID>(required(object, "CFGetTypeID").type());
}

CFTypeRef CFRetain(CFTypeRef object) {
  required(object, "CFRetain").retain();
  return object;
}

void CFRelease(CFTypeRef object) { required(object, "CFRelease").release(); }

CFIndex CFGetRetainCount(CFTypeRef object) {
  return required(object, "CFGetRetainCount").retainCount();
}

Boolean CFEqual(CFTypeRef object1, CFTypeRef object2) {
  return cf::equalObjects(required(object1, "CFEqual"), required(object2, "CFEqual"));
}

CFHashCode CFHash(CFTypeRef object) { return required(object, "CFHash").hash(); }
