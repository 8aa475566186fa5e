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

/// A record area in one of the two widths of the time value.
template <typename Time>
class RecordChainTest : public ::testing::Test {
 protected:
  static constexpr size_t kRoom = sizeof(Time) == 8 ? 13 : 9;

  bool append(const std::string& message) {
    return appendRecord<Time>(_area, {7, 0, cfString(message).get()});
  }
  /// Holds one record of time 0.
  MemoryRecords _area{Bytes(1024, 0)};
};

using Widths = ::testing::Types<int64_t, int32_t>;
TYPED_TEST_SUITE(RecordChainTest, Widths);

TYPED_TEST(RecordChainTest, AMessageThatIsTooLongEndsTheProcessInTheCheckedCopy) {
  std::string text;
  for (size_t i = 0; i < TestFixture::kRoom; ++i) text += "\u00e9";
  EXPECT_EQ(kRecordMessageRoom<TypeParam>, TestFixture::kRoom);
  EXPECT_TRUE(this->append(text));
  EXPECT_EQ(testing::text(messageOf(readChain<TypeParam>(this->_area.bytes).records[1]).get()),
            text.substr(0, TestFixture::kRoom + 1))
      << "a text that fills the whole field";
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(this->append(text + "m"), ::testing::KilledBySignal(SIGABRT),
              "buffer overflow detected");
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
