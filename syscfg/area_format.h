#ifndef CORVANE_SYSCFG_AREA_FORMAT_H_
#define CORVANE_SYSCFG_AREA_FORMAT_H_

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

/// The bytes of a key store's area: a header, a table of entries behind it, free space, and the
/// longer values packed downward from the area's end. Words are 32 bits, little-endian and of any
/// alignment; offsets count bytes from the start of the area. The bytes may be damaged in any way:
/// a function that takes an image's size reads nothing outside it.
namespace corvane::area {

inline constexpr uint32_t kMagic = 0x53436667;           // "SCfg"
inline constexpr uint32_t kIndirectMarker = 0x434E5442;  // "CNTB"
inline constexpr uint32_t kVersion = 0x00020001;
inline constexpr uint8_t kFreeByte = 0xFF;

struct Header {
  uint32_t magic;
  /// Offset of the first byte behind the entries; only the header checks look at it.
  uint32_t tableEnd;
  /// May be less than the size of the image.
  uint32_t areaSize;
  /// Written by formatting, never checked.
  uint32_t version;
  uint32_t reserved;
  uint32_t count;
};

/// An entry that holds its value itself. How long the value was is not recorded.
struct InlineEntry {
  uint32_t key;
  uint8_t value[16];
};

/// An entry whose value lies at `offset`, followed by padding to a whole word.
struct IndirectEntry {
  uint32_t marker;
  uint32_t key;
  uint32_t length;
  uint32_t offset;
  /// Never written.
  uint32_t spare;
};

inline constexpr size_t kHeaderSize = 24;
inline constexpr size_t kEntrySize = 20;
inline constexpr size_t kInlineRoom = sizeof(InlineEntry::value);
static_assert(sizeof(Header) == kHeaderSize && offsetof(Header, count) == 20);
static_assert(sizeof(InlineEntry) == kEntrySize && offsetof(InlineEntry, value) == 4);
static_assert(sizeof(IndirectEntry) == kEntrySize && offsetof(IndirectEntry, spare) == 16);

/// `word` between this machine's byte order and the area's.
inline uint32_t swapForArea(uint32_t word) {
  return std::endian::native == std::endian::little ? word : __builtin_bswap32(word);
}

inline uint32_t loadWord(const uint8_t* at) {
  uint32_t word;
  std::memcpy(&word, at, sizeof(word));
  return swapForArea(word);
}

inline void storeWord(uint8_t* at, uint32_t word) {
  word = swapForArea(word);
  std::memcpy(at, &word, sizeof(word));
}

/// A struct that consists of words only: `Header` or `IndirectEntry`.
template <typename Words>
Words load(const uint8_t* at) {
  std::array<uint32_t, sizeof(Words) / sizeof(uint32_t)> words;
  for (uint32_t& word : words) {
    word = loadWord(at);
    at += sizeof(word);
  }
  return std::bit_cast<Words>(words);
}

template <typename Words>
void store(uint8_t* at, const Words& fields) {
  for (const uint32_t word :
       std::bit_cast<std::array<uint32_t, sizeof(Words) / sizeof(uint32_t)>>(fields)) {
    storeWord(at, word);
    at += sizeof(word);
  }
}

/// `length` in whole words; below SIZE_MAX - 2.
inline constexpr size_t roundUp(size_t length) { return (length + 3) & ~size_t{3}; }

inline constexpr size_t entryOffset(size_t index) { return kHeaderSize + kEntrySize * index; }

/// How many entries an image of `size` bytes has room for.
inline constexpr size_t entryCapacity(size_t size) {
  return size < kHeaderSize ? 0 : (size - kHeaderSize) / kEntrySize;
}

/// One condition of a sound header; `size` is the size of the image.
struct HeaderCheck {
  const char* condition;
  bool (*holds)(const Header& header, size_t size);
};
inline constexpr HeaderCheck kHeaderChecks[] = {
    {"magic is 0x53436667", [](const Header& header, size_t) { return header.magic == kMagic; }},
    {"table_end is inside the image",
     [](const Header& header, size_t size) { return header.tableEnd <= size; }},
    {"area_size is inside the image",
     [](const Header& header, size_t size) { return header.areaSize <= size; }},
    {"table_end is inside the area",
     [](const Header& header, size_t) { return header.tableEnd <= header.areaSize; }},
    {"reserved is 0", [](const Header& header, size_t) { return header.reserved == 0; }},
};

/// Whether the image has a header and all checks hold. `count` is none of them.
inline bool isHeaderSound(const uint8_t* image, size_t size) {
  if (size < kHeaderSize) return false;
  const Header header = load<Header>(image);
  return std::all_of(
      std::begin(kHeaderChecks), std::end(kHeaderChecks),
      [&header, size](const HeaderCheck& check) { return check.holds(header, size); });
}

/// The number of entries that the header claims, also more than the image can hold; 0 without a
/// header.
inline size_t claimedCount(const uint8_t* image, size_t size) {
  return size < kHeaderSize ? 0 : loadWord(image + offsetof(Header, count));
}

inline bool isIndirect(const uint8_t* entry) { return loadWord(entry) == kIndirectMarker; }

/// The key of an entry of either kind.
inline uint32_t keyOf(const uint8_t* entry) {
  return loadWord(entry + (isIndirect(entry) ? offsetof(IndirectEntry, key) : 0));
}

enum class ValueFault { kNone, kInsideTable, kOutsideImage };

/// What keeps a value of `length` bytes from lying at `offset` of an image of `size` bytes whose
/// table ends at `tableEnd`.
inline ValueFault checkValue(size_t offset, size_t length, size_t tableEnd, size_t size) {
  if (offset < tableEnd) return ValueFault::kInsideTable;
  if (offset > size || length > size - offset || roundUp(length) > size - offset) {
    return ValueFault::kOutsideImage;
  }
  return ValueFault::kNone;
}

/// Where free space ends: the lowest value's offset, or the area's end in whole words. `count` is
/// the number of entries, all inside the image. An offset inside the table is damage, not a value's
/// place, and is passed over.
inline size_t freeEnd(const uint8_t* image, size_t count) {
  size_t end = loadWord(image + offsetof(Header, areaSize)) & ~size_t{3};
  for (size_t index = 0; index < count; ++index) {
    const uint8_t* entry = image + entryOffset(index);
    if (!isIndirect(entry)) continue;
    const size_t offset = loadWord(entry + offsetof(IndirectEntry, offset));
    if (offset >= entryOffset(count)) end = std::min(end, offset);
  }
  return end;
}

}  // namespace corvane::area

#endif  // CORVANE_SYSCFG_AREA_FORMAT_H_
