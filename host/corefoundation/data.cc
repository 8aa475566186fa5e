#include "host/corefoundation/data.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>

namespace {

std::string_view asText(std::span<const uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

__CFData* __CFData::create(std::span<const uint8_t> bytes) {
  void* const memory = ::operator new(sizeof(__CFData) + bytes.size());
  uint8_t* const contents = static_cast<uint8_t*>(memory) + sizeof(__CFData);
  std::copy(bytes.begin(), bytes.end(), contents);
  return new (memory) __CFData(contents, bytes.size(), Owner::kObject);
}

__CFData::__CFData(uint8_t* bytes, size_t length, Owner owner)
    : _bytes(bytes), _length(length), _capacity(length), _owner(owner) {}

__CFData::~__CFData() {
  if (_owner == Owner::kBuffer) std::free(_bytes);
}

bool __CFData::equals(const Object& other) const {
  return std::ranges::equal(bytes(), static_cast<const __CFData&>(other).bytes());
}

CFHashCode __CFData::hash() const { return std::hash<std::string_view>()(asText(bytes())); }

void __CFData::appendText(std::u16string& out, cf::Layout) const {
  static constexpr std::u16string_view kDigits = u"0123456789abcdef";
  out += u'<';
  for (const uint8_t byte : bytes()) {
    out += kDigits[byte >> 4];
    out += kDigits[byte & 0xF];
  }
  out += u'>';
}

void __CFData::reserve(size_t capacity) {
  if (capacity <= _capacity) return;
  capacity = std::max(capacity, 2 * _capacity);
  void* const grown = std::realloc(_owner == Owner::kBuffer ? _bytes : nullptr, capacity);
  if (grown == nullptr) throw std::bad_alloc();
  if (_owner != Owner::kBuffer) std::copy_n(_bytes, _length, static_cast<uint8_t*>(grown));
  _bytes = static_cast<uint8_t*>(grown);
  _capacity = capacity;
  _owner = Owner::kBuffer;
}

void __CFData::append(std::span<const uint8_t> bytes) {
  reserve(_length + bytes.size());
  // By pointers: g++ copies what a span's iterators give byte by byte at -O2.
  std::copy_n(bytes.data(), bytes.size(), _bytes + _length);
  _length += bytes.size();
}

void __CFData::setLength(size_t length) {
  reserve(length);
  if (length > _length) std::fill(_bytes + _length, _bytes + length, uint8_t{0});
  _length = length;
}

CFTypeID CFDataGetTypeID() { return static_cast<CFTypeID>(cf::Type::kData); }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
  if (length < 0) return nullptr;
  return __CFData::create({bytes, static_cast<size_t>(length)});
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef bytesDeallocator) {
  if (length < 0) return nullptr;
  const auto owner =
      bytesDeallocator == kCFAllocatorNull ? __CFData::Owner::kLender : __CFData::Owner::kBuffer;
  return new __CFData(const_cast<UInt8*>(bytes), static_cast<size_t>(length), owner);
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex) {
  return new __CFData(nullptr, 0, __CFData::Owner::kBuffer);
}

CFIndex CFDataGetLength(CFDataRef data) { return static_cast<CFIndex>(data->bytes().size()); }

const UInt8* CFDataGetBytePtr(CFDataRef data) { return data->bytes().data(); }

void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer) {
  cf::requireRange(range, data->bytes().size(), "CFDataGetBytes");
  std::copy_n(data->bytes().data() + range.location, range.length, buffer);
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef data) { return data->bytes().data(); }

void CFDataAppendBytes(CFMutableDataRef data, const UInt8* bytes, CFIndex length) {
  if (length < 0) cf::endProgram("CFDataAppendBytes", "the length is negative");
  data->append({bytes, static_cast<size_t>(length)});
}

void CFDataSetLength(CFMutableDataRef data, CFIndex length) {
  if (length < 0) cf::endProgram("CFDataSetLength", "the length is negative");
  data->setLength(static_cast<size_t>(length));
}
