#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <thread>
#include <vector>

#include "host/corefoundation/testing/objects.h"

namespace corvane::testing {
namespace {

TEST(ObjectTest, ReferencesAreCounted) {
  const CFRef number = makeNumber(1);
  EXPECT_EQ(CFGetRetainCount(number.get()), 1);
  EXPECT_EQ(CFRetain(number.get()), number.get());
  EXPECT_EQ(CFGetRetainCount(number.get()), 2);
  CFRelease(number.get());
  EXPECT_EQ(CFGetRetainCount(number.get()), 1);
}

TEST(ObjectTest, ConstantsOutliveAnyNumberOfReleases) {
  const std::vector<CFTypeRef> constants = {CFSTR("constant"), kCFBooleanTrue, kCFBooleanFalse,
                                            kCFAllocatorMalloc, kCFAllocatorNull};
  for (const CFTypeRef constant : constants) {
    CFRelease(constant);
    CFRelease(constant);
    EXPECT_EQ(CFGetRetainCount(constant), std::numeric_limits<CFIndex>::max());
  }
}

TEST(ObjectTest, EveryTypeHasItsOwnId) {
  const std::set<CFTypeID> ids = {0,
                                  CFArrayGetTypeID(),
                                  CFBooleanGetTypeID(),
                                  CFDataGetTypeID(),
                                  CFDateGetTypeID(),
                                  CFDictionaryGetTypeID(),
                                  CFNumberGetTypeID(),
                                  CFStringGetTypeID()};
  EXPECT_EQ(ids.size(), 8u);
  EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
}

TEST(ObjectTest, ThreadsShareAnObject) {
  const CFRef number = makeNumber(1);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < 10000; ++round) {
        CFRetain(number.get());
        CFRelease(number.get());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(CFGetRetainCount(number.get()), 1);
}

TEST(ObjectDeathTest, NullIsReportedAndEndsTheProgram) {
  EXPECT_DEATH(CFRelease(nullptr), "CFRelease: ");
  EXPECT_DEATH(CFRetain(nullptr), "CFRetain: ");
}

}  // namespace
}  // namespace corvane::testing
