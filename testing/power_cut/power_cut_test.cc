#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "platform/registry.h"
#include "platform/system_log.h"
#include "testing/power_cut/disk.h"
#include "testing/power_cut/file_calls.h"
#include "testing/unit_test.h"
#include "tools/command_error.h"
#include "tools/documents/documents.h"
#include "tools/files.h"

namespace corvane::testing {
namespace {

namespace fs = std::filesystem;
using host::DeviceError;
using host::UnitFacts;
using host::VirtualDevice;

constexpr char kSet[] = "VelmoDiagnosticData";

/// Returns a short text of a unit's data set and facts, now and after a reboot. The unit has a
/// folder around it, because an import replaces the whole unit.
std::string stateOf(const fs::path& folder) {
  VirtualDevice unit(folder / "unit");
  std::ostringstream state;
  for (const char* const end : {" | ", ""}) {
    const std::vector<uint8_t> bytes = unit.dataSet(kSet);
    const UnitFacts facts = unit.facts();
    state << std::dec << bytes.size() << std::hex << ":" << int{bytes.at(0)} << ","
          << int{bytes.back()} << " " << facts.bootArgs.value_or("-") << " "
          << facts.model.value_or("-") << " " << facts.buildVersion.value_or("-") << end;
    unit.reboot();
  }
  return state.str();
}

/// Returns whether each word of what is left is the old or the new one. Only a change of several
/// files has more than one new word on a side.
bool isWhole(const std::string& left, const std::string& before, const std::string& after) {
  std::istringstream lefts(left), befores(before), afters(after);
  for (std::string word, old, changed; lefts >> word && befores >> old && afters >> changed;) {
    if (word != old && word != changed) return false;
  }
  return true;
}

/// A change, which throws when it fails.
using Work = std::function<void(VirtualDevice&)>;

/// Returns a write without the read-back of writeBits, whose failure does not mean that the change
/// failed.
Work set(uint8_t value, bool commit) {
  return [=](VirtualDevice& unit) {
    unit.use();
    if (requestWrite(kSet, 0, {value}, commit) != 0) throw DeviceError("refused");
  };
}

Work change(void (*change)(UnitFacts&)) {
  return [=](VirtualDevice& unit) { changeFacts(unit, change); };
}

struct Change {
  const char* name;
  Work before, change;
  /// The unit's state after the change.
  const char* after;
  bool isDurable = true;

  bool isDone(const fs::path& folder) const {
    return reasonAgainst<std::exception>([&] {
             VirtualDevice unit(folder / "unit");
             change(unit);
           })
        .empty();
  }
};

const Work kNothing = [](VirtualDevice&) {};
const Work kLeaveUncommitted = set(0x11, false);
tools::UnitImage gImage;
const Work kMakeImage = [](VirtualDevice& unit) {
  gImage = tools::readUnitFolder(unit.folder());
  gImage.files[tools::kDiagnosticDataFile][0] = 0x22;
  kLeaveUncommitted(unit);
};
const Work kImport = [](VirtualDevice& unit) { tools::installUnit(unit.folder(), gImage); };
constexpr char kCommitted[] = "1024:22,ff console=1 T33AP 1A100 | 1024:22,ff console=1 T33AP 1A100";
constexpr char kUncommitted[] =
    "1024:22,ff console=1 T33AP 1A100 | 1024:ff,ff console=1 T33AP 1A100";

const Change kChanges[] = {
    {"committed set", kNothing, set(0x22, true), kCommitted},
    {"committed set over an uncommitted one", kLeaveUncommitted, set(0x22, true), kCommitted},
    {"uncommitted set", kNothing, set(0x22, false), kUncommitted, false},
    {"second uncommitted set", kLeaveUncommitted, set(0x22, false), kUncommitted, false},
    {"setDataSet over an uncommitted set", kLeaveUncommitted,
     [](VirtualDevice& unit) { unit.setDataSet(kSet, std::vector<uint8_t>(600, 0x33)); },
     "600:33,33 console=1 T33AP 1A100 | 600:33,33 console=1 T33AP 1A100"},
    {"reboot", kLeaveUncommitted, [](VirtualDevice& unit) { unit.reboot(); },
     "1024:ff,ff console=1 T33AP 1A100 | 1024:ff,ff console=1 T33AP 1A100"},
    {"NVRAM variable", kNothing,
     [](VirtualDevice& unit) {
       unit.use();
       const IOObject nvram = firstService("IODTNVRAM");
       if (IORegistryEntrySetCFProperty(nvram.get(), CFSTR("boot-args"), CFSTR("new")) != 0)
         throw DeviceError("refused");
     },
     "1024:ff,ff new T33AP 1A100 | 1024:ff,ff new T33AP 1A100"},
    {"first NVRAM variable", [](VirtualDevice& unit) { fs::remove(unit.folder() / "nvram.plist"); },
     change([](UnitFacts& facts) { facts.bootArgs = "first"; }),
     "1024:ff,ff first T33AP 1A100 | 1024:ff,ff first T33AP 1A100"},
    {"facts of three files", kNothing,
     change([](UnitFacts& facts) { facts.model = facts.bootArgs = facts.buildVersion = "all"; }),
     "1024:ff,ff all all all | 1024:ff,ff all all all"},
    {"import", kMakeImage, kImport, kCommitted},
};

/// Returns how many cases a change gets: $CORVANE_POWER_CUTS, or a number that finds every fault
/// that was ever found.
size_t caseLimit(size_t usual) {
  const char* limit = std::getenv("CORVANE_POWER_CUTS");
  return limit ? std::strtoul(limit, nullptr, 10) : usual;
}

class PowerCutTest : public UnitTest {
 protected:
  /// Puts the thousands of short-lived units into a file system in memory, where there is one.
  static void SetUpTestSuite() {
    if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
  }

