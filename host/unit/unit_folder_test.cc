#include "host/unit/unit_folder.h"

#include <IOKit/IOKitLib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/device_error.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

namespace fs = std::filesystem;
using corvane::testing::readText;
using corvane::testing::TemporaryFolder;
using corvane::testing::writeText;

/// The reason why there can be no unit in `folder`; empty when there can.
std::string reasonAgainst(const fs::path& folder) {
  try {
    VirtualDevice unit(folder);
    return "";
  } catch (const DeviceError& error) {
    return error.what();
  }
}

TEST(UnitFolderTest, AMissingAnEmptyAndAHalfMadeFolderBecomeAUnit) {
  const TemporaryFolder folder;
  UnitFacts facts;
  facts.model = "T36AP";
  const fs::path missing = folder.path() / "a/b/unit";
  EXPECT_EQ(VirtualDevice(missing, facts).facts(), facts);
  EXPECT_EQ(VirtualDevice(missing).facts(), facts) << "a unit that is there stays as it is";
  EXPECT_EQ(VirtualDevice(missing).dataSet("VelmoDiagnosticDataSysCfg").size(), 8192u);
  EXPECT_EQ(fs::read_symlink(missing / "root/var"), "private/var");

  const fs::path empty = folder.path() / "empty";
  fs::create_directory(empty);
  EXPECT_EQ(VirtualDevice(empty).facts(), UnitFacts());

  const fs::path halfMade = folder.path() / "half";
  writeText(halfMade / "data/VelmoDiagnosticData.bin", "kept");
  writeText(halfMade / ".device.plist.new", "<pl");
  EXPECT_EQ(VirtualDevice(halfMade).facts(), UnitFacts());
  EXPECT_EQ(readText(halfMade / "data/VelmoDiagnosticData.bin"), "kept");
}

TEST(UnitFolderTest, AFolderThatIsNoUnitIsRefusedAndLeftAlone) {
  const TemporaryFolder folder;
  const fs::path file = folder.path() / "file";
  writeText(file, "x");
  EXPECT_EQ(reasonAgainst(file), file.string() + ": is not a folder");
  EXPECT_NE(reasonAgainst(file / "below").find(": Not a directory"), std::string::npos);

  const fs::path foreign = folder.path() / "foreign";
  writeText(foreign / "notes.txt", "mine");
  EXPECT_EQ(reasonAgainst(foreign),
            foreign.string() + ": is no unit: it holds other files and no device.plist");
  EXPECT_EQ(std::distance(fs::directory_iterator(foreign), {}), 1);
}

TEST(UnitFolderTest, ADamagedDeviceFileIsNamedAndNotOverwritten) {
  const TemporaryFolder folder;
  const fs::path file = folder.path() / "unit/device.plist";
  const std::pair<std::string, std::string> cases[] = {
      {"", "is not a property list"},
      {"<plist><dict><key>registry</key>", "is not a property list"},
      {"<plist><array/></plist>", "holds a property list that is not a dictionary"},
      {"<plist><dict/></plist>", "has no dictionary \"registry\""},
      {"<plist><dict><key>registry</key><dict><key>A</key><true/></dict></dict></plist>",
       "the registry entry \"A\" is not a dictionary"},
  };
  for (const auto& [contents, reason] : cases) {
    writeText(file, contents);
    EXPECT_EQ(reasonAgainst(folder.path() / "unit"), file.string() + ": " + reason);
    EXPECT_EQ(readText(file), contents);
  }
}

TEST(UnitFolderTest, AFolderWithoutPermissionIsRefusedInOneLine) {
  const TemporaryFolder folder;
  const fs::path unit = folder.path() / "unit";
  VirtualDevice{unit};
  ::chmod(folder.path().c_str(), 0755);
  ::chmod(unit.c_str(), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::geteuid() == 0 && ::seteuid(65534) != 0) ::_exit(2);
    ::_exit(reasonAgainst(unit).ends_with("unit/device.plist: Permission denied") ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  ::chmod(unit.c_str(), 0755);
}

TEST(UnitFolderTest, ChangedFactsLeaveEverythingElseInTheFiles) {
  const TemporaryFolder folder;
  VirtualDevice unit(folder.path() / "unit");
  const fs::path file = unit.folder() / "device.plist";
  const std::string odd =
      "<key>CurrentCapacity</key><string>full</string><key>Note</key><data>AQI=</data>";
  writeText(file,
            "<plist><dict><key>power</key><string>plist</string><key>registry</key><dict>"
            "<key>IOPMPowerSource</key><dict>" +
                odd + "</dict></dict></dict></plist>");
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
  EXPECT_THROW(unit.setFacts(facts), DeviceError);
  EXPECT_EQ(readText(file), changed);
}

TEST(UnitFolderTest, AClassMayHaveSeveralServices) {
  const TemporaryFolder folder;
  VirtualDevice unit(folder.path() / "unit");
  writeText(unit.folder() / "device.plist",
            "<plist><dict><key>registry</key><dict><key>IOPMPowerSource</key><array>"
            "<dict><key>Name</key><string>first</string></dict>"
            "<dict><key>Name</key><string>second</string></dict>"
            "</array></dict></dict></plist>");
  unit.use();
  io_iterator_t services = 0;
  ASSERT_EQ(IOServiceGetMatchingServices(0, IOServiceMatching("IOPMPowerSource"), &services), 0);
  for (const char* name : {"first", "second"}) {
    const io_object_t service = IOIteratorNext(services);
    const CFRef<CFTypeRef> value(
        IORegistryEntryCreateCFProperty(service, CFSTR("Name"), nullptr, 0));
    EXPECT_EQ(corvane::testing::text(static_cast<CFStringRef>(value.get())), name);
    EXPECT_EQ(IORegistryEntrySetCFProperties(service, kCFBooleanTrue), kIOReturnBadArgument);
    EXPECT_EQ(IOObjectRelease(service), 0);
    EXPECT_EQ(IOObjectRelease(service), KERN_INVALID_NAME);
  }
  EXPECT_EQ(IOIteratorNext(services), 0u);
  EXPECT_EQ(IOObjectRelease(services), 0);
  EXPECT_EQ(VirtualDevice::openHandles(), 0u);
}

TEST(UnitInUseDeathTest, AnUnusableUnitIsReportedOnceAndFailsEveryCall) {
  EXPECT_EXIT(
      {
        mach_port_t port = 1;
        for (int i = 0; i < 3; ++i) {
          if (IOMasterPort(bootstrap_port, &port) != kIOReturnNoDevice || port != 0) ::_exit(1);
        }
        ::_exit(0);
      },
      ::testing::ExitedWithCode(0), "^virtual device: /dev/null: is not a folder\n$");
}

}  // namespace
}  // namespace corvane::host
