#include "syscfg/area_format.h"

#include <algorithm>
#include <array>

namespace corvane::area {
namespace {

template <typename Words>
using WordArray = std::array<uint32_t, sizeof(Words) / sizeof(uint32_t)>;

constexpr HeaderCheck kHeaderChecks[] = {
    {"magic is 0x53436667", [](const Header& header, size_t) { return header.magic == kMagic; }},
    {"table_end is inside the image",
     [](const Header& header, size_t size) { return header.table_end <= size; }},
    {"area_size is inside the image",
     [](const Header& header, size_t size) { return header.area_size <= size; }},
    {"table_end is inside the area",
     [](const Header& header, size_t) { return header.table_end <= header.area_size; }},
    {"reserved is 0", [](const Header& header, size_t) { return header.reserved == 0; }},
};

}  // namespace

template <typename Words>
Words load(const uint8_t* at) {
  WordArray<Words> words;
  for (uint32_t& word : words) {
    word = loadWord(at);
    at += sizeof(word);
  }
  return std::bit_cast<Words>(words);
}
template Header load<Header>(const uint8_t*);
template IndirectEntry load<IndirectEntry>(const uint8_t*);

template <typename Words>
void store(uint8_t* at, const Words& fields) {
  for (const uint32_t word : std::bit_cast<WordArray<Words>>(fields)) {
    storeWord(at, word);
    at += sizeof(word);
  }
}
template void store<Header>(uint8_t*, const Header&);
template void store<IndirectEntry>(uint8_t*, const IndirectEntry&);

std::span<const HeaderCheck> headerChecks() { return kHeaderChecks; }

bool isHeaderSound(const uint8_t* image, size_t size) {
  if (size < kHeaderSize) return false;
  const auto header = load<Header>(image);
  return std::ranges::all_of(headerChecks(), [&header, size](const HeaderCheck& check) {
    return check.holds(header, size);
  });
}

size_t claimedCount(const uint8_t* image, size_t size) {
  return size < kHeaderSize ? 0 : loadWord(image + offsetof(Header, count));
}

ValueFault checkValue(size_t offset, size_t length, size_t tableEnd, size_t size) {
  if (offset < tableEnd) return ValueFault::kInsideTable;
  if (!isInImage(offset, length, size) || roundUp(length) > size - offset) {
    return ValueFault::kOutsideImage;
  }
  return ValueFault::kNone;
}

size_t freeEnd(const uint8_t* image, size_t count) {
  size_t end = loadWord(image + offsetof(Header, area_size)) & ~size_t{3};
  for (size_t index = 0; index < count; ++index) {
    const uint8_t* entry = image + entryOffset(index);
    if (!isIndirect(entry)) continue;
    const size_t offset = loadWord(entry + offsetof(IndirectEntry, offset));
    if (offset >= entryOffset(count)) end = std::min(end, offset);
  }
  return end;
}

}  // namespace corvane::area
