#ifndef CORVANE_TESTING_UNIT_TEST_H_
#define CORVANE_TESTING_UNIT_TEST_H_

#include <IOKit/IOKitLib.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "host/include/virtual_device.h"
#include "platform/cf_ref.h"

namespace corvane::testing {

/// Makes a folder below the system's temporary one, and removes it at the end of its own life.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return _path; }

 private:
  std::filesystem::path _path;
};

/// Gives each test a fresh default unit, which is in use, and no fault rules.
class UnitTest : public ::testing::Test {
 protected:
  UnitTest();
  ~UnitTest() override;

  /// Returns the messages of the test log without their time stamps; none when there is no log yet.
  /// A line without a time stamp continues the message before it, as the text of a refused request
  /// may.
  std::vector<std::string> logLines() const;

  /// What a piece of work leaves behind.
  struct Trace {
    std::vector<std::string> log;
    std::vector<std::string> systemLog;
    std::string standardError;
  };
  /// Empties both logs, runs `work` under the fault rules, and returns what it left.
  Trace traceOf(const std::string& rules, const std::function<void()>& work);

  /// Returns the bytes of the data set "VelmoDiagnosticData".
  std::vector<uint8_t> bytes() const;
  void setByte(size_t offset, uint8_t byte);

  TemporaryFolder _folder;
  host::VirtualDevice _unit;
};

/// Applies `change` to the unit's facts.
void changeFacts(host::VirtualDevice& unit, const std::function<void(host::UnitFacts&)>& change);

/// Asks the data area's driver to write, as programs do. Returns its answer.
kern_return_t requestWrite(const std::string& set, int64_t offset,
                           const std::vector<uint8_t>& bytes, bool commit);

/// Returns why `work` cannot be done: the text of the error that it throws; empty when it can.
template <typename Error = host::DeviceError>
std::string reasonAgainst(const std::function<void()>& work) {
  try {
    work();
    return "";
  } catch (const Error& error) {
    return error.what();
  }
}

std::string readText(const std::filesystem::path& file);
void writeText(const std::filesystem::path& file, const std::string& text);
std::vector<std::string> splitLines(const std::string& text);
/// Returns how often `part` occurs in `text`.
size_t countOf(const std::string& text, const std::string& part);

CFRef<CFStringRef> cfString(const std::string& text);
/// Returns the string's text, or "(absent)" for null.
std::string text(CFStringRef string);

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_UNIT_TEST_H_
