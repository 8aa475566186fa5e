#include "bootargs/boot_args.h"

#include "bootargs/white_space.h"
#include "log/log.h"
#include "platform/out_of_memory.h"
#include "platform/registry.h"
#include "platform/system_log.h"
#include "platform/text.h"

using corvane::CFRef;
using corvane::copyProperty;
using corvane::firstService;
using corvane::formatText;
using corvane::IOObject;
using corvane::Log;
using corvane::trimmed;

namespace {

bool contains(CFStringRef text, CFStringRef word) {
  return CFStringFind(text, word, 0).location != kCFNotFound;
}

}  // namespace

CFStringRef copyBootArgs(void) {
  return corvane::unlessOutOfMemory(nullptr, [&]() -> CFStringRef {
    const IOObject options(IORegistryEntryFromPath(kIOMasterPortDefault, "IODeviceTree:/options"));
    if (!options) {
      NSLog(CFSTR("No registry entry for IODeviceTree:/options\n"));
      return nullptr;
    }
    CFRef<CFTypeRef> value = copyProperty(options, CFSTR("boot-args"));
    if (!value || CFGetTypeID(value.get()) != CFStringGetTypeID()) return nullptr;
    return static_cast<CFStringRef>(value.release());
  });
}

bool hasBootArg(CFStringRef word) {
  return corvane::unlessOutOfMemory(false, [&] {
    const CFRef<CFStringRef> current(copyBootArgs());
    return current && contains(current.get(), word);
  });
}

void setBootArgs(CFStringRef value) {
  corvane::unlessOutOfMemory([&] {
    mach_port_t masterPort = MACH_PORT_NULL;
    if (IOMasterPort(bootstrap_port, &masterPort) != KERN_SUCCESS || masterPort == MACH_PORT_NULL) {
      Log::writeDebug(formatText(CFSTR("Unable to set boot-args: %@"), value).get(),
                      CFSTR("Corvane"), 0);
      return;
    }
    // A missing service and a refused value are not reported.
    const IOObject nvram = firstService("IODTNVRAM", masterPort);
    IORegistryEntrySetCFProperty(nvram.get(), CFSTR("boot-args"), value);
  });
}

void addBootArg(CFStringRef word) {
  corvane::unlessOutOfMemory([&] {
    if (!word) return;
    const CFRef<CFStringRef> current(copyBootArgs());
    const CFRef<CFStringRef> added = trimmed(word);
    // Adding never creates the variable.
    if (!current || contains(current.get(), added.get())) return;
    setBootArgs(formatText(CFSTR("%@ %@"), current.get(), added.get()).get());
  });
}

void removeBootArg(CFStringRef word) {
  corvane::unlessOutOfMemory([&] {
    const CFRef<CFStringRef> current(copyBootArgs());
    // Written also when it is unchanged, or absent.
    setBootArgs(corvane::replacingText(current.get(), word, CFSTR("")).get());
  });
}
