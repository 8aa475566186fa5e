#include <IOKit/IOKitLib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <sstream>

#include "platform/io_object.h"
#include "platform/registry.h"
#include "platform/system_log.h"
#include "testing/power_cut/file_recorder.h"
#include "testing/unit_test.h"

namespace corvane::testing {
namespace {

namespace fs = std::filesystem;
using host::DeviceError;
using host::UnitFacts;
using host::VirtualDevice;

constexpr char kSet[] = "VelmoDiagnosticData";

/// The unit's data set and facts, as short as they can be compared.
std::string stateOf(const VirtualDevice& unit) {
  std::ostringstream text;
  const std::vector<uint8_t> bytes = unit.dataSet(kSet);
  text << bytes.size() << ":" << std::hex << int{bytes.at(0)} << "," << int{bytes.back()};
  const UnitFacts facts = unit.facts();
  text << " " << facts.bootArgs.value_or("-") << " " << facts.model.value_or("-") << " "
       << facts.buildVersion.value_or("-");
  return text.str();
}

/// What a unit shows, and what it shows after its next reboot.
struct States {
  std::string now, rebooted;
  bool operator==(const States&) const = default;
};

std::ostream& operator<<(std::ostream& out, const States& states) {
  return out << "{" << states.now << " | " << states.rebooted << "}";
}

States statesIn(const fs::path& folder) {
  VirtualDevice unit(folder);
  States states{stateOf(unit), {}};
  unit.reboot();
  states.rebooted = stateOf(unit);
  return states;
}

/// Without the read-back of writeBits: what fails there is no failed change.
bool writeByte(const VirtualDevice& unit, uint8_t value, bool commit) {
  unit.use();
  const int32_t offset = 0;
  const CFRef<CFStringRef> set = cfString(kSet);
  const CFRef<CFNumberRef> start(CFNumberCreate(nullptr, kCFNumberSInt32Type, &offset));
  const CFRef<CFDataRef> buffer(CFDataCreate(nullptr, &value, 1));
  const CFRef<CFMutableDictionaryRef> request(CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(request.get(), CFSTR("VelmoDiagnosticDataSet"), set.get());
  CFDictionarySetValue(request.get(), CFSTR("VelmoDiagnosticDataCommit"),
                       commit ? kCFBooleanTrue : kCFBooleanFalse);
  CFDictionarySetValue(request.get(), CFSTR("VelmoDiagnosticDataOffset"), start.get());
  CFDictionarySetValue(request.get(), CFSTR("VelmoDiagnosticDataBuffer"), buffer.get());
  const IOObject service = firstService("VelmoDiagnosticDataAccess");
  return IORegistryEntrySetCFProperties(service.get(), request.get()) == 0;
}

bool changeFact(VirtualDevice& unit, void (*change)(UnitFacts&)) {
  UnitFacts facts = unit.facts();
  change(facts);
  unit.setFacts(facts);
  return true;
}

/// A change of a unit.
struct Change {
  const char* name;
  void (*before)(VirtualDevice& unit);
  /// Returns false, or throws DeviceError, when it fails.
  bool (*change)(VirtualDevice& unit);
  /// What the unit shows after it, and after a reboot.
  States after;
  bool isDurable = true;
  /// How many files it changes of which each can be old or new after a cut.
  int files = 1;

  bool isDone(const fs::path& folder) const {
    try {
      VirtualDevice unit(folder);
      return change(unit);
    } catch (const DeviceError&) {
      return false;
    }
  }
};

void leaveUncommitted(VirtualDevice& unit) { ASSERT_TRUE(writeByte(unit, 0x11, false)); }

const Change kChanges[] = {
    {"committed set",
     [](VirtualDevice&) {},
     [](VirtualDevice& unit) { return writeByte(unit, 0x22, true); },
     {"1024:22,ff serial=1 T33AP 1A100", "1024:22,ff serial=1 T33AP 1A100"}},
    {"committed set over an uncommitted one",
     leaveUncommitted,
     [](VirtualDevice& unit) { return writeByte(unit, 0x22, true); },
     {"1024:22,ff serial=1 T33AP 1A100", "1024:22,ff serial=1 T33AP 1A100"}},
    {"uncommitted set",
     [](VirtualDevice&) {},
     [](VirtualDevice& unit) { return writeByte(unit, 0x22, false); },
     {"1024:22,ff serial=1 T33AP 1A100", "1024:ff,ff serial=1 T33AP 1A100"},
     false},
    {"second uncommitted set",
     leaveUncommitted,
     [](VirtualDevice& unit) { return writeByte(unit, 0x22, false); },
     {"1024:22,ff serial=1 T33AP 1A100", "1024:ff,ff serial=1 T33AP 1A100"},
     false},
    {"setDataSet over an uncommitted set",
     leaveUncommitted,
     [](VirtualDevice& unit) {
       unit.setDataSet(kSet, std::vector<uint8_t>(600, 0x33));
       return true;
     },
     {"600:33,33 serial=1 T33AP 1A100", "600:33,33 serial=1 T33AP 1A100"}},
    {"reboot",
     leaveUncommitted,
     [](VirtualDevice& unit) {
       unit.reboot();
       return true;
     },
     {"1024:ff,ff serial=1 T33AP 1A100", "1024:ff,ff serial=1 T33AP 1A100"}},
    {"NVRAM variable",
     [](VirtualDevice&) {},
     [](VirtualDevice& unit) {
       unit.use();
       const IOObject nvram = firstService("IODTNVRAM");
       return IORegistryEntrySetCFProperty(nvram.get(), CFSTR("boot-args"), CFSTR("new")) == 0;
     },
     {"1024:ff,ff new T33AP 1A100", "1024:ff,ff new T33AP 1A100"}},
    {"first NVRAM variable",
     [](VirtualDevice& unit) { fs::remove(unit.folder() / "nvram.plist"); },
     [](VirtualDevice& unit) {
       return changeFact(unit, [](UnitFacts& facts) { facts.bootArgs = "first"; });
     },
     {"1024:ff,ff first T33AP 1A100", "1024:ff,ff first T33AP 1A100"}},
    {"fact of device.plist",
     [](VirtualDevice&) {},
     [](VirtualDevice& unit) {
       return changeFact(unit, [](UnitFacts& facts) { facts.model = "T38"; });
     },
     {"1024:ff,ff serial=1 T38 1A100", "1024:ff,ff serial=1 T38 1A100"}},
    {"build version",
     [](VirtualDevice&) {},
     [](VirtualDevice& unit) {
       return changeFact(unit, [](UnitFacts& facts) { facts.buildVersion = "9Z9"; });
     },
     {"1024:ff,ff serial=1 T33AP 9Z9", "1024:ff,ff serial=1 T33AP 9Z9"}},
    {"facts of three files",
     [](VirtualDevice&) {},
     [](VirtualDevice& unit) {
       return changeFact(unit, [](UnitFacts& facts) {
         facts.model = facts.bootArgs = facts.buildVersion = "all";
       });
     },
     {"1024:ff,ff all all all", "1024:ff,ff all all all"},
     true,
     3},
};

/// How many cases a change gets: $CORVANE_POWER_CUTS, or enough to find each fault that was found.
size_t caseLimit(size_t usual) {
  const char* limit = std::getenv("CORVANE_POWER_CUTS");
  return limit ? std::strtoul(limit, nullptr, 10) : usual;
}

bool isSameAsEither(const std::string& text, const std::string& a, const std::string& b) {
  return text == a || text == b;
}

/// Whether each word is that of `a` or that of `b`.
bool isEachSameAsEither(const std::string& text, const std::string& a, const std::string& b) {
  std::istringstream texts(text), as(a), bs(b);
  for (std::string word, wordOfA, wordOfB; texts >> word && as >> wordOfA && bs >> wordOfB;) {
    if (word != wordOfA && word != wordOfB) return false;
  }
  return true;
}

class PowerCutTest : public ::testing::Test {
 protected:
  PowerCutTest() { VirtualDevice::setFaults(""); }

  /// Thousands of short-lived units: a file system in memory, where there is one.
  static void SetUpTestSuite() {
    if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
  }

  /// Makes `_original` a unit as the change finds it.
  void prepare(const Change& change) {
    fs::remove_all(_original);
    VirtualDevice unit(_original);
    change.before(unit);
    _before = statesIn(copyOfUnit());
    const fs::path changed = copyOfUnit();
    ASSERT_TRUE(change.isDone(changed)) << change.name;
    ASSERT_EQ(statesIn(changed), change.after) << change.name;
  }

  fs::path copyOfUnit() {
    fs::remove_all(_copy);
    // A name of its own: a process removes what kills left behind when it first locks a unit.
    _copy = _folder.path() / ("copy" + std::to_string(_copies++));
    fs::copy(_original, _copy, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    return _copy;
  }

  /// Whether what is left is the old or the new unit, and after a reboot, too.
  bool isWhole(const States& left, const Change& change) const {
    const auto isEither = change.files == 1 ? isSameAsEither : isEachSameAsEither;
    return isEither(left.now, _before.now, change.after.now) &&
           isEither(left.rebooted, _before.rebooted, change.after.rebooted);
  }

  const NoSync _fast;
  const TemporaryFolder _folder;
  const fs::path _original = _folder.path() / "original";
  fs::path _copy = _folder.path() / "copy";
  int _copies = 0;
  States _before;
};

TEST_F(PowerCutTest, ACutLeavesTheOldOrTheNewUnitAndAfterTheReturnTheNewOne) {
  for (const Change& change : kChanges) {
    prepare(change);
    const fs::path folder = copyOfUnit();
    FileRecorder recorder(folder);
    EXPECT_TRUE(change.isDone(folder));
    const Recording recording = recorder.stop();
    const size_t cases =
        recording.replay(_folder.path(), caseLimit(200), [&](const Recording::Case& cut) {
          const States left = statesIn(cut.folder);
          EXPECT_TRUE(isWhole(left, change))
              << change.name << ", case " << cut.number << ": " << left << " is neither " << _before
              << " nor " << change.after;
          if (cut.isAfterTheChange && change.isDurable) {
            EXPECT_EQ(left, change.after) << change.name << ", case " << cut.number;
          }
        });
    std::cout << change.name << ": " << recording.operationCount() << " operations, " << cases
              << " cases\n";
    EXPECT_GT(cases, recording.operationCount()) << change.name;
  }
}

TEST_F(PowerCutTest, ACutLeavesANewUnitWholeOrToBeCompleted) {
  UnitFacts withoutVariables;
  withoutVariables.bootArgs.reset();
  for (const UnitFacts& facts : {UnitFacts(), withoutVariables}) {
    const fs::path parent = _folder.path() / "parent";
    fs::remove_all(parent);
    fs::create_directory(parent);
    FileRecorder recorder(parent);
    VirtualDevice(parent / "made/unit", facts);
    const Recording recording = recorder.stop();
    const size_t cases =
        recording.replay(_folder.path(), caseLimit(400), [&](const Recording::Case& cut) {
          const fs::path folder = cut.folder / "made/unit";
          EXPECT_TRUE(!cut.isAfterTheChange || fs::exists(folder / "device.plist"));
          VirtualDevice unit(folder, facts);
          EXPECT_EQ(unit.facts(), facts) << cut.number;
          EXPECT_EQ(unit.dataSet(kSet).size(), 1024u) << cut.number;
          EXPECT_EQ(unit.dataSet("VelmoDiagnosticDataSysCfg").size(), 8192u) << cut.number;
          unit.use();
          NSLog(CFSTR("%@"), CFSTR("here"));
          EXPECT_EQ(unit.systemLog(), std::vector<std::string>{"here"}) << cut.number;
          EXPECT_TRUE(fs::exists(unit.filePath("/var/logs"))) << cut.number;
        });
    std::cout << "init: " << recording.operationCount() << " operations, " << cases << " cases\n";
  }
}

TEST_F(PowerCutTest, AChangeThatReportsAFailureHasChangedNothing) {
  size_t calls = 0;
  for (const Change& change : kChanges) {
    prepare(change);
    for (const auto way : {BrokenCall::Way::kInputOutputError, BrokenCall::Way::kNoSpace}) {
      bool isReached = true;
      for (size_t number = 1; isReached; ++number) {
        const fs::path folder = copyOfUnit();
        ::testing::internal::CaptureStderr();
        bool isDone = false;
        {
          const BrokenCall broken(number, way);
          isDone = change.isDone(folder);
          isReached = broken.isReached();
        }
        ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(statesIn(folder), isDone ? change.after : _before)
            << change.name << ", call " << number << (isDone ? " succeeded" : " failed");
        EXPECT_TRUE(isDone || isReached) << change.name;
        calls += isReached;
      }
    }
  }
  std::cout << calls << " failing calls\n";
}

TEST_F(PowerCutTest, AKillLeavesTheOldOrTheNewUnitAndNothingInTheWay) {
  // A kill is a cut that loses nothing, so a few changes are enough.
  for (const Change& change : {kChanges[1], kChanges[2], kChanges[9]}) {
    prepare(change);
    int status = -1;
    size_t number = 1;
    for (; status != 0; ++number) {
      const fs::path folder = copyOfUnit();
      const pid_t child = ::fork();
      if (child == 0) {
        const BrokenCall broken(number, BrokenCall::Way::kKill);
        ::_exit(change.isDone(folder) ? 0 : 1);
      }
      ASSERT_EQ(::waitpid(child, &status, 0), child);
      ASSERT_TRUE(status == 0 || WIFSIGNALED(status));
      const States left = statesIn(folder);
      EXPECT_TRUE(status == 0 ? left == change.after : isWhole(left, change))
          << change.name << ", killed at call " << number << ": " << left;
      for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        EXPECT_NE(entry.path().extension(), ".new") << change.name << ", call " << number;
      }
    }
    EXPECT_GT(number, 8u) << change.name;
    std::cout << change.name << ": " << number - 2 << " kills\n";
  }
}

TEST_F(PowerCutTest, ShortWritesAndAFullDiskTearNoEntryOfTheSystemLog) {
  VirtualDevice unit(_original);
  unit.use();
  NSLog(CFSTR("%@"), CFSTR("first"));
  const auto logWithRoom = [](size_t room, CFStringRef message) {
    const ShortWrites full(3, room);
    NSLog(CFSTR("%@"), message);
  };
  logWithRoom(8, CFSTR("for which there is no room"));
  logWithRoom(1000, CFSTR("second"));
  const fs::path file = unit.filePath("/var/log/system.log");
  writeText(file, readText(file) + "cut by a kill");
  NSLog(CFSTR("%@"), CFSTR("next"));
  EXPECT_EQ(unit.systemLog(), (std::vector<std::string>{"first", "second\ncut by a kill", "next"}));
}

}  // namespace
}  // namespace corvane::testing
