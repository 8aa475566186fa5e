#include <random>

#include "controlbits/control_bits.h"
#include "syscfg/area_format.h"
#include "testing/unit_test.h"
#include "unit/boot_arguments.h"
#include "unit/byte_text.h"
#include "unit/error.h"
#include "unit/facts.h"
#include "unit/keys.h"
#include "unit/poison_byte.h"
#include "unit/records.h"
#include "unit/status_byte.h"

namespace corvane::unit {
namespace {

using corvane::testing::countOf;
using Strings = std::vector<std::string>;

constexpr char kDiagnostic[] = "VelmoDiagnosticData";
constexpr char kConfiguration[] = "VelmoDiagnosticDataSysCfg";

Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

class VerifiedAccessTest : public corvane::testing::UnitTest {
 protected:
  VerifiedAccessTest() { EXPECT_EQ(ControlBits::getReady(), 0); }

  std::vector<Bytes> held() const { return {_unit.dataSet(kDiagnostic), area()}; }
  Bytes area() const { return _unit.dataSet(kConfiguration); }
  /// Runs `work` under the fault rules and returns the error that it throws.
  std::optional<Error> errorOf(const std::string& rules, const std::function<void()>& work) {
    std::optional<Error> thrown;
    _trace = traceOf(rules, [&] {
      try {
        work();
      } catch (const Error& error) {
        thrown = error;
      }
    });
    return thrown;
  }

