#include <IOKit/IOKitLib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/include/virtual_device.h"
#include "platform/cf_ref.h"

using corvane::host::DeviceError;
using corvane::host::VirtualDevice;

namespace {

/// Returns whether only the second call of a function fails. Requires rules that have counted no
/// call of it yet.
bool failsSecondCall() {
  bool isRight = true;
  for (int call = 1; call <= 3; ++call) {
    const corvane::CFRef<CFMutableDictionaryRef> matching(IOServiceMatching("A"));
    isRight = isRight && static_cast<bool>(matching) == (call != 2);
  }
  return isRight;
}

}  // namespace

/// Sets the input as fault rules. Checks that they are accepted, or refused with a text that shows
/// the rule while the previous rules stay in force.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view rules(reinterpret_cast<const char*>(data), size);
  VirtualDevice::setFaults("IOServiceMatching@2");
  try {
    VirtualDevice::setFaults(rules);
    const corvane::CFRef<CFMutableDictionaryRef> matching(IOServiceMatching("A"));
    IOObjectRelease(1);
  } catch (const DeviceError& error) {
    const std::string_view text = error.what();
    if (!text.starts_with("the rule '") || !failsSecondCall()) {
      std::fprintf(stderr, "refused: %s\n", error.what());
      std::abort();
    }
  }
  return 0;
}
