#include "host/virtual_unit/unit_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>
#include <map>

#include "host/linux/link_free_open.h"
#include "log/log.h"
#include "platform/system_log.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

namespace fs = std::filesystem;
using corvane::testing::readText;
using corvane::testing::reasonAgainst;
using corvane::testing::writeText;

class UnitFolderTest : public ::testing::Test {
 protected:
  const corvane::testing::TemporaryFolder _folder;
  const fs::path _unit = _folder.path() / "unit";
};

std::string reasonAgainstUnit(const fs::path& folder) {
  return reasonAgainst([&] { VirtualDevice unit(folder); });
}

/// Expects this reason why another user, in a process of its own, cannot do `work`. Only root can
/// become another user.
void expectForAnotherUser(const ::testing::Matcher<const std::string&>& reason,
                          const std::function<void()>& work) {
  const auto say = [&] {
    std::cerr << (::seteuid(65534) == 0 ? reasonAgainst(work) : "cannot change the user");
    ::_exit(0);
  };
  EXPECT_EXIT(say(), ::testing::ExitedWithCode(0), reason);
}

TEST_F(UnitFolderTest, AMissingAnEmptyAndAHalfMadeFolderBecomeAUnit) {
  UnitFacts facts;
  facts.model = "T36AP";
  const fs::path missing = _folder.path() / "a/b/unit";
  EXPECT_EQ(VirtualDevice(missing, facts).facts(), facts);
  EXPECT_EQ(VirtualDevice(missing).facts(), facts) << "a unit that is there stays as it is";
  EXPECT_EQ(VirtualDevice(missing).dataSet("VelmoDiagnosticDataSysCfg").size(), 8192u);
  EXPECT_EQ(fs::read_symlink(missing / "root/var"), "private/var");

  fs::create_directory(_folder.path() / "empty");
  EXPECT_EQ(VirtualDevice(_folder.path() / "empty").facts(), UnitFacts());

  writeText(_unit / "data/VelmoDiagnosticData.bin", "kept");
  EXPECT_EQ(VirtualDevice::existing(missing).facts(), facts);

  writeText(_unit / ".device.plist.0123456789abcdef.new", "<pl");
  EXPECT_EQ(VirtualDevice(_unit).facts(), UnitFacts());
  EXPECT_EQ(readText(_unit / "data/VelmoDiagnosticData.bin"), "kept");
}

TEST_F(UnitFolderTest, AFolderThatIsNotAUnitIsRefusedAndLeftAlone) {
  writeText(_folder.path() / "file", "x");
  writeText(_folder.path() / "foreign/notes.txt", "mine");
  fs::create_symlink("loop", _folder.path() / "loop");
  const std::pair<const char*, const char*> cases[] = {
      {"file/below", "Not a directory"},
      {"foreign", "is not a unit: it holds other files and no device.plist"},
      {"loop", "Too many levels of symbolic links"},
  };
  for (const auto& [name, reason] : cases) {
    const fs::path folder = _folder.path() / name;
    EXPECT_EQ(reasonAgainstUnit(folder), folder.string() + ": " + reason);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(_folder.path() / "foreign"), {}), 1);
}

TEST_F(UnitFolderTest, ADamagedDeviceFileIsNamedAndNotOverwritten) {
  const fs::path file = _unit / "device.plist";
  const std::pair<std::string, std::string> cases[] = {
      {"", "is not a property list"},
      {"<plist><dict/></plist>", "has no dictionary \"registry\""},
      {"<plist><dict><key>registry</key><dict><key>A</key><true/></dict></dict></plist>",
       "the registry entry \"A\" is not a dictionary"},
      {"<plist><dict><key>registry</key><dict/><key>power</key><string/></dict></plist>",
       "\"power\" is neither \"plist\" nor \"host\""},
  };
  for (const auto& [contents, reason] : cases) {
    writeText(file, contents);
    EXPECT_EQ(reasonAgainstUnit(_unit), file.string() + ": " + reason);
    EXPECT_EQ(readText(file), contents);
  }
}