  Lock _lock;
  Trace _trace;
};

TEST_F(VerifiedAccessTest, LeavesTheBytesThatTheFacadeLeaves) {
  std::mt19937 random(20261116);
  const auto below = [&random](uint32_t bound) { return static_cast<uint32_t>(random() % bound); };
  // A slot of bytes that are not free is what a chain's last record would continue into.
  Bytes data(1024, 0xFF);
  for (size_t slot = 0; slot < 20; ++slot) data[128 + 24 * slot + 9] = 0x0F;
  _unit.setDataSet(kDiagnostic, data);
  host::VirtualDevice::setFaults("time=1800000000");
  for (int round = 0; round < 200; ++round) {
    const auto at = static_cast<uint8_t>(below(40));
    const uint32_t kind = below(6);
    const auto status = static_cast<CorvaneControlBitStatus>(below(4));
    const int count = static_cast<int>(below(8));
    const bool isSet = below(2) == 0;
    const uint32_t key = keyOf("KEY0") + below(6);
    const std::string text = std::string(below(14), static_cast<char>('a' + below(26)));
    Bytes value(below(8) == 0 ? below(4000) : below(40));
    std::ranges::generate(value, [&] { return static_cast<uint8_t>(below(256)); });

    const auto size = static_cast<int32_t>(value.size());
    const std::vector<Bytes> before = held();
    if (kind == 0) ControlBits::writeControlBits(at, status, count);
    if (kind == 1) ControlBits::writeCorvaneStatus(status);
    if (kind == 2) ControlBits::writePoisonByte(at, isSet);
    if (kind == 3) ControlBits::deleteSystemConfig(key);
    if (kind == 4) ControlBits::writeSystemConfig(value.data(), size, key);
    if (kind == 5) ControlBits::writeDiagnosticsRecord(at, status, testing::cfString(text).get());
    const std::vector<Bytes> meant = held();
    _unit.setDataSet(kDiagnostic, before[0]);
    _unit.setDataSet(kConfiguration, before[1]);
    try {
      if (kind == 0) changeStatus(_lock, at, {.status = status, .failCount = count});
      if (kind == 1) changeStatus(_lock, 18, {.status = status});
      if (kind == 2) isSet ? setPoison(_lock, at) : clearPoison(_lock, at);
      if (kind == 3) deleteKey(_lock, key);
      if (kind == 4) writeKey(_lock, key, value);
      if (kind == 5) appendRecord(_lock, at, static_cast<uint8_t>(status), text);
      EXPECT_EQ(held(), meant) << round << " " << kind;
    } catch (const Error& error) {
      EXPECT_EQ(held(), before) << round << " " << error.what();
      EXPECT_EQ(error.left(), Left::kUnchanged);
      // The facade deletes a key before it finds that its new value does not fit.
      if (kind < 3) {
        EXPECT_EQ(meant, before) << round << " " << error.what();
      }
    }
  }
  EXPECT_EQ(readRecords().records.size(), 20u);
}

TEST_F(VerifiedAccessTest, TellsWhatAFailedWriteLeft) {
  const auto passed = kCorvaneCotnrolBitsPassed, failed = kCorvaneControlBitsFailed;
  const struct {
    const char* rules;
    CorvaneControlBitStatus status;
    std::optional<Fault> fault;
    Left left;
    uint8_t after;
    const char* text;
  } cases[] = {
      {"IORegistryEntryCreateCFProperty@1", passed, Fault::kUnreadable, Left::kUnchanged, 0xFF,
       "byte 20 cannot be read"},
      {"IORegistryEntrySetCFProperties=0xe00002bc@1", passed, Fault::kRefused, Left::kUnchanged,
       0xFF, "holds 0xff instead of 0xfc; the write was refused with 0xe00002bc; nothing was"},
      {"IORegistryEntrySetCFProperties=5", passed, Fault::kRefused, Left::kUnchanged, 0xFF, "0x5"},
      // A failure of its own makes writeBits return 5: the second write decides.
      {"IORegistryEntrySetCFProperties=5@1", passed, {}, {}, 0xFC, ""},
      {"IORegistryEntryCreateCFProperty@2", passed, {}, {}, 0xFC, ""},
      {"malloc", passed, Fault::kNotDurable, Left::kChanged, 0xFC, "a power cut may undo it"},
      {"IORegistryEntryCreateCFProperty@3", passed, Fault::kUnreadable, Left::kPutBack, 0xFF,
       "byte 20 cannot be read back; it was put back to 0xff"},
      {"IORegistryEntryCreateCFProperty@3+", passed, Fault::kUnreadable, Left::kUnknown, 0xFF,
       "byte 20 cannot be read back; whether it could be put back to 0xff is not known"},
      {"IORegistryEntryCreateCFProperty@3", failed, Fault::kUnreadable, Left::kChanged, 0xFE,
       "what was written is not taken back"},
      {"stuck:VelmoDiagnosticData:20=0xf7", passed, Fault::kMismatch, Left::kPutBack, 0xF7,
       "byte 20 holds 0xf7 instead of 0xf4; it was put back to 0xf7"},
      {"stuck:VelmoDiagnosticData:20=0xfd", failed, Fault::kMismatch, Left::kChanged, 0xFE,
       "byte 20 holds 0xfd instead of 0xfe; what was written is not taken back"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.rules) + " " + std::to_string(c.status));
    setByte(20, 0xFF);
    const auto error = errorOf(c.rules, [&] { changeStatus(_lock, 20, {.status = c.status}); });
    EXPECT_EQ(bytes()[20], c.after);
    ASSERT_EQ(error.has_value(), c.fault.has_value());
    ASSERT_FALSE(_trace.log.empty());
    const std::string line = _trace.log.back();
    if (!error) {
      EXPECT_EQ(line, "Unit: byte 20: 0xff -> 0xfc, passed, fail count 0");
      continue;
    }
    EXPECT_EQ(error->fault(), c.fault);
    EXPECT_EQ(error->left(), c.left);
    EXPECT_EQ(countOf(error->what(), c.text), 1u) << error->what();
    EXPECT_EQ(line, "Unit: not done: " + std::string(error->what()));
  }
}

TEST_F(VerifiedAccessTest, PutsBackTheAreaAndTheRecordsThatDoNotReadBack) {
  writeKey(_lock, keyOf("KEEP"), bytesOf("kept"));
  appendRecord(_lock, 3, 0, "first");
  const std::vector<Bytes> before = held();
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"stuck:VelmoDiagnosticDataSysCfg:44=0x41", [&] { writeKey(_lock, keyOf("NOTE"), {}); }},
      {"stuck:VelmoDiagnosticData:160=0x41", [&] { appendRecord(_lock, 3, 0, "second"); }},
      {"IORegistryEntryCreateCFProperty@3", [&] { deleteKey(_lock, keyOf("KEEP")); }},
      {"IORegistryEntryCreateCFProperty@3", [&] { appendRecord(_lock, 3, 0, "second"); }}};
  for (const auto& [rules, work] : cases) {
    _unit.setDataSet(kDiagnostic, before[0]);
    _unit.setDataSet(kConfiguration, before[1]);
    const auto error = errorOf(rules, work);
    ASSERT_TRUE(error) << rules;
    EXPECT_EQ(error->left(), Left::kPutBack) << error->what();
    std::vector<Bytes> after = held();
    // What a stuck byte was read as is what is put back.
    if (std::string_view(rules).starts_with("stuck")) after[0][160] = before[0][160];
    if (std::string_view(rules).starts_with("stuck")) after[1][44] = before[1][44];
    EXPECT_EQ(after, before) << rules;
  }
}

