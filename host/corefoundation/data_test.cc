#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/corefoundation/testing/objects.h"

namespace corvane::testing {
namespace {

std::string bytesOf(CFDataRef data) {
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
          static_cast<size_t>(CFDataGetLength(data))};
}

TEST(DataTest, CreatedDataIsACopy) {
  std::string bytes(8192, 'x');
  const CFRef data = makeData(bytes);
  bytes[0] = 'y';
  EXPECT_EQ(bytesOf(data.get()), std::string(8192, 'x'));
}

TEST(DataTest, BytesTakenUncopiedStayOrGoAsTheDeallocatorSays) {
  std::array<UInt8, 2> kept = {1, 2};
  const CFRef lent(CFDataCreateWithBytesNoCopy(nullptr, kept.data(), 2, kCFAllocatorNull));
  EXPECT_EQ(CFDataGetBytePtr(lent.get()), kept.data());

  // Memory that is not freed with its object would be reported as leaked.
  for (const CFAllocatorRef deallocator : {kCFAllocatorDefault, kCFAllocatorMalloc}) {
    auto* given = static_cast<UInt8*>(std::malloc(2));
    const CFRef owner(CFDataCreateWithBytesNoCopy(nullptr, given, 2, deallocator));
    EXPECT_EQ(CFDataGetBytePtr(owner.get()), given);
  }
}

TEST(DataTest, GrowingDataStartsEmptyAndFillsUpWithZeros) {
  const CFRef data(CFDataCreateMutable(nullptr, 0));
  CFDataSetLength(data.get(), 3);
  std::memcpy(CFDataGetMutableBytePtr(data.get()), "abc", 3);
  CFDataSetLength(data.get(), 1);
  CFDataSetLength(data.get(), 4);
  EXPECT_EQ(bytesOf(data.get()), std::string("a\0\0\0", 4));
  CFDataGetMutableBytePtr(data.get())[3] = 'd';
  EXPECT_TRUE(CFEqual(data.get(), makeData(std::string("a\0\0d", 4)).get()));
  EXPECT_EQ(CFHash(data.get()), CFHash(makeData(std::string("a\0\0d", 4)).get()));
}

}  // namespace
}  // namespace corvane::testing
