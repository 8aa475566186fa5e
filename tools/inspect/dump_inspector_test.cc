#include "tools/inspect/dump_inspector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <random>

#include "tools/memory_store.h"

namespace corvane::tools {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kOpts = 0x4F505453, kLong = 0x4C4F4E47, kNext = 0x4E455854;
/// Where the area that `goodArea` makes has things: its two indirect entries and their values.
constexpr size_t kLongEntry = 44, kNextEntry = 64, kTableEnd = 84;
constexpr size_t kLongValue = 8192 - 52, kNextValue = kLongValue - 20;

Bytes goodArea() {
  const Bytes erased(kDeviceAreaSize, 0xFF);
  const MemoryStore store(erased);
  for (const auto& [key, length] : {std::pair(kOpts, 5), {kLong, 50}, {kNext, 20}}) {
    const Bytes value(static_cast<size_t>(length), 'v');
    EXPECT_EQ(syscfg__add_key(store.get(), key, value.data(), value.size()), 0);
  }
  return {store.image().begin(), store.image().end()};
}

template <typename Time>
void putRecord(Bytes& contents, size_t slot, Time time, uint8_t flags, const char* message) {
  DiagnosticRecord<Time> record = {};
  record.time = time;
  record.station = 7;
  record.flags = flags;
  std::copy_n(message, std::min(std::strlen(message), sizeof(record.message)), record.message);
  record = swapForSlot(record);
  std::memcpy(&contents[slotOffset<Time>(slot)], &record, sizeof(record));
}

/// What a 64-bit unit holds before any station was at it.
Bytes freshDiagnosticData() {
  Bytes contents(1024, 0xFF);
  for (size_t slot = 0; slot < kRecordSlots; ++slot) {
    std::fill_n(&contents[slotOffset<int64_t>(slot) + 4], 4, uint8_t{0});
  }
  return contents;
}

Bytes goodDiagnosticData() {
  Bytes contents = freshDiagnosticData();
  contents[18] = 0xFE;
  putRecord<int64_t>(contents, 0, 1700000000, 0x60, "fan slow");
  putRecord<int64_t>(contents, 1, 1700000100, 0x40, "");
  putRecord<int64_t>(contents, 2, 1700000200, 0x10, "all 13 charac");
  return contents;
}

void putWord(Bytes& bytes, size_t at, uint32_t word) { area::storeWord(&bytes[at], word); }

/// A way to damage a dump, and what must be said of it.
struct Damage {
  const char* name;
  std::function<void(Bytes&)> inflict;
  size_t offset, length;
  const char* reason;
};

void expectFound(const Damage& damage, const Dump& dump, DumpKind kind) {
  EXPECT_EQ(dump.kind, kind) << damage.name;
  EXPECT_TRUE(std::ranges::any_of(dump.damages,
                                  [&damage](const Finding& finding) {
                                    return finding.offset == damage.offset &&
                                           finding.length == damage.length &&
                                           finding.reason.find(damage.reason) != std::string::npos;
                                  }))
      << damage.name << ": " << (dump.damages.empty() ? "none" : dump.damages.front().reason);
}

TEST(DumpInspectorTest, ASoundAreaIsOneAndAUnitFindsAllItsEntries) {
  const Bytes area = goodArea();
  const Dump dump = inspectDump(area);
  ASSERT_EQ(dump.kind, DumpKind::kConfiguration);
  EXPECT_TRUE(dump.damages.empty());
  EXPECT_TRUE(dump.area->isHeaderSound);
  ASSERT_EQ(dump.area->entries.size(), 3u);
  for (const AreaEntry& entry : dump.area->entries) EXPECT_TRUE(entry.isFound) << entry.key;
  EXPECT_EQ(valueOf(dump.area->entries[1], area).size(), 50u);
  EXPECT_EQ(withoutFreeBytes(valueOf(dump.area->entries[0], area)).size(), 5u);
  EXPECT_EQ(dump.area->freeBegin, kTableEnd);
  EXPECT_EQ(dump.area->freeEnd, kNextValue);
}

TEST(DumpInspectorTest, DamageToAnAreaIsNamedWithItsBytes) {
  const Damage damages[] = {
      {"magic", [](Bytes& b) { b[0] ^= 1; }, 0, 4, "magic is 0x53436666"},
      {"table end", [](Bytes& b) { putWord(b, 4, 64); }, 4, 4, "3 entries end at 84"},
      {"area size", [](Bytes& b) { putWord(b, 8, 9000); }, 8, 4, "area_size is 9000, not 8192"},
      {"version", [](Bytes& b) { putWord(b, 12, 2); }, 12, 4, "version is 0x2"},
      {"reserved", [](Bytes& b) { putWord(b, 16, 1); }, 16, 4, "reserved is 0x1"},
      {"count", [](Bytes& b) { putWord(b, 20, 409); }, 20, 4, "room for 408"},
      {"cut", [](Bytes& b) { b.resize(4096); }, 4096, 4096, "missing"},
      {"cut in the header", [](Bytes& b) { b.resize(24); }, 24, 8168, "missing"},
      {"longer", [](Bytes& b) { b.resize(9000); }, 8192, 808, "behind the area"},
      {"value in the table", [](Bytes& b) { putWord(b, kLongEntry + 12, 80); }, kLongEntry, 20,
       "LONG: its value, 50 bytes at 80, begins inside the table"},
      {"value outside", [](Bytes& b) { putWord(b, kLongEntry + 8, 0xFFFFFFFF); }, kLongEntry, 20,
       "ends outside"},
      {"crooked value", [](Bytes& b) { b[kNextEntry + 12] ^= 1; }, kNextEntry, 20, "whole word"},
      {"short value", [](Bytes& b) { b[kNextEntry + 8] = 4; }, kNextEntry, 20, "inside the entry"},
      {"overlap", [](Bytes& b) { putWord(b, kNextEntry + 12, kNextValue + 4); }, kNextEntry, 20,
       "runs into that of LONG"},
      {"gap", [](Bytes& b) { putWord(b, kNextEntry + 12, kNextValue - 8); }, kNextValue + 12, 8,
       "belongs to no sound value"},
      {"spare", [](Bytes& b) { b[kLongEntry + 16] = 0; }, kLongEntry + 16, 4, "spare"},
      {"same key", [](Bytes& b) { putWord(b, kNextEntry + 4, kLong); }, kNextEntry, 20, "hides"},
      {"free space", [](Bytes& b) { b[5000] = b[5016] = 0; }, 5000, 17, "free space"},
  };
  for (const Damage& damage : damages) {
    Bytes area = goodArea();
    damage.inflict(area);
    expectFound(damage, inspectDump(area), DumpKind::kConfiguration);
  }
}

TEST(DumpInspectorTest, ACountThatCannotBeIsPassedOverForTheTableEnd) {
  Bytes area = goodArea();
  putWord(area, 20, 0x80000003);
  EXPECT_EQ(inspectDump(area).area->entries.size(), 3u);
  putWord(area, 4, 85);
  EXPECT_EQ(inspectDump(area).area->entries.size(), 0u);
}

TEST(DumpInspectorTest, WithoutASoundHeaderEntriesAreShownThoughAUnitFindsNone) {
  Bytes area = goodArea();
  area[16] = 1;
  const Dump dump = inspectDump(area);
  ASSERT_EQ(dump.area->entries.size(), 3u);
  for (const AreaEntry& entry : dump.area->entries) {
    EXPECT_EQ(entry.fault, "");
    EXPECT_FALSE(entry.isFound);
  }
}

TEST(DumpInspectorTest, NoFlippedBitOfTheStructureGoesUnseen) {
  const Bytes area = goodArea();
  std::vector<size_t> places = {kLongEntry + 12, kLongEntry + 13, kNextEntry + 12, kTableEnd,
                                kNextValue - 1,  kNextEntry + 16, kNextEntry + 19};
  for (size_t at = 0; at < area::kHeaderSize; ++at) places.push_back(at);
  for (const size_t at : places) {
    for (int bit = 0; bit < 8; ++bit) {
      Bytes flipped = area;
      flipped[at] = static_cast<uint8_t>(flipped[at] ^ 1 << bit);
      EXPECT_FALSE(inspectDump(flipped).damages.empty()) << at << " bit " << bit;
    }
  }
}

TEST(DumpInspectorTest, ControlBitsAndRecordsAreReadInTheWidthTheyWereWrittenIn) {
  Dump dump = inspectDump(freshDiagnosticData());
  ASSERT_EQ(dump.kind, DumpKind::kDiagnosticData);
  EXPECT_EQ(dump.diagnosticData->timeBits, 64);
  EXPECT_TRUE(dump.diagnosticData->records.empty() && dump.diagnosticData->controlBits.empty());
  EXPECT_TRUE(dump.damages.empty());

  dump = inspectDump(goodDiagnosticData());
  ASSERT_EQ(dump.kind, DumpKind::kDiagnosticData);
  EXPECT_TRUE(dump.damages.empty()) << dump.damages.front().reason;
  EXPECT_EQ(dump.diagnosticData->timeBits, 64);
  ASSERT_EQ(dump.diagnosticData->controlBits.size(), 1u);
  EXPECT_EQ(dump.diagnosticData->controlBits[0].offset, 18u);
  ASSERT_EQ(dump.diagnosticData->records.size(), 3u);
  EXPECT_EQ(dump.diagnosticData->records[0].result, 2);
  EXPECT_EQ(dump.diagnosticData->records[2].message, "all 13 charac");
  EXPECT_EQ(timeText(dump.diagnosticData->records[0].time), "2023-11-14 22:13:20 UTC");

  Bytes narrow(1024, 0xFF);
  dump = inspectDump(narrow);
  ASSERT_EQ(dump.kind, DumpKind::kDiagnosticData);
  EXPECT_EQ(dump.diagnosticData->timeBits, 32);
  putRecord<int32_t>(narrow, 0, 1700000000, 0x40, "first");
  putRecord<int32_t>(narrow, 1, 1700000100, 0x30, "second");
  dump = inspectDump(narrow);
  EXPECT_EQ(dump.diagnosticData->timeBits, 32);
  ASSERT_EQ(dump.diagnosticData->records.size(), 2u);
  EXPECT_EQ(dump.diagnosticData->records[1].message, "second");
  EXPECT_TRUE(dump.damages.empty());
  EXPECT_EQ(inspectDump(narrow, 64).diagnosticData->timeBits, 64);
}

TEST(DumpInspectorTest, DamageToRecordsIsNamedWithItsBytes) {
  const Damage damages[] = {
      {"time", [](Bytes& b) { b[128 + 5] = 1; }, 128, 8, "record 1: its time, 1101211627776"},
      {"version", [](Bytes& b) { b[152 + 9] |= 4; }, 161, 1, "record 2: its version is 4"},
      {"message", [](Bytes& b) { b[176 + 10] = 1; }, 186, 14, "record 3: its message"},
      {"chain ends early", [](Bytes& b) { b[128 + 9] = 0; }, 152, 24, "slot 2 lies behind"},
      {"chain goes on", [](Bytes& b) { b[176 + 9] |= 0x40; }, 185, 1, "record 3 says"},
      {"cut", [](Bytes& b) { b.resize(210); }, 210, 398, "missing"},
      {"cut in the chain", [](Bytes& b) { b.resize(160); }, 160, 448, "missing"},
  };
  for (const Damage& damage : damages) {
    Bytes contents = goodDiagnosticData();
    damage.inflict(contents);
    const Dump dump = inspectDump(contents);
    expectFound(damage, dump, DumpKind::kDiagnosticData);
    EXPECT_TRUE(dump.diagnosticData && dump.diagnosticData->timeBits == 64) << damage.name;
  }
}

TEST(DumpInspectorTest, WhatIsNeitherIsUnknown) {
  std::mt19937 random(1);
  Bytes noise(1024);
  std::ranges::generate(noise, [&random] { return static_cast<uint8_t>(random()); });
  Bytes bigNoise(100000);
  std::ranges::generate(bigNoise, [&random] { return static_cast<uint8_t>(random()); });
  const std::pair<Bytes, const char*> cases[] = {
      {Bytes(), "it is empty"},
      {Bytes(8192, 0xFF), "erased flash"},
      {Bytes(1, 0xFF), "erased flash"},
      {Bytes(8192, 0), "every byte of it is the same"},
      {Bytes(1024, 0), "every byte of it is the same"},
      {Bytes(1024, 'a'), "every byte of it is the same"},
      {noise, "no header"},
      {bigNoise, "no header"},
  };
  for (const auto& [contents, reason] : cases) {
    const Dump dump = inspectDump(contents);
    EXPECT_EQ(dump.kind, DumpKind::kUnknown) << contents.size();
    EXPECT_NE(dump.reason.find(reason), std::string::npos) << dump.reason;
    EXPECT_TRUE(dump.damages.empty());
  }
}

TEST(DumpInspectorTest, AnyDamageAtAllHasAnAnswerInsideTheDump) {
  std::mt19937 random(2);
  const auto below = [&random](size_t limit) { return random() % limit; };
  const Bytes dumps[] = {goodArea(), goodDiagnosticData()};
  for (int round = 0; round < 1500; ++round) {
    Bytes contents = dumps[round % 2];
    for (size_t flips = below(12); flips > 0; --flips) {
      // Most of what matters lies in front.
      const size_t at = below(below(2) == 0 ? 256 : contents.size());
      contents[at] = static_cast<uint8_t>(below(3) == 0 ? random() : contents[at] ^ 1 << below(8));
    }
    if (below(4) == 0) contents.resize(below(contents.size() + 1));
    const Dump dump = inspectDump(contents);
    EXPECT_NE(dump.reason, "");
    EXPECT_TRUE(std::ranges::is_sorted(dump.damages, {}, &Finding::offset));
    for (const Finding& finding : dump.damages) {
      EXPECT_GT(finding.length, 0u) << finding.reason;
      EXPECT_TRUE(finding.offset + finding.length <= contents.size() ||
                  finding.reason.starts_with("missing"))
          << finding.reason;
    }
  }
}

}  // namespace
}  // namespace corvane::tools
