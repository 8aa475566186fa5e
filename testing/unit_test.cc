#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

#include "log/log.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "testing/objects.h"

namespace corvane::testing {

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "corvane-test-XXXXXX").string();
  if (!::mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
  _path = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code error;
  std::filesystem::remove_all(_path, error);
}

UnitTest::UnitTest() : _unit(_folder.path() / "unit") {
  host::VirtualDevice::setFaults("");
  _unit.use();
}

UnitTest::~UnitTest() { host::VirtualDevice::setFaults(""); }

std::vector<std::string> UnitTest::logLines() const {
  static const std::regex kHead(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] )");
  std::vector<std::string> messages;
  for (const std::string& line : splitLines(readText(_unit.filePath(kLogFile)))) {
    std::smatch head;
    if (std::regex_search(line, head, kHead, std::regex_constants::match_continuous)) {
      messages.push_back(head.suffix());
    } else if (messages.empty()) {
      ADD_FAILURE() << "'" << line << "' has no time stamp";
    } else {
      messages.back() += "\n" + line;
    }
  }
  return messages;
}

UnitTest::Trace UnitTest::traceOf(const std::string& rules, const std::function<void()>& work) {
  std::filesystem::remove(_unit.filePath(kLogFile));
  std::filesystem::remove(_unit.filePath("/private/var/log/system.log"));
  host::VirtualDevice::setFaults(rules);
  ::testing::internal::CaptureStderr();
  work();
  std::string standardError = ::testing::internal::GetCapturedStderr();
  host::VirtualDevice::setFaults("");
  return {logLines(), _unit.systemLog(), std::move(standardError)};
}

std::vector<uint8_t> UnitTest::bytes() const { return _unit.dataSet("VelmoDiagnosticData"); }

void UnitTest::setByte(size_t offset, uint8_t byte) {
  std::vector<uint8_t> contents = bytes();
  contents[offset] = byte;
  _unit.setDataSet("VelmoDiagnosticData", contents);
}

void changeFacts(host::VirtualDevice& unit, const std::function<void(host::UnitFacts&)>& change) {
  host::UnitFacts facts = unit.facts();
  change(facts);
  unit.setFacts(facts);
}

kern_return_t requestWrite(const std::string& set, int64_t offset,
                           const std::vector<uint8_t>& bytes, bool commit) {
  const std::string_view buffer(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const CFRef request = makeDictionary(
      {{CFSTR("VelmoDiagnosticDataSet"), cfString(set).get()},
       {CFSTR("VelmoDiagnosticDataCommit"), commit ? kCFBooleanTrue : kCFBooleanFalse},
       {CFSTR("VelmoDiagnosticDataOffset"), makeNumber(offset).get()},
       {CFSTR("VelmoDiagnosticDataBuffer"), makeData(buffer).get()}});
  return IORegistryEntrySetCFProperties(firstService("VelmoDiagnosticDataAccess").get(),
                                        request.get());
}

std::string readText(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeText(const std::filesystem::path& file, const std::string& text) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

size_t countOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != text.npos; ++at) ++count;
  return count;
}

CFRef<CFStringRef> cfString(const std::string& text) { return textFromUtf8(text); }

std::string text(CFStringRef string) { return string ? utf8Bytes(string) : "(absent)"; }

}  // namespace corvane::testing
