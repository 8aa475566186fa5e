#include "tools/inspect/inspect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <nlohmann/json.hpp>
#include <random>

#include "controlbits/diagnostic_record.h"
#include "syscfg/memory_store.h"

namespace corvane::tools {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kOpts = 0x4F505453, kLong = 0x4C4F4E47, kNext = 0x4E455854;
/// Where the area that `goodArea` makes has its two indirect entries and their values.
constexpr size_t kLongEntry = 44, kNextEntry = 64, kTableEnd = 84;
constexpr size_t kLongValue = 8192 - 52, kNextValue = kLongValue - 20;

Bytes goodArea() {
  const Bytes erased(kConfigurationAreaSize, 0xFF);
  const MemoryStore store(erased);
  for (const auto& [key, length] : {std::pair(kOpts, 5), {kLong, 50}, {kNext, 20}}) {
    const Bytes value(static_cast<size_t>(length), 'v');
    EXPECT_EQ(syscfg__add_key(store.get(), key, value.data(), value.size()), 0);
  }
  return {store.image().begin(), store.image().end()};
}

template <typename Time>
void putRecord(Bytes& contents, size_t slot, Time time, uint8_t flags, const char* message) {
  DiagnosticRecord<Time> record = {time, 7, flags, {}};
  std::copy_n(message, std::min(std::strlen(message), sizeof(record.message)), record.message);
  record = swapForSlot(record);
  std::memcpy(&contents[slotOffset<Time>(slot)], &record, sizeof(record));
}

/// Returns what a 64-bit unit holds, with a station's records unless it is fresh.
Bytes wideData(bool isFresh) {
  Bytes contents(1024, 0xFF);
  for (size_t slot = 0; slot < kRecordSlots; ++slot) {
    area::storeWord(&contents[slotOffset<int64_t>(slot) + 4], 0);
  }
  if (isFresh) return contents;
  contents[18] = 0xFE;
  putRecord<int64_t>(contents, 0, 1700000000, 0x60, "fan slow");
  putRecord<int64_t>(contents, 1, 1700000100, 0x40, "");
  putRecord<int64_t>(contents, 2, 1700000200, 0x10, "all 13 charac");
  return contents;
}

/// Words to put over a dump, by offset, and its new size unless that is 0.
struct Damage {
  std::vector<std::pair<size_t, uint32_t>> words;
  size_t size = 0;
};

Bytes damaged(Bytes bytes, const Damage& damage) {
  for (const auto& [at, word] : damage.words) area::storeWord(&bytes[at], word);
  if (damage.size > 0) bytes.resize(damage.size);
  return bytes;
}

TEST(InspectTest, SoundDumpsAreReadWithoutFindings) {
  Dump dump = inspectDump(goodArea());
  ASSERT_TRUE(dump.area);
  EXPECT_TRUE(dump.findings.empty() && dump.area->isHeaderSound);
  ASSERT_EQ(dump.area->entries.size(), 3u);
  EXPECT_TRUE(std::ranges::all_of(dump.area->entries, &AreaEntry::isFound));
  EXPECT_EQ(dump.area->entries[1].value.size(), 50u);
  EXPECT_EQ(dump.area->entries[0].writtenValue().size(), 5u);
  EXPECT_EQ(std::pair(dump.area->freeBegin, dump.area->freeEnd), std::pair(kTableEnd, kNextValue));

  Bytes zeroed = wideData(false), narrow(1024, 0xFF);
  std::fill_n(zeroed.begin(), 128, uint8_t{0});  // Does not hide the records.
  putRecord<int32_t>(narrow, 0, 1700000000, 0x40, "first");
  putRecord<int32_t>(narrow, 1, 1700000100, 0x30, "sec\xFF");
  const std::vector<std::string> wideTexts = {"fan slow", "", "all 13 charac"};
  const std::tuple<Bytes, int, std::vector<std::string>> cases[] = {
      {wideData(false), 64, wideTexts},
      {zeroed, 64, wideTexts},
      {narrow, 32, {"first", "sec\xFF"}},
      {wideData(true), 64, {}},
  };
  for (const auto& [bytes, timeBits, texts] : cases) {
    dump = inspectDump(bytes);
    ASSERT_TRUE(dump.diagnosticData);
    EXPECT_TRUE(dump.findings.empty());
    EXPECT_EQ(dump.diagnosticData->timeBits, timeBits);
    std::vector<std::string> actual;
    for (const auto& record : dump.diagnosticData->records) actual.push_back(record.message);
    EXPECT_EQ(actual, texts);
  }
  const DiagnosticReport wide = *inspectDump(wideData(false)).diagnosticData;
  EXPECT_EQ(wide.controlBits[0].offset, 18u);
  EXPECT_EQ(wide.records[0].result, 2);
  EXPECT_EQ(diagnosticDataAsJson(*inspectDump(narrow).diagnosticData)["records"][1]["message"],
            "sec\u00FF");
}

TEST(InspectTest, DamageIsNamedWithItsBytes) {
  const Bytes area = goodArea(), data = wideData(false);
  // The last entry with the key and the value of the one before it.
  const Damage kHidden = {
      {{kNextEntry + 4, kLong}, {kNextEntry + 8, 50}, {kNextEntry + 12, kLongValue}}};
  const struct {
    const Bytes& dump;
    Damage damage;
    size_t offset, length;
    const char* reason;
    /// For each entry whether a unit finds it, where that matters.
    std::optional<std::vector<bool>> found = {};
  } cases[] = {
      {area, {{{0, 0x53436666}}}, 0, 4, "magic is 0x53436666"},
      {area, {{{4, 64}}}, 4, 4, "not 84, where 3 entries end"},
      {area, {{{8, 9000}}}, 8, 4, "area_size is 9000, not 8192"},
      {area, {{{12, 2}}}, 12, 4, "version is 0x2"},
      {area, {{{16, 1}}}, 16, 4, "reserved is 0x1", {{false, false, false}}},
      {area, {{{20, 409}}}, 20, 4, "count is 409, not 408", {{true, true, true}}},
      {area,
       {{{20, 0x80000003}, {4, 85}}},
       20,
       4,
       "count is 2147483651, not 408",
       {{true, true, true}}},
      {area, {{}, 24}, 24, 8168, "missing"},
      {area, {{}, 9000}, 8192, 808, "lies after the area"},
      {area, {{{kLongEntry + 12, 80}}}, kLongEntry, 20, "LONG: its value, 50 bytes at 80, begins"},
      {area, {{{kLongEntry + 8, 0xFFFFFFFF}}}, kLongEntry, 20, "ends outside"},
      {area, {{{kNextEntry + 12, kNextValue + 1}}}, kNextEntry, 20, "whole word"},
      {area, {{{kNextEntry + 8, 4}}}, kNextEntry, 20, "inside the entry"},
      {area, {{{kNextEntry + 12, kNextValue + 4}}}, kNextEntry, 20, "runs into that of LONG"},
      {area, {{{kNextEntry + 12, kNextValue - 8}}}, kNextValue + 12, 8, "neither to a sound value"},
      {area, {{{kLongEntry + 16, 0}}}, kLongEntry + 16, 4, "spare"},
      {area, kHidden, kNextEntry, 20, "hides", {{true, true, false}}},
      {area, {{{5000, 0}, {5020, 0}}}, 5000, 24, "free space"},
      {data, {{{132, 256}}}, 128, 8, "record 1: its time, 1101211627776"},
      {data, {{{176, 0xFFFFFFFF}}}, 176, 8, "record 3: its time, 4294967295, is out of range"},
      {data, {{{160, 0x4407}}}, 161, 1, "record 2: its version is 4"},
      {data, {{{186, 1}}}, 186, 14, "record 3: its message"},
      {data, {{{136, 7}}}, 152, 24, "slot 2 lies after"},
      {data, {{{184, 0x5007}}}, 185, 1, "record 3 says"},
      {data, {.words = {}, .size = 160}, 160, 448, "missing"},
  };
  for (const auto& [sound, damage, offset, length, reason, found] : cases) {
    const Dump dump = inspectDump(damaged(sound, damage));
    EXPECT_EQ(dump.area.has_value(), &sound == &area) << reason;
    bool isNamed = false;
    for (const Finding& finding : dump.findings) {
      isNamed |= finding.offset == offset && finding.length == length &&
                 finding.reason.find(reason) != std::string::npos;
    }
    EXPECT_TRUE(isNamed) << reason;
    if (!found) continue;
    std::vector<bool> actual;
    for (const AreaEntry& entry : dump.area->entries) {
      actual.push_back(entry.isFound);
      // A damaged header leaves the values readable.
      EXPECT_TRUE(offset >= area::kHeaderSize || entry.fault.empty()) << reason;
    }
    EXPECT_EQ(actual, *found) << reason;
  }
}

TEST(InspectTest, OtherBytesAreUnknownUnlessTheCallerNamesTheirKind) {
  std::mt19937 random(1);
  Bytes noise(kConfigurationAreaSize);
  std::ranges::generate(noise, [&random] { return static_cast<uint8_t>(random()); });
  const std::pair<Bytes, const char*> cases[] = {
      {Bytes(), "every byte of it is the same"},
      {Bytes(8192, 0xFF), "every byte of it is the same"},
      {damaged(Bytes(1024, 0), {{{0, 1}}}), "neither like"},
      {noise, "neither like"},
  };
  for (const auto& [contents, reason] : cases) {
    const Dump dump = inspectDump(contents);
    EXPECT_FALSE(dump.area || dump.diagnosticData) << contents.size();
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, reason, dump.reason);
    EXPECT_TRUE(inspectDump(contents, DumpKind::kConfiguration).area);
    EXPECT_TRUE(inspectDump(contents, DumpKind::kDiagnosticData).diagnosticData);
  }
}

TEST(InspectTest, AnyDamageHasAnAnswerInsideTheDump) {
  std::mt19937 random(2);
  const auto below = [&random](size_t limit) { return random() % limit; };
  for (int round = 0; round < 1500; ++round) {
    Bytes contents = round % 2 ? wideData(false) : goodArea();
    for (size_t flips = below(12); flips > 0; --flips) {
      // Most of what matters is at the beginning.
      const size_t at = below(below(2) == 0 ? 256 : contents.size());
      contents[at] = static_cast<uint8_t>(below(3) == 0 ? random() : contents[at] ^ 1 << below(8));
    }
    if (below(4) == 0) contents.resize(below(contents.size() + 1));
    const Dump dump = inspectDump(contents);
    EXPECT_NE(dump.reason, "");
    EXPECT_TRUE(std::ranges::is_sorted(dump.findings, {}, &Finding::offset));
    for (const auto& [offset, length, reason] : dump.findings) {
      EXPECT_GT(length, 0u) << reason;
      EXPECT_TRUE(offset + length <= contents.size() || reason.starts_with("missing")) << reason;
    }
  }
}

}  // namespace
}  // namespace corvane::tools