TEST_F(UnitFolderTest, NothingButRegularFilesOfABoundedSizeIsReadOrReplaced) {
  const fs::path victim = _folder.path() / "victim";
  const std::pair<const char*, std::function<void(const fs::path&)>> kinds[] = {
      {"is not a regular file", [](const fs::path& file) { ::mkfifo(file.c_str(), 0666); }},
      {"is not a regular file", [](const fs::path& file) { fs::create_directory(file); }},
      {"is a symbolic link", [&](const fs::path& file) { fs::create_symlink(victim, file); }},
      {"is larger than any file of a unit",
       [](const fs::path& file) {
         writeText(file, "");
         fs::resize_file(file, uint64_t{1} << 40);
       }},
  };
  writeText(victim, "untouched");
  for (const char* name : {"device.plist", "nvram.plist", "data/VelmoDiagnosticData.bin",
                           "root/System/Library/CoreServices/SystemVersion.plist",
                           "root/private/var/log/system.log"}) {
    for (const auto& [reason, put] : kinds) {
      fs::remove_all(_unit);
      VirtualDevice unit(_unit);
      unit.use();
      fs::remove(_unit / name);
      put(_unit / name);
      const auto readAll = [&] {
        unit.facts();
        unit.dataSet("VelmoDiagnosticData");
        unit.systemLog();
      };
      EXPECT_EQ(reasonAgainst(readAll), (_unit / name).string() + ": " + reason);
      NSLog(CFSTR("%@"), CFSTR("dropped, or at the end of the large file"));
    }
  }
  fs::remove_all(_unit);
  VirtualDevice unit(_unit);
  fs::remove(_unit / ".lock");
  fs::create_symlink(victim, _unit / ".lock");
  EXPECT_EQ(reasonAgainst([&] { unit.reboot(); }),
            (_unit / ".lock").string() + ": is a symbolic link");
  fs::remove(_unit / ".lock");
  const fs::path committed = _unit / "data/VelmoDiagnosticData.committed";
  fs::create_symlink(victim, committed);
  EXPECT_EQ(reasonAgainst([&] { unit.reboot(); }), committed.string() + ": is a symbolic link");
  EXPECT_EQ(unit.dataSet("VelmoDiagnosticData").size(), 1024u);
  EXPECT_EQ(readText(victim), "untouched");
}

/// Returns the names and the contents of all files below the folder.
std::map<fs::path, std::string> filesBelow(const fs::path& folder) {
  std::map<fs::path, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    files[entry.path()] = entry.is_regular_file() ? readText(entry.path()) : "";
  }
  return files;
}

TEST_F(UnitFolderTest, NothingIsChangedThroughALinkInTheUnit) {
  const fs::path other = _folder.path() / "other";
  fs::create_directory(other);
  const std::string data = (_unit / "data").string(),
                    reached = ": is reached through a symbolic link",
                    services = (_unit / "root/System/Library").string() + reached;
  const std::pair<const char*, std::string> cases[] = {
      {"data", data + reached},      {"root", services},
      {"root/private/var", ""},      {"root/private/var/log", ""},
      {"root/private/var/logs", ""}, {"root/private/var/logs/CorvaneTov/log.txt", ""}};
  for (const auto& [name, reasons] : cases) {
    fs::remove_all(_unit);
    VirtualDevice unit(_unit);
    unit.use();
    Log::write(CFSTR("first"), nullptr, 0);
    const fs::path moved = other / fs::path(name).filename();
    fs::rename(_unit / name, moved);
    fs::create_symlink(moved, _unit / name);
    const auto before = filesBelow(other);
    UnitFacts facts;
    facts.buildVersion = "changed";
    const std::string dataReason =
        reasonAgainst([&] { unit.setDataSet("VelmoDiagnosticData", {}); });
    const std::string factsReason = reasonAgainst([&] { unit.setFacts(facts); });
    EXPECT_EQ(dataReason + factsReason, reasons) << name;
    Log::write(CFSTR("dropped where it leads elsewhere"), nullptr, 0);
    fs::remove(_unit / "device.plist");
    const std::string reason = reasonAgainstUnit(_unit);
    EXPECT_EQ(reason.ends_with(reached), fs::is_directory(moved)) << reason;
    EXPECT_EQ(filesBelow(other), before) << name;
    fs::remove_all(moved);
  }
  // A file that is not there yet is not made through a link either.
  fs::remove_all(_unit);
  VirtualDevice(_unit).use();
  const fs::path log = _unit / ("root" + std::string(kLogFile));
  fs::create_directory(log.parent_path());
  fs::create_symlink(_folder.path() / "new", log);
  Log::write(CFSTR("dropped"), nullptr, 0);
  EXPECT_FALSE(fs::exists(_folder.path() / "new"));
}

TEST_F(UnitFolderTest, PathsAreOpenedWithoutLinksAlsoWhereTheKernelLacksTheCallForIt) {
  const fs::path folder = _folder.path();
  writeText(folder / "a/b/file", "x");
  fs::create_symlink("a", folder / "link");
  fs::create_symlink("file", folder / "a/b/link");
  for (const auto open : {openLinkFree, openStepByStep}) {
    for (const fs::path& path :
         {fs::path("."), fs::path("/.."), folder / "a//b/file", folder / "a/b/"}) {
      EXPECT_TRUE(open(path.c_str(), O_RDONLY, 0)) << path;
    }
    for (const char* path : {"link/b/file", "a/b/link", "a/none/file", "a/none"}) {
      EXPECT_FALSE(open((folder / path).c_str(), O_RDONLY, 0)) << path;
    }
    fs::remove(folder / "new");
    EXPECT_TRUE(open((folder / "new").c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600));
  }
}

