#include "host/faults.h"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>

#include "host/include/virtual_device.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

using corvane::testing::reasonAgainst;

using FaultsTest = corvane::testing::UnitTest;

kern_return_t askForPort() {
  mach_port_t port = 0;
  return IOMasterPort(bootstrap_port, &port);
}

TEST_F(FaultsTest, ARuleFailsTheCallsThatItCounts) {
  const struct {
    const char* rules;
    std::vector<kern_return_t> results;
  } cases[] = {
      {"IOMasterPort", {kIOReturnError, kIOReturnError, kIOReturnError}},
      {"IOMasterPort=7@2", {0, 7, 0}},
      {"IOMasterPort=-0x7@2+", {0, -7, -7}},
      {"IOMasterPort=0xe00002c0@0x1", {kIOReturnNoDevice, 0, 0}},
      {"IOMasterPort=1@1,IOMasterPort=010@3,CFNumberCreate", {1, 0, 10}},
      {"", {0, 0, 0}},
  };
  for (const auto& c : cases) {
    VirtualDevice::setFaults(c.rules);
    for (const kern_return_t result : c.results) EXPECT_EQ(askForPort(), result) << c.rules;
  }
}

TEST_F(FaultsTest, ARuleThatCannotBeUsedChangesNothingAndSaysWhy) {
  VirtualDevice::setFaults("IOMasterPort=9");
  const std::pair<const char*, const char*> cases[] = {
      {"IOMasterPort=0,Nonsense@1", "'Nonsense@1' names no platform function"},
      {"IOMasterPort@0", "occurrence"},
      {"IOMasterPort@1++", "occurrence"},
      {"IOMasterPort=", "result"},
      {"IOMasterPort=1x", "result"},
      {"CFNumberCreate=3", "can only yield null"},
      {"stuck:A", "stuck:SET:OFFSET=BYTE"},
      {"stuck:A:1=256", "0xFF"},
      {"stuck:A:-1=2", "offset"},
      {"stuck::1=2", "stuck:SET:OFFSET=BYTE"},
      {",", "names no platform function"},
  };
  for (const auto& [rules, reason] : cases) {
    const std::string said =
        reasonAgainst([&, &rules = rules] { VirtualDevice::setFaults(rules); });
    EXPECT_NE(said.find(reason), std::string::npos) << rules << ": " << said;
    EXPECT_EQ(askForPort(), 9) << rules;
  }
}

TEST_F(FaultsTest, TheHostsOwnCallsAreNeitherCountedNorFailed) {
  VirtualDevice::setFaults("CFStringCreateWithCString,CFDictionaryGetValue,CFGetTypeID");
  io_iterator_t services = 0;
  EXPECT_EQ(IOServiceGetMatchingServices(0, IOServiceMatching("IOPMPowerSource"), &services), 0);
  EXPECT_EQ(IOObjectRelease(services), 0);
}

/// Calls a platform function three times, in a process whose environment is read at the first.
void callInProcess(const std::string& rules, const std::string& callsFile) {
  ::setenv("CORVANE_FAULTS", rules.c_str(), 1);
  ::setenv("CORVANE_CALLS", callsFile.c_str(), 1);
  for (int i = 0; i < 3; ++i) askForPort();
}

TEST(FaultsDeathTest, ABadRuleInTheEnvironmentEndsTheProgram) {
  EXPECT_EXIT(callInProcess("IOMasterPorts", "/dev/null"), ::testing::ExitedWithCode(2),
              "names no platform function.* IOMasterPort, ");
}

TEST(FaultsDeathTest, TheCallsFileHasTheCountsOfEachProcess) {
  const corvane::testing::TemporaryFolder folder;
  const std::string file = folder.path() / "calls";
  EXPECT_EXIT((callInProcess("", file),
               ::fork() == 0 ? callInProcess("", file) : void(::wait(nullptr)), ::_exit(0)),
              ::testing::ExitedWithCode(0), "");
  const std::string calls = corvane::testing::readText(file);
  EXPECT_TRUE(std::regex_search(
      calls, std::regex("\"IOMasterPort\": *3,[^\n]*\n[^\n]*\"IOMasterPort\": *6,")))
      << calls;
}

}  // namespace
}  // namespace corvane::host