  /// Makes `_original` a unit as the change finds it.
  void prepare(const Change& change) {
    fs::remove_all(_original);
    VirtualDevice unit(_original / "unit");
    change.before(unit);
    _before = stateOf(copyOfUnit());
    const fs::path changed = copyOfUnit();
    ASSERT_TRUE(change.isDone(changed)) << change.name;
    ASSERT_EQ(stateOf(changed), change.after) << change.name;
  }

  fs::path copyOfUnit() {
    const fs::path copy = path("copy");
    fs::remove_all(copy);
    fs::copy(_original, copy, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    return copy;
  }

  /// Records what `work` does in `folder`, lets the power fail at each moment of it, and counts the
  /// cases under `name`.
  void cut(const std::string& name, const fs::path& folder, const std::function<void()>& work,
           size_t limit, const std::function<void(const fs::path&, bool)>& judge) {
    std::vector<Disk> moments{Disk(folder)};
    gFileCalls = {.recording = &moments};
    work();
    gFileCalls = {};
    EXPECT_GT(moments.size(), 6u) << name;
    EXPECT_FALSE(Disk(moments.back()).update()) << name << " makes calls that are not replaced";
    const size_t cases = cutAtEach(moments, _folder.path(), caseLimit(limit), judge);
    std::cout << name << ": " << moments.size() << " moments, " << cases << " cases\n";
  }

  fs::path path(const std::string& name) const { return _folder.path() / name; }

  const fs::path _original = path("original");
  std::string _before;
};

TEST_F(PowerCutTest, ACutLeavesTheOldOrTheNewUnitAndAfterTheReturnTheNewOne) {
  for (const Change& change : kChanges) {
    prepare(change);
    const fs::path folder = copyOfUnit();
    const auto work = [&] { EXPECT_TRUE(change.isDone(folder)); };
    cut(change.name, folder, work, 200, [&](const fs::path& left, bool isLast) {
      const std::string state = stateOf(left);
      EXPECT_TRUE(isWhole(state, _before, change.after))
          << change.name << ", " << left << ": neither " << _before << " nor " << change.after;
      for (const auto& entry : fs::recursive_directory_iterator(left)) {
        EXPECT_NE(entry.path().extension(), ".new") << change.name << ", " << entry;
      }
      if (isLast && change.isDurable) {
        EXPECT_EQ(state, change.after) << change.name << ", " << left;
      }
    });
  }
}

TEST_F(PowerCutTest, ACutLeavesANewUnitThatIsWholeOrThatTheNextUseCompletes) {
  UnitFacts withoutVariables;
  withoutVariables.bootArgs.reset();
  for (const UnitFacts& facts : {UnitFacts(), withoutVariables}) {
    fs::remove_all(path("parent"));
    fs::create_directory(path("parent"));
    const auto work = [&] { VirtualDevice(path("parent/made/unit"), facts); };
    cut("init", path("parent"), work, 400, [&](const fs::path& left, bool isLast) {
      const fs::path folder = left / "made/unit";
      EXPECT_TRUE(!isLast || fs::exists(folder / "device.plist"));
      VirtualDevice unit(folder, facts);
      EXPECT_EQ(unit.facts(), facts) << left;
      EXPECT_EQ(unit.dataSet(kSet).size(), 1024u) << left;
      EXPECT_EQ(unit.dataSet("VelmoDiagnosticDataSysCfg").size(), 8192u) << left;
      unit.use();
      NSLog(CFSTR("%@"), CFSTR("here"));
      EXPECT_EQ(unit.systemLog(), std::vector<std::string>{"here"}) << left;
      EXPECT_TRUE(fs::exists(unit.filePath("/var/logs"))) << left;
    });
  }
}

TEST_F(PowerCutTest, ACutAfterAnImportIntoNewFoldersLeavesTheUnit) {
  fs::create_directory(path("parent"));
  const tools::UnitImage image = tools::readUnitFolder(_unit.folder());
  const auto work = [&] { tools::installUnit(path("parent/made/new/unit"), image); };
  cut("import of a new unit", path("parent"), work, 100, [&](const fs::path& left, bool isLast) {
    EXPECT_TRUE(!isLast || fs::exists(left / "made/new/unit/device.plist")) << left;
  });
}

TEST_F(PowerCutTest, AChangeThatReportsAFailureHasChangedNothing) {
  size_t calls = 0;
  for (const Change& change : kChanges) {
    prepare(change);
    for (const int error : {EIO, ENOSPC}) {
      bool isReached = true;
      for (size_t number = 1; isReached; ++number) {
        const fs::path folder = copyOfUnit();
        ::testing::internal::CaptureStderr();
        gFileCalls = {.broken = number, .way = error};
        const bool isDone = change.isDone(folder);
        isReached = gFileCalls.made >= number;
        gFileCalls = {};
        ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(stateOf(folder), isDone ? change.after : _before)
            << change.name << ", call " << number << (isDone ? " succeeded" : " failed");
        EXPECT_TRUE(isDone || isReached) << change.name;
        calls += isReached;
      }
    }
  }
  std::cout << calls << " failing calls\n";
}

TEST_F(PowerCutTest, AnErrorTellsWhetherTheOutputFileWasReplacedAndItKeepsItsMode) {
  const fs::path file = path("output");
  writeText(file, "old");
  fs::permissions(file, fs::perms(0640));
  size_t unsyncedFolders = 0;
  bool isReached = true;
  for (size_t number = 1; isReached; ++number) {
    writeText(file, "old");
    gFileCalls = {.broken = number, .way = EIO};
    const std::string reason = reasonAgainst<tools::CommandError>([&] {
      tools::writeFile(file, std::vector<uint8_t>{'n', 'e', 'w'});
    });
    isReached = gFileCalls.made >= number;
    gFileCalls = {};
    const bool isReplaced = reason.find(": was replaced, but may not") != std::string::npos;
    EXPECT_EQ(readText(file), reason.empty() || isReplaced ? "new" : "old") << reason;
    unsyncedFolders += isReplaced;
  }
  EXPECT_EQ(unsyncedFolders, 1u);
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
  for (const auto& entry : fs::directory_iterator(file.parent_path())) {
    EXPECT_FALSE(entry.path().filename().string().starts_with("output.")) << entry;
  }
}

TEST_F(PowerCutTest, ShortWritesAndAFullDiskTearNoEntryOfTheSystemLog) {
  NSLog(CFSTR("%@"), CFSTR("first"));
  const auto logWithRoom = [](size_t room, CFStringRef message) {
    gFileCalls = {.room = room};
    NSLog(CFSTR("%@"), message);
    gFileCalls = {};
  };
  logWithRoom(8, CFSTR("does not fit"));
  logWithRoom(1000, CFSTR("second"));
  const fs::path file = _unit.filePath("/var/log/system.log");
  writeText(file, readText(file) + "cut by a kill");
  NSLog(CFSTR("%@"), CFSTR("next"));
  EXPECT_EQ(_unit.systemLog(),
            (std::vector<std::string>{"first", "second\ncut by a kill", "next"}));
}

}  // namespace
}  // namespace corvane::testing
