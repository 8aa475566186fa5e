#include "syscfg/syscfg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "syscfg/memory_store.h"
#include "syscfg/testing/store_model.h"

namespace corvane::testing {
namespace {

constexpr uint32_t kOpts = 0x4F505453;
constexpr uint32_t kMarker = 0x434E5442;

Bytes erased(size_t size = 8192) { return Bytes(size, 0xFF); }

uint32_t below(uint32_t limit, std::mt19937& random) {
  return static_cast<uint32_t>(random() % limit);
}

Bytes counting(size_t length) {
  Bytes bytes(length);
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  return bytes;
}

int32_t add(const auto& store, uint32_t key, const Bytes& value) {
  return syscfg__add_key(store.get(), key, value.data(), value.size());
}

/// Returns the value of `key`; empty when it is not present.
Bytes read(const auto& store, uint32_t key) {
  size_t length = 0;
  if (syscfg__read_key(store.get(), key, nullptr, &length) != 0) return {};
  Bytes value(length);
  EXPECT_EQ(syscfg__read_key(store.get(), key, value.data(), nullptr), 0);
  return value;
}

std::vector<uint32_t> list(const auto& store) {
  std::vector<uint32_t> keys(1000);
  const int32_t count = syscfg__list_key(store.get(), keys.data(), keys.size());
  keys.resize(count < 0 ? 0 : static_cast<size_t>(count));
  return keys;
}

Bytes bytesOf(const MemoryStore& store, size_t at, size_t length) {
  const auto part = store.image().subspan(at, length);
  return {part.begin(), part.end()};
}

TEST(SyscfgTest, AnAreaWithoutASoundHeaderIsFormattedInTheImageOnly) {
  const struct {
    const char* what;
    size_t at;
    uint32_t word;
    bool isKept;
  } cases[] = {
      {"another magic", 0, 0x67664353, false},
      {"table_end beyond the image", 4, 8193, false},
      {"area_size beyond the image", 8, 8193, false},
      {"table_end beyond area_size", 8, 43, false},
      {"reserved in use", 16, 1, false},
      {"table_end at area_size", 8, 44, true},
      {"another version", 12, 7, true},
  };
  StoreModel model(8192);
  const Bytes formatted = model.image();
  model.add(kOpts, {1});
  for (const auto& [what, at, word, isKept] : cases) {
    SCOPED_TRACE(what);
    Bytes contents = model.image();
    putWords(contents, at, {word});
    const MemoryArea area(contents);
    const ScopedStore store = openStore(area);
    EXPECT_EQ(imageOf(store), isKept ? contents : formatted);
    EXPECT_EQ(area.bytes, contents);
    EXPECT_EQ(area.writes, 0);
  }
  EXPECT_EQ(imageOf(MemoryStore(Bytes(23))), erased(23)) << "no room for a header";
  Bytes header = StoreModel(24).image();  // All that the area has room for.
  putWords(header, 12, {7, 0, 5});
  const MemoryStore store(header);
  EXPECT_EQ(imageOf(store), header);
  EXPECT_EQ(syscfg__list_key(store.get(), nullptr, 0), -1);
}

TEST(SyscfgTest, TheAreaChangesOnlyByAFlushOrAWriteBack) {
  const MemoryArea area(erased());
  ScopedStore store = openStore(area);
  add(store, 1, {1});
  store = openStore(area);
  add(store, 2, {2});
  syscfg__flush(store.get());
  add(store, 3, {3});
  store = openStore(area);
  add(store, 4, {4});
  syscfg__deinit(store.release(), -1);
  EXPECT_EQ(list(openStore(area)), (std::vector<uint32_t>{2, 4}));
  EXPECT_EQ(area.writes, 2);
}

TEST(SyscfgTest, AReusedSlotAndPaddingKeepWhatTheyHeldBefore) {
  Bytes contents = StoreModel(8192).image();
  std::fill(contents.begin() + 24, contents.end(), uint8_t{0xAA});
  putWords(contents, 44, {kMarker, 7, 17, 100});  // An entry.
  const MemoryStore store(contents);
  ASSERT_EQ(add(store, 1, {9}), 0);
  EXPECT_EQ(read(store, 7), Bytes()) << "the entry after the last";
  ASSERT_EQ(add(store, 2, counting(17)), 0);
  EXPECT_EQ(bytesOf(store, 29, 15), Bytes(15, 0xAA));
  EXPECT_EQ(bytesOf(store, 60, 4), Bytes(4, 0xAA)) << "the spare word";
  EXPECT_EQ(bytesOf(store, 8172, 17), counting(17));
  EXPECT_EQ(bytesOf(store, 8189, 3), Bytes(3, 0xAA)) << "the padding";
}

TEST(SyscfgTest, TheMarkerAsAKeyMeansTheFirstIndirectEntryAsIfItWereInline) {
  const MemoryStore store(erased());
  EXPECT_EQ(read(store, kMarker), Bytes());
  add(store, 1, {});
  add(store, 0x02030405, counting(17));
  EXPECT_EQ(read(store, kMarker),
            (Bytes{5, 4, 3, 2, 17, 0, 0, 0, 0xEC, 0x1F, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(syscfg__del_key(store.get(), kMarker), 0);
  EXPECT_EQ(list(store), std::vector<uint32_t>{1});
  EXPECT_EQ(bytesOf(store, 8172, 17), counting(17)) << "the value stays";
}

TEST(SyscfgTest, AValueInsideTheImageIsReadAsStoredAndAnotherIsNotFound) {
  constexpr size_t kSize = 8190, kTableEnd = 84;
  const struct {
    const char* what;
    size_t length, offset;
    /// Where the value of key 3 is after the value was deleted; 0 when it would lie outside the
    /// image. SIZE_MAX: the value is not found.
    size_t next;
  } cases[] = {
      {"the last word ends after the image", 2, 8188, 8140},
      {"the last word ends with the image", 30, 8158, 8168},
      {"it ends with the image", 30, 8160, 8168},
      {"it fills the image", 8106, kTableEnd, 0},
      {"it begins inside the table", 8107, kTableEnd - 1, 8136},
      {"it begins with the header", kSize, 0, 8136},
      {"a length beyond the end", 31, 8160, SIZE_MAX},
      {"a length that wraps when rounded", 0xFFFFFFFF, 8160, SIZE_MAX},
      {"an offset beyond the end", 30, 8191, SIZE_MAX},
      {"an offset that wraps with the length", 30, 0xFFFFFFF0, SIZE_MAX},
  };
  StoreModel model(kSize);
  model.add(1, {1});
  model.add(2, counting(30));
  model.add(3, counting(20));
  for (const auto& [what, length, offset, next] : cases) {
    SCOPED_TRACE(what);
    Bytes contents = model.image();
    putWords(contents, 52, {length, offset});
    const MemoryStore store(contents);
    if (next == SIZE_MAX) {
      EXPECT_EQ(syscfg__read_key(store.get(), 2, nullptr, nullptr), -1);
      EXPECT_EQ(syscfg__del_key(store.get(), 2), -1);
      EXPECT_EQ(imageOf(store), contents);
      ASSERT_EQ(add(store, 2, counting(40)), 0);
      EXPECT_EQ(read(store, 2), counting(40));
      EXPECT_EQ(read(store, 3), counting(20));
      EXPECT_EQ(list(store), (std::vector<uint32_t>{1, 2, 3, 2}));
      continue;
    }
    EXPECT_EQ(read(store, 2), bytesOf(store, offset, length));

    // What is between the table and the value moves up; what would pass the end is dropped.
    const size_t gap = offset < kTableEnd ? 0 : (length + 3) / 4 * 4;
    const size_t begin = std::max(offset, kTableEnd), end = std::min(begin + gap, kSize);
    Bytes moved(gap, 0xFF);
    for (const Bytes& part :
         {bytesOf(store, kTableEnd, begin - kTableEnd), bytesOf(store, end, kSize - end)}) {
      moved.insert(moved.end(), part.begin(), part.end());
    }
    moved.resize(kSize - kTableEnd);
    ASSERT_EQ(syscfg__del_key(store.get(), 2), 0);
    EXPECT_EQ(bytesOf(store, kTableEnd, kSize - kTableEnd), moved);
    EXPECT_EQ(list(store), (std::vector<uint32_t>{1, 3}));
    EXPECT_EQ(read(store, 3), next == 0 ? Bytes() : bytesOf(store, next, 20));
  }
}

TEST(SyscfgTest, ATableThatDoesNotFitIntoTheImageCanOnlyBeRead) {
  for (const uint32_t count : {409U, 0x7FFFFFFFU, 0xCCCCCCCDU, 0xFFFFFFFFU}) {
    SCOPED_TRACE(count);
    StoreModel model(8192);
    model.add(kOpts, counting(16));
    Bytes contents = model.image();
    putWords(contents, 20, {count});
    const MemoryStore store(contents);
    uint32_t key = 77;
    EXPECT_EQ(syscfg__list_key(store.get(), &key, SIZE_MAX), -1);
    EXPECT_EQ(key, 77U);
    EXPECT_EQ(syscfg__del_key(store.get(), kOpts), -1);
    EXPECT_EQ(add(store, 2, {}), -1);
    EXPECT_EQ(imageOf(store), contents);
    EXPECT_EQ(read(store, kOpts), counting(16));
  }
}

TEST(SyscfgTest, AnAreaThatEndsInsideItsTableTakesInlineValuesOnly) {
  Bytes contents = StoreModel(8192).image();
  putWords(contents, 8, {200});
  putWords(contents, 20, {100});
  const MemoryStore store(contents);
  for (const size_t length : {17UL, 200UL, 201UL}) {  // The last would begin before the image.
    EXPECT_EQ(add(store, 1, counting(length)), -1) << length;
  }
  EXPECT_EQ(imageOf(store), contents);
  EXPECT_EQ(add(store, 1, counting(16)), 0);
  EXPECT_EQ(bytesOf(store, 24 + 100 * 20 + 4, 16), counting(16));
}

TEST(SyscfgTest, TheImageIsThatOfAPlainListThroughRandomChanges) {
  const struct {
    size_t size;
    uint32_t keys;
    size_t longest;
  } cases[] = {{8192, 600, 20}, {8190, 40, 700}, {303, 12, 60}, {43, 3, 20},
               {24, 3, 20},     {23, 3, 20},     {0, 3, 20}};
  std::mt19937 random(20);
  for (const auto& [size, keys, longest] : cases) {
    SCOPED_TRACE(size);
    const MemoryStore store(erased(size));
    StoreModel model(size);
    for (int step = 0; step < 20000; ++step) {
      const uint32_t key = kOpts + below(keys, random);
      const uint32_t kind = below(8, random);
      if (kind < 5) {
        Bytes value(random() % (longest + 1));
        for (uint8_t& byte : value) byte = static_cast<uint8_t>(random());
        ASSERT_EQ(add(store, key, value), model.add(key, value) ? 0 : -1) << step;
      } else if (kind == 5 && step % 16 == 0) {
        // A length near the end of size_t wraps when it is rounded.
        ASSERT_EQ(syscfg__add_key(store.get(), key, nullptr, SIZE_MAX - below(4, random)), -1);
        model.remove(key);
      } else if (kind == 5) {
        ASSERT_EQ(syscfg__del_key(store.get(), key), model.remove(key) ? 0 : -1) << step;
      } else if (kind == 6) {
        ASSERT_EQ(read(store, key), model.read(key).value_or(Bytes())) << step;
      } else {
        std::vector<uint32_t> listed(model.keys().size());
        const auto capacity = listed.size() - (listed.empty() ? 0 : 1);
        if (capacity < listed.size()) {
          ASSERT_EQ(syscfg__list_key(store.get(), listed.data(), capacity), -1) << step;
        }
        ASSERT_EQ(syscfg__list_key(store.get(), listed.data(), listed.size()),
                  static_cast<int32_t>(listed.size()));
        ASSERT_EQ(listed, model.keys()) << step;
      }
      ASSERT_TRUE(imageOf(store) == model.image()) << step;
    }
  }
}

}  // namespace
}  // namespace corvane::testing