TEST_F(VerifiedAccessTest, ASingleDamagedBitOfTheHeaderLosesNoKey) {
  writeKey(_lock, keyOf("INLN"), bytesOf("inline"));
  writeKey(_lock, keyOf("LONG"), Bytes(37, 'x'));
  const Bytes sound = area();
  int damaged = 0;
  for (size_t bit = 0; bit < 8 * area::kHeaderSize; ++bit) {
    Bytes broken = sound;
    broken[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    _unit.setDataSet(kConfiguration, broken);
    EXPECT_EQ(readArea(), broken);
    const auto write = errorOf("", [&] { writeKey(_lock, keyOf("NOTE"), bytesOf("hello")); });
    const auto erase = errorOf("", [&] { deleteKey(_lock, keyOf("NOTE")); });
    EXPECT_EQ(write.has_value(), !damageOf(broken).empty()) << bit;
    if (write) {
      ++damaged;
      EXPECT_EQ(write->fault(), Fault::kDamagedStore);
      EXPECT_EQ(erase->fault(), Fault::kDamagedStore);
      EXPECT_EQ(area(), broken) << bit;
    } else {
      EXPECT_EQ(valueIn(area(), keyOf("LONG")), Bytes(37, 'x')) << bit;
      EXPECT_EQ(textOf(valueIn(area(), keyOf("INLN")).value_or(Bytes())), "inline") << bit;
    }
  }
  EXPECT_EQ(damaged, 160);  // All but the 32 bits of the version, which nothing looks at.
}

TEST_F(VerifiedAccessTest, ADamagedStoreIsChangedOnlyWhenItMayBeFormatted) {
  writeKey(_lock, keyOf("INLN"), bytesOf("inline"));
  writeKey(_lock, keyOf("LONG"), Bytes(33, 'x'));
  writeKey(_lock, keyOf("MORE"), Bytes(20, 'y'));
  const Bytes sound = area();
  const auto with = [&](size_t at, uint32_t word) {
    Bytes bytes = sound;
    area::storeWord(&bytes[at], word);
    return bytes;
  };
  const size_t length = area::entryOffset(1) + 8, offset = length + 4;
  Bytes speck(8192, 0xFF);
  speck[8191] = 0;
  const std::pair<Bytes, const char*> cases[] = {
      {Bytes(8192, 0xFF), ""},
      {Bytes(8192, 0x00), ""},
      {sound, ""},
      {speck, "its header fails the checks: magic is 0x53436667, table_end"},
      {with(offset, 60), "the value of the key LONG does not lie"},
      {with(offset, 8160), "the value of the key LONG does not lie"},
      {with(offset, 8157), "the value of the key LONG does not lie"},  // Its last word does not.
      {with(offset, 8154), "two values overlap"},
      {with(length, 36), ""},
      {with(area::entryOffset(2) + 4, keyOf("INLN")), "the key INLN is there twice"},
  };
  for (const auto& [bytes, damage] : cases) {
    _unit.setDataSet(kConfiguration, bytes);
    EXPECT_EQ(damageOf(bytes).substr(0, std::string(damage).size()), damage);
    EXPECT_EQ(damageOf(bytes).empty(), *damage == '\0') << damageOf(bytes);
    const auto error = errorOf("", [&] { writeKey(_lock, keyOf("NOTE"), bytesOf("hello")); });
    EXPECT_EQ(error.has_value(), *damage != '\0') << damage;
    if (!error) continue;
    EXPECT_EQ(area(), bytes);
    writeKey(_lock, keyOf("NOTE"), bytesOf("hello"), Damaged::kFormat);
    EXPECT_EQ(damageOf(area()), "");
    EXPECT_EQ(valueIn(area(), keyOf("LONG")), std::nullopt);
  }
}

TEST_F(VerifiedAccessTest, RefusesWhatWouldDoHarm) {
  Bytes last = bytes();
  std::fill_n(&last[128], 24, uint8_t{0});
  std::fill_n(&last[128], 4, uint8_t{0xFF});
  _unit.setDataSet(kDiagnostic, last);
  setByte(24, 0xF2);
  const std::vector<Bytes> before = held();
  const std::tuple<const char*, Fault, std::function<void()>> cases[] = {
      {"", Fault::kNoRoom, [&] { appendRecord(_lock, 1, 0, "after"); }},
      {"", Fault::kBadArgument, [&] { appendRecord(_lock, 1, 0, "fourteen bytes"); }},
      {"", Fault::kBadArgument, [&] { appendRecord(_lock, 1, 4, "result"); }},
      {"", Fault::kBadArgument, [&] { changeStatus(_lock, 20, {.failCount = 8}); }},
      {"", Fault::kFinal, [&] { clearPoison(_lock, 24); }},
      {"", Fault::kBadArgument, [&] { writeKey(_lock, keyOf("CNTB"), {}); }},
      {"", Fault::kAbsent, [&] { deleteKey(_lock, keyOf("NONE")); }},
      {"", Fault::kNoRoom, [&] { writeKey(_lock, keyOf("BIG0"), Bytes(8192)); }},
      {"", Fault::kFinal, [&] { addBootArgument(_lock, "onsole"); }},
      {"", Fault::kAbsent, [&] { removeBootArgument(_lock, "alpha"); }},
      {"IORegistryEntrySetCFProperty", Fault::kMismatch, [&] { setBootArguments(_lock, "a"); }},
  };
  setBootArguments(_lock, "console=1");
  for (const auto& [rules, fault, work] : cases) {
    const auto error = errorOf(rules, work);
    ASSERT_TRUE(error) << static_cast<int>(fault);
    EXPECT_EQ(error->fault(), fault) << error->what();
    EXPECT_EQ(error->left(), Left::kUnchanged);
    EXPECT_EQ(held(), before) << error->what();
    EXPECT_EQ(_trace.log, Strings{"Unit: not done: " + std::string(error->what())});
  }
  EXPECT_EQ(readBootArguments(), "console=1");
  setByte(131, 0);
  EXPECT_EQ(errorOf("time=0xffffffff", [&] { appendRecord(_lock, 1, 0, ""); })->fault(),
            Fault::kNoClock);
}

TEST_F(VerifiedAccessTest, EachChangeLeavesOneLineOfAtMost256Bytes) {
  const auto lines = [&](const std::function<void()>& work) { return traceOf("", work).log; };
  EXPECT_EQ(lines([&] { changeStatus(_lock, 18, {.status = kCorvaneControlBitsFailed}); }),
            Strings{"Unit: byte 18: 0xff -> 0xfe, test suite: failed, fail count 0"});
  EXPECT_EQ(lines([&] { appendRecord(_lock, 7, 2, "cut\nshort"); }),
            Strings{"Unit: record 1: none -> station 7, result 2, \"cut\\x0ashort\""});
  EXPECT_EQ(lines([&] { writeKey(_lock, keyOf("NOTE"), bytesOf("one")); }),
            Strings{"Unit: key NOTE: none -> \"one\""});
  EXPECT_EQ(lines([&] { deleteKey(_lock, keyOf("NOTE")); }),
            Strings{"Unit: key NOTE: \"one\" -> none"});
  const std::string word = std::string(60, '\x01') + "\xC3\xA4";
  errorOf("IORegistryEntrySetCFProperty", [&] { setBootArguments(_lock, word); });
  ASSERT_EQ(_trace.log.size(), 1u);
  EXPECT_LE(_trace.log[0].size(), 256 - sizeof "[2026-11-16 00:05:09]");
  EXPECT_TRUE(_trace.log[0].ends_with("...")) << _trace.log[0];

  Lock kept(Lock::Lines::kKept);
  EXPECT_EQ(lines([&] { setPoison(kept, 24); }), Strings{});
  EXPECT_EQ(kept.takeLines(), Strings{"byte 24: 0xff -> 0xfe, failed, or poisoned"});
  EXPECT_EQ(kept.takeLines(), Strings{});
  EXPECT_EQ(byteText(9, 0xFE), "log collection: status 2");
}

TEST_F(VerifiedAccessTest, ReadsNoMoreThanItChanges) {
  const auto callsOf = [&](const std::function<void()>& work) {
    host::VirtualDevice::setFaults("access@999999");  // Calls are counted while there are rules.
    work();
    auto calls = host::VirtualDevice::callsMade();
    return std::pair(calls["IORegistryEntryCreateCFProperty"],
                     calls["IORegistryEntrySetCFProperties"]);
  };
  // Read, written, read back: by writeBits, which does not say what it found, and once more.
  const std::pair<uint64_t, uint64_t> once(3, 1), never(1, 0);
  const auto set = [&] { changeStatus(_lock, 20, {.failCount = 2}); };
  EXPECT_EQ(callsOf(set), once);
  EXPECT_EQ(callsOf(set), never);
  EXPECT_EQ(callsOf([&] { writeKey(_lock, keyOf("NOTE"), bytesOf("hello")); }), once);
  EXPECT_EQ(callsOf([&] { appendRecord(_lock, 1, 0, "one"); }), once);
}

TEST(RecordTextTest, KeepsWholeCharactersThatFit) {
  EXPECT_EQ(textForRecord("burn-in ok"), "burn-in ok");
  EXPECT_EQ(textForRecord("a\nb\237c"), "a?b?c");
  EXPECT_EQ(textForRecord(std::string(12, 'a') + "\xC3\xA4"), std::string(12, 'a'));
  EXPECT_EQ(textForRecord("\xFFx"), "?x");
}

}  // namespace
}  // namespace corvane::unit
