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
  text << bytes.size() << ":" << int{bytes.at(0)} << "," << int{bytes.back()} << " ";
  const UnitFacts facts = unit.facts();
  text << facts.bootArgs.value_or("-") << " " << facts.model.value_or("-") << " "
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
  bool isDurable = true;

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
    {"committed set", [](VirtualDevice&) {},
     [](VirtualDevice& unit) { return writeByte(unit, 0x22, true); }},
    {"committed set over an uncommitted one", leaveUncommitted,
     [](VirtualDevice& unit) { return writeByte(unit, 0x22, true); }},
    {"uncommitted set", [](VirtualDevice&) {},
     [](VirtualDevice& unit) { return writeByte(unit, 0x22, false); }, false},
    {"second uncommitted set", leaveUncommitted,
     [](VirtualDevice& unit) { return writeByte(unit, 0x22, false); }, false},
    {"setDataSet over an uncommitted set", leaveUncommitted,
     [](VirtualDevice& unit) {
       unit.setDataSet(kSet, std::vector<uint8_t>(600, 0x33));
       return true;
     }},
    {"reboot", leaveUncommitted,
     [](VirtualDevice& unit) {
       unit.reboot();
       return true;
     }},
    {"NVRAM variable", [](VirtualDevice&) {},
     [](VirtualDevice& unit) {
       unit.use();
       const IOObject nvram = firstService("IODTNVRAM");
       return IORegistryEntrySetCFProperty(nvram.get(), CFSTR("boot-args"), CFSTR("new")) == 0;
     }},
    {"first NVRAM variable", [](VirtualDevice& unit) { fs::remove(unit.folder() / "nvram.plist"); },
     [](VirtualDevice& unit) {
       return changeFact(unit, [](UnitFacts& facts) { facts.bootArgs = "first"; });
     }},
    {"fact of device.plist", [](VirtualDevice&) {},
     [](VirtualDevice& unit) {
       return changeFact(unit, [](UnitFacts& facts) { facts.model = "T38"; });
     }},
    {"build version", [](VirtualDevice&) {},
     [](VirtualDevice& unit) {
       return changeFact(unit, [](UnitFacts& facts) { facts.buildVersion = "9Z9"; });
     }},
};

/// How many cases a change gets: $CORVANE_POWER_CUTS, or enough to find each fault that was found.
size_t caseLimit(size_t usual) {
  const char* limit = std::getenv("CORVANE_POWER_CUTS");
  return limit ? std::strtoul(limit, nullptr, 10) : usual;
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
    _after = statesIn(changed);
  }

  fs::path copyOfUnit() {
    fs::remove_all(_copy);
    // A name of its own: a process removes what kills left behind when it first locks a unit.
    _copy = _folder.path() / ("copy" + std::to_string(_copies++));
    fs::copy(_original, _copy, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    return _copy;
  }

  /// Whether what is left is the old or the new unit, and after a reboot, too.
  bool isWhole(const States& left) const {
    return (left.now == _before.now || left.now == _after.now) &&
           (left.rebooted == _before.rebooted || left.rebooted == _after.rebooted);
  }

  const NoSync _fast;
  const TemporaryFolder _folder;
  const fs::path _original = _folder.path() / "original";
  fs::path _copy = _folder.path() / "copy";
  int _copies = 0;
  States _before, _after;
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
          EXPECT_TRUE(isWhole(left)) << change.name << ", case " << cut.number << ": " << left
                                     << " is neither " << _before << " nor " << _after;
          if (cut.isAfterTheChange && change.isDurable) {
            EXPECT_EQ(left, _after) << change.name << ", case " << cut.number;
          }
        });
    std::cout << change.name << ": " << recording.operationCount() << " operations, " << cases
              << " cases\n";
    EXPECT_GT(cases, recording.operationCount()) << change.name;
  }
}

TEST_F(PowerCutTest, ACutLeavesANewUnitWholeOrToBeCompleted) {
  const fs::path parent = _folder.path() / "parent";
  fs::create_directory(parent);
  FileRecorder recorder(parent);
  VirtualDevice{parent / "made/unit"};
  const Recording recording = recorder.stop();
  const size_t cases =
      recording.replay(_folder.path(), caseLimit(600), [&](const Recording::Case& cut) {
        const fs::path folder = cut.folder / "made/unit";
        EXPECT_TRUE(!cut.isAfterTheChange || fs::exists(folder / "device.plist"));
        VirtualDevice unit(folder);
        EXPECT_EQ(unit.facts(), UnitFacts()) << cut.number;
        EXPECT_EQ(unit.dataSet(kSet).size(), 1024u) << cut.number;
        EXPECT_EQ(unit.dataSet("VelmoDiagnosticDataSysCfg").size(), 8192u) << cut.number;
        unit.use();
        NSLog(CFSTR("%@"), CFSTR("here"));
        EXPECT_EQ(unit.systemLog(), std::vector<std::string>{"here"}) << cut.number;
        EXPECT_TRUE(fs::exists(unit.filePath("/var/logs"))) << cut.number;
      });
  std::cout << "init: " << recording.operationCount() << " operations, " << cases << " cases\n";
}

TEST_F(PowerCutTest, AChangeThatReportsAFailureHasChangedNothing) {
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
        EXPECT_EQ(statesIn(folder), isDone ? _after : _before)
            << change.name << ", call " << number << (isDone ? " succeeded" : " failed");
        EXPECT_TRUE(isDone || isReached) << change.name;
      }
    }
  }
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
      EXPECT_TRUE(status == 0 ? left == _after : isWhole(left))
          << change.name << ", killed at call " << number << ": " << left;
      for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        EXPECT_NE(entry.path().extension(), ".new") << change.name << ", call " << number;
      }
    }
    EXPECT_GT(number, 8u) << change.name;
  }
}

TEST_F(PowerCutTest, ShortWritesAndAFullDiskTearNoEntryOfTheSystemLog) {
  VirtualDevice unit(_original);
  unit.use();
  for (const size_t room : {5u, 60u, 1000u}) {
    const ShortWrites full(3, room);
    NSLog(CFSTR("%@"), CFSTR("entry"));
  }
  writeText(unit.filePath("/var/log/system.log"),
            readText(unit.filePath("/var/log/system.log")) + "cut");
  NSLog(CFSTR("%@"), CFSTR("next"));
  EXPECT_EQ(unit.systemLog(), (std::vector<std::string>{"entry", "entry\ncut", "next"}));
}

}  // namespace
}  // namespace corvane::testing
