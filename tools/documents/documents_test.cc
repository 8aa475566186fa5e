#include "tools/documents/documents.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include "dataarea/bits.h"
#include "dataarea/data_area.h"
#include "dataarea/data_sets.h"
#include "testing/unit_test.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;
using corvane::testing::readText;
using corvane::testing::reasonAgainst;
using corvane::testing::writeText;
using host::VirtualDevice;
namespace fs = std::filesystem;

class UnitDocumentsTest : public ::testing::Test {
 protected:
  /// Returns a unit that stations have used.
  VirtualDevice usedUnit(const std::string& name, uint8_t status) const {
    host::UnitFacts facts;
    facts.bootArgs = "a=<&\u00e9";
    VirtualDevice unit(_folder.path() / name, facts);
    auto data = unit.dataSet("VelmoDiagnosticData");
    data[20] = status;
    unit.setDataSet("VelmoDiagnosticData", data);
    writeText(unit.folder() / kTestLogFile, "no UTF-8: \xFF\n");
    writeText(unit.filePath("/private/var/log/system.log"), "kept");
    return unit;
  }

  std::string textOf(const VirtualDevice& unit) const {
    return documentText(readUnitFolder(unit.folder()));
  }

  static UnitImage imageOf(const std::string& text) {
    return imageOfDocument({reinterpret_cast<const uint8_t*>(text.data()), text.size()}, "doc");
  }

  corvane::testing::TemporaryFolder _folder;
};

TEST_F(UnitDocumentsTest, AnImportedUnitExportsTheSameBytesAndKeepsItsOtherFiles) {
  const VirtualDevice first = usedUnit("first", 0xFC), second = usedUnit("second", 0xF2);
  const std::string text = textOf(first);
  fs::create_directories(second.filePath("/Users/x"));
  fs::create_symlink("x", second.filePath("/Users/link"));
  fs::create_directory(_folder.path() / ".second.import-killed");
  installUnit(second.folder(), imageOf(text));
  EXPECT_EQ(textOf(second), text);
  EXPECT_EQ(readText(second.filePath("/private/var/log/system.log")), "kept");
  EXPECT_EQ(fs::read_symlink(second.filePath("/Users/link")), "x");

  installUnit(_folder.path() / "new", imageOf(text));
  const VirtualDevice made(_folder.path() / "new");
  EXPECT_EQ(textOf(made), text);
  EXPECT_EQ(made.facts(), first.facts());
  // Nothing else is left in the folder, not even of an import that was killed.
  EXPECT_EQ(std::distance(fs::directory_iterator(_folder.path()), {}), 3);
}

TEST_F(UnitDocumentsTest, WhatContradictsTheRawContentsIsRefusedWithItsPlace) {
  const Json document = Json::parse(textOf(usedUnit("unit", 0xF2)));
  const std::string data = "/files/data~1VelmoDiagnosticData.bin";
  const std::tuple<std::string, Json, std::string> cases[] = {
      {data + "/decoded/controlBits/0/status", "passed",
       "VelmoDiagnosticData.bin/decoded/controlBits/0/status is \"passed\", but by the raw "
       "contents it is \"failed\""},
      {data + "/hex/3", "0g", "VelmoDiagnosticData.bin needs either"},
      {"/facts/more", 1, "/facts/more is 1, but by the raw contents it is missing"},
      {"/files/..~1x", {{"text", ""}}, "/files/../x is not a file of a unit's export"},
      {"/files/data~1.x.bin", {{"text", ""}}, "is not a file of a unit's export"},
      {"/files/device.plist", {{"text", 3}}, "/files/device.plist needs either"},
      {"/schema", 2, "/schema is 2; this tool reads 1"},
      {"/files", {{"nvram.plist", {{"text", ""}}}}, "/files must have device.plist, or"},
  };
  for (const auto& [pointer, value, message] : cases) {
    Json edited = document;
    edited[Json::json_pointer(pointer)] = value;
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, message,
                        reasonAgainst<CommandError>([&] { imageOf(edited.dump()); }));
  }
  EXPECT_THROW(imageOf(document.dump().substr(0, 500)), CommandError);
  const std::string deep = std::string(200'000, '[') + std::string(200'000, ']');
  EXPECT_EQ(reasonAgainst<CommandError>([&] { imageOf(R"({"schema":)" + deep + "}"); }),
            "doc: is nested too deeply");
}

TEST_F(UnitDocumentsTest, AUnitThatCannotBeUsedIsNotImported) {
  const VirtualDevice unit = usedUnit("unit", 0xF2);
  const std::string text = textOf(unit);
  UnitImage image = imageOf(text);
  image.files[kDeviceFile] = {'x'};
  const std::string reason =
      reasonAgainst<CommandError>([&] { installUnit(unit.folder(), image); });
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, (unit.folder() / kDeviceFile).string(), reason);
  // Damaged variables come back as they were.
  UnitImage damaged = imageOf(text);
  damaged.files[kNvramFile] = {'x'};
  installUnit(_folder.path() / "damaged", imageOf(documentText(damaged)));
  EXPECT_EQ(readText(_folder.path() / "damaged" / kNvramFile), "x");
  EXPECT_THROW(installUnit(_folder.path(), imageOf(text)), CommandError);
  EXPECT_EQ(textOf(unit), text);
  const fs::path data = unit.folder() / "data", elsewhere = _folder.path() / "elsewhere";
  fs::rename(data, elsewhere);
  fs::create_directory_symlink(elsewhere, data);
  EXPECT_EQ(reasonAgainst<CommandError>([&] { installUnit(unit.folder(), imageOf(text)); }),
            data.string() + ": is a symbolic link; the unit is as it was");
}

