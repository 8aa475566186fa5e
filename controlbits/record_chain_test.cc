#include "controlbits/record_chain.h"

#include <csignal>
#include <random>

#include "controlbits/testing/record_script.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using testing::Bytes;
using testing::cfString;
using testing::MemoryRecords;
using testing::runRecordScript;
using Strings = std::vector<std::string>;

/// A record area in one of the two widths of the time value.
template <typename Time>
class RecordChainTest : public ::testing::Test {
 protected:
  static constexpr size_t kSize = sizeof(Time) == 8 ? 24 : 16;
  static constexpr size_t kRoom = sizeof(Time) == 8 ? 13 : 9;

  void fillArea(uint8_t byte) { _area.bytes.assign(1024, byte); }

  bool append(const std::string& message, uint8_t station = 7, int32_t result = 0) {
    return appendRecord<Time>(_area, {station, result, cfString(message).get()});
  }
  RecordChain<Time> chain() { return readChain<Time>(_area.bytes); }
  MemoryRecords _area{{}};
};

using Widths = ::testing::Types<int64_t, int32_t>;
TYPED_TEST_SUITE(RecordChainTest, Widths);

TYPED_TEST(RecordChainTest, AChainGrowsToItsTwentiethSlotAndNoFurther) {
  this->fillArea(0);  // One record of time 0, the last of its chain.
  for (int number = 1; number < 20; ++number) EXPECT_TRUE(this->append(std::to_string(number)));
  EXPECT_EQ(this->_area.reports.back(),
            "Control Bits: Wrote (19) to diagnostic record #19 for station: 7 result: 0");
  const Bytes full = this->_area.bytes;
  EXPECT_FALSE(this->append("over", 8, 6));
  EXPECT_EQ(this->_area.bytes, full);
  const Strings& lines = this->_area.reports;
  EXPECT_EQ(Strings(lines.begin() + 19, lines.end()),
            (Strings{"Control Bits: Failed to write (over) to diagnostic record for station: 8 "
                     "result: 6",
                     "    No room left in the diagnostic record"}));
  const auto chain = this->chain();
  ASSERT_EQ(chain.records.size(), 20u);
  EXPECT_EQ(chain.end, ChainEnd::kLastRecord);
  EXPECT_EQ(testing::text(messageOf(chain.records[19]).get()), "19");
}

TYPED_TEST(RecordChainTest, AnErasedAreaIsFullInTheWideLayoutAndFreeInTheNarrowOne) {
  this->fillArea(0xFF);
  const bool isFree = sizeof(TypeParam) == 4;
  EXPECT_EQ(this->chain().records.size(), isFree ? 0u : 20u);
  EXPECT_EQ(this->append("x"), isFree);
  EXPECT_EQ(this->_area.reports.size(), isFree ? 1u : 2u);
  EXPECT_EQ(this->chain().records.size(), isFree ? 1u : 20u);
}

TYPED_TEST(RecordChainTest, AMessageThatIsNotUtf8IsTakenAsLatin1) {
  const std::pair<std::string, std::string> cases[] = {
      {std::string("a\0b", 3), "a"},
      {"\xC3\xA9", "\u00e9"},
      {"\xC3\xA9\xC3", "\u00c3\u00a9\u00c3"},
  };
  for (const auto& [bytes, shown] : cases) {
    DiagnosticRecord<TypeParam> record = {};
    std::ranges::copy(bytes, record.message);
    EXPECT_EQ(testing::text(messageOf(record).get()), shown);
  }
}

TYPED_TEST(RecordChainTest, AMessageThatIsTooLongEndsTheProcessInTheCheckedCopy) {
  this->fillArea(0);
  std::string text;
  for (size_t i = 0; i < TestFixture::kRoom; ++i) text += "\u00e9";
  EXPECT_EQ(kRecordMessageRoom<TypeParam>, TestFixture::kRoom);
  EXPECT_TRUE(this->append(text));
  EXPECT_EQ(testing::text(messageOf(this->chain().records[1]).get()),
            text.substr(0, TestFixture::kRoom + 1))
      << "a text that fills the whole field";
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(this->append(text + "m"), ::testing::KilledBySignal(SIGABRT),
              "buffer overflow detected");
}

TYPED_TEST(RecordChainTest, AnUnreadableSlotEndsTheListAndIsNoPlaceForARecord) {
  this->_area.bytes.assign(128 + 3 * TestFixture::kSize - 1, 0);
  this->_area.bytes[128 + sizeof(TypeParam) + 1] = 0x40;
  // The next slot is missing, but its predecessor is still marked.
  EXPECT_TRUE(this->append("x"));
  EXPECT_EQ(CFArrayGetCount(listRecords<TypeParam>(this->_area).get()), 2);
  EXPECT_FALSE(this->append("x"));
  EXPECT_EQ(this->chain().records.size(), 2u);
  this->_area.bytes.resize(128 + 2 * TestFixture::kSize);
  EXPECT_EQ(this->chain().records.size(), 2u);
  const std::string begin = "Control Bits: ", reading = begin + "Reading Diagnostic Record failed";
  EXPECT_EQ(this->_area.reports,
            (Strings{begin + "Failed to write (x) to diagnostic record #2 for station: 7 result: 5",
                     reading, reading,
                     begin + "Failed to write (x) to diagnostic record for station: 7 result: 0",
                     "    No room left in the diagnostic record"}));
}

TEST(RecordScriptTest, AnyAreaGrowsAsTheModelSays) {
  std::mt19937 random(20);
  for (int run = 0; run < 500; ++run) {
    // Slots that are free, erased, cleared or anything, often enough continued to make long chains.
    Bytes contents(run % 5 == 0 ? random() % 700 : 700, 0xFF);
    const size_t slotSize = run % 2 == 0 ? 24 : 16;
    const uint32_t habit = random() % 4;
    for (size_t at = 128; at + slotSize <= contents.size(); at += slotSize) {
      const uint32_t kind = random() % 8 == 0 ? random() % 4 : habit;
      for (size_t i = 0; i < slotSize; ++i) {
        if (kind == 0) contents[at + i] = i >= 4 && i < slotSize - 16 ? 0 : 0xFF;
        if (kind == 1) contents[at + i] = static_cast<uint8_t>(random());
        if (kind == 2) contents[at + i] = 0;
      }
      if (kind != 3 && random() % 2 == 0) contents[at + slotSize - 15] |= 0x40;
    }
    Bytes script(random() % 200);
    for (uint8_t& byte : script) byte = static_cast<uint8_t>(random());
    EXPECT_EQ(runRecordScript<int64_t>(contents, script), nullptr) << run;
    EXPECT_EQ(runRecordScript<int32_t>(contents, script), nullptr) << run;
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace corvane