TEST_F(UnitFolderTest, AnotherUsersFolderIsTrustedOnlyIfNamedAndClosedToOthers) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  ::chmod(_folder.path().c_str(), 0755);
  VirtualDevice{_unit};
  const auto open = [&] { VirtualDevice{_unit}; };
  expectForAnotherUser("", open);
  ::chmod(_unit.c_str(), 0777);
  expectForAnotherUser(
      _unit.string() + ": belongs to another user (0) and everybody can write to it", open);

  // A process looks up its default folder once, so that this test must run again in a new one.
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  VirtualDevice{_folder.path() / "corvane/device"};
  expectForAnotherUser(
      ::testing::ContainsRegex(
          "corvane/device: belongs to another user .0.; .CORVANE_DEVICE can name it$"),
      [&] {
        ::unsetenv("CORVANE_DEVICE");
        ::setenv("XDG_STATE_HOME", _folder.path().c_str(), 1);
        VirtualDevice{VirtualDevice::defaultFolder()};
      });
}

TEST_F(UnitFolderTest, AChangeKeepsTheModeAndWhenRootMakesItTheOwner) {
  VirtualDevice unit(_unit);
  unit.use();
  const uid_t owner = ::geteuid() == 0 ? 65534 : ::geteuid();
  for (const auto& entry : fs::recursive_directory_iterator(_unit)) {
    ASSERT_EQ(::lchown(entry.path().c_str(), owner, static_cast<gid_t>(-1)), 0);
    if (entry.is_regular_file()) ::chmod(entry.path().c_str(), 0640);
  }
  ASSERT_EQ(::chown(_unit.c_str(), owner, static_cast<gid_t>(-1)), 0);
  UnitFacts facts;
  facts.model = facts.bootArgs = facts.buildVersion = "changed";
  unit.setFacts(facts);
  unit.setDataSet("VelmoDiagnosticData", std::vector<uint8_t>(10));
  Log::write(CFSTR("first line, and first entry of the system log"), nullptr, 0);
  for (const auto& entry : fs::recursive_directory_iterator(_unit)) {
    struct stat file {};
    ::lstat(entry.path().c_str(), &file);
    EXPECT_EQ(file.st_uid, owner) << entry.path();
    if (entry.path().extension() == ".plist" || entry.path().extension() == ".bin") {
      EXPECT_EQ(file.st_mode & 07777, 0640u) << entry.path();
    }
  }
}

TEST_F(UnitFolderTest, ChangedFactsLeaveEverythingElseInTheFiles) {
  VirtualDevice unit(_unit);
  const fs::path file = _unit / "device.plist";
  writeText(file,
            "<plist><dict><key>power</key><string>plist</string><key>registry</key><dict>"
            "<key>IOPMPowerSource</key><dict><key>CurrentCapacity</key><string>full</string>"
            "<key>Note</key><data>AQI=</data></dict></dict></dict></plist>");
  UnitFacts facts = unit.facts();
  EXPECT_EQ(facts.model, std::nullopt);
  EXPECT_EQ(facts.currentCapacity, std::nullopt) << "of another type";
  facts.model = "T34AP";
  facts.externalPower = false;
  facts.bootArgs.reset();
  facts.buildVersion = "2B200";
  unit.setFacts(facts);
  EXPECT_EQ(unit.facts(), facts);
  const std::string changed = readText(file);
  for (const char* kept : {"<string>full</string>", "AQI=", "<key>power</key>"}) {
    EXPECT_NE(changed.find(kept), std::string::npos) << changed;
  }
  facts.model = "\xff";
  facts.bootArgs = "also refused";
  EXPECT_EQ(reasonAgainst([&] { unit.setFacts(facts); }), "'\xff' is not UTF-8 text");
  EXPECT_EQ(readText(file), changed);
  EXPECT_EQ(unit.facts().bootArgs, std::nullopt);
}

TEST(UnitInUseDeathTest, AnUnusableUnitIsReportedOnceAndFailsEveryCall) {
  EXPECT_EXIT(
      {
        ::setenv("CORVANE_DEVICE", "/dev/null/\x1b\u009b", 1);
        mach_port_t port = 1;
        IOMasterPort(bootstrap_port, &port);
        ::_exit(IOMasterPort(bootstrap_port, &port) == kIOReturnNoDevice && port == 0 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0),
      R"(^virtual device: /dev/null/\\x1b\\xc2\\x9b: Not a directory; )"
      "[$]CORVANE_DEVICE can name another folder\n$");
}

}  // namespace
}  // namespace corvane::host