TEST_F(UnitDocumentsTest, AFileThatCannotBeReadEndsTheExport) {
  for (const char* part : {"root", "data", "device.plist"}) {
    const fs::path unit = usedUnit(part, 0xF2).folder();
    fs::remove_all(unit / part);
    fs::create_symlink(part, unit / part);
    const std::string reason = reasonAgainst<CommandError>([&] { readUnitFolder(unit); });
    EXPECT_TRUE(reason.starts_with((unit / part).string())) << reason;
    EXPECT_TRUE(reason.ends_with(": Too many levels of symbolic links")) << reason;
  }
}

TEST_F(UnitDocumentsTest, DumpsBecomeDocumentsAndDumpsAgain) {
  const fs::path unit = usedUnit("unit", 0xF2).folder(), other = _folder.path() / "other";
  for (const char* file : {kDiagnosticDataFile, kConfigurationFile}) {
    const UnitImage dump = imageOf(documentText(readImage(unit / file, {})));
    EXPECT_EQ(dump.files.at(file), readUnitFolder(unit).files.at(file));
  }
  writeText(other, std::string(100, 'x'));
  EXPECT_THROW(readImage(other, {}), CommandError);
  EXPECT_TRUE(readImage(other, DumpKind::kConfiguration).file(kConfigurationFile));
}

std::string linesOf(const Json& differences) {
  std::ostringstream text;
  printDifferences(text, differences);
  return text.str().substr(0, text.str().rfind('\n', text.str().size() - 2) + 1);
}

TEST_F(UnitDocumentsTest, DifferencesAreToldInWordsAndUnexplainedBytesLast) {
  VirtualDevice unit = usedUnit("unit", 0xFC);
  const UnitImage before = readUnitFolder(unit.folder());
  EXPECT_TRUE(differencesOf(before, before).empty());

  UnitImage after = before;
  Bytes& data = after.files[kDiagnosticDataFile];
  data[20] = 0xF2;
  // A last record with bytes after its message, in a slot that was free, and one stray byte.
  const Bytes record = {0x00, 0xF1, 0x53, 0x65, 0, 0, 0, 0, 7, 0x10, 'o', 'k', 0, 9, 9};
  std::ranges::copy(record, data.begin() + 128);
  data[1000] = 0;
  Bytes& area = after.files[kConfigurationFile];
  area[20] = 1, area[4] = 44;
  std::ranges::copy(std::string("STPOUMTS"), area.begin() + 24);
  std::string text = linesOf(differencesOf(before, after));
  for (const char* line :
       {"~ status 20: passed, fail count 0 (0xfc) -> failed, fail count 2 (0xf2)\n",
        "station 7, result 1, \"ok\"\n", "+ key OPTS: \"UMTS\"\n",
        "~ raw data/VelmoDiagnosticData.bin, 1 bytes at 1000: ff -> 00\n"}) {
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, line, text);
  }
  EXPECT_EQ(std::ranges::count(text, '\n'), 4) << text;

  // Of the same record, the flags' bit 7 and what follows the message's zero byte are explained by
  // nothing.
  UnitImage tail = after;
  tail.files[kDiagnosticDataFile][128 + 9] = 0x90;
  tail.files[kDiagnosticDataFile][128 + 14] = 8;
  EXPECT_EQ(linesOf(differencesOf(after, tail)),
            "~ raw data/VelmoDiagnosticData.bin, 1 bytes at 137: 10 -> 90\n"
            "~ raw data/VelmoDiagnosticData.bin, 1 bytes at 142: 09 -> 08\n");

  // Logs whose beginnings are the same.
  UnitImage logged = before, longer = before;
  longer.files[kTestLogFile] = logged.files[kTestLogFile] = Bytes(150, 'a');
  longer.files[kTestLogFile].push_back('b');
  EXPECT_EQ(linesOf(differencesOf(logged, longer)),
            "~ file " + kTestLogFile + ": ...aaaaaaaaaaaaaaaa -> ...aaaaaaaaaaaaaaaab\n");

  UnitImage dump;
  dump.files[kConfigurationFile] = area;
  EXPECT_EQ(linesOf(differencesOf(dump, before)), "- key OPTS: \"UMTS\"\n");
  auto facts = unit.facts();
  facts.bootArgs = "b";
  facts.currentCapacity.reset();
  unit.setFacts(facts);
  EXPECT_EQ(linesOf(differencesOf(before, readUnitFolder(unit.folder()))),
            "- device registry/IOPMPowerSource/CurrentCapacity: 80\n"
            "~ nvram boot-args: \"a=<&\u00e9\" -> \"b\"\n");
}

}  // namespace
}  // namespace corvane::tools
