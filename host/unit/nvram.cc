#include "host/unit/nvram.h"

#include "host/unit/atomic_file.h"
#include "host/unit/properties.h"
#include "host/unit/property_file.h"
#include "host/unit_lock.h"

namespace corvane::host {

CFRef<CFTypeRef> Nvram::copyVariable(CFStringRef name) const {
  const auto variables = readPropertyFileIfPresent(file());
  if (!variables) return {};
  return CFRef<CFTypeRef>::retaining(CFDictionaryGetValue(variables.get(), name));
}

void Nvram::setVariable(CFStringRef name, CFTypeRef value) const {
  const UnitLock lock(_folder);
  const auto variables = copyForChange(readPropertyFileIfPresent(file()).get());
  CFDictionarySetValue(variables.get(), name, value);
  writePropertyFile(file(), variables.get());
}

}  // namespace corvane::host
