#ifndef CORVANE_HOST_UNIT_FACTORY_IMAGES_H_
#define CORVANE_HOST_UNIT_FACTORY_IMAGES_H_

#include <cstdint>
#include <vector>

namespace corvane::host {

/// The data sets of a unit that no station has written to yet.

/// "VelmoDiagnosticData", 1024 bytes: every control-bit byte 0xFF, every record slot free.
std::vector<uint8_t> factoryDiagnosticData();

/// "VelmoDiagnosticDataSysCfg", 8192 bytes: an empty store.
std::vector<uint8_t> factoryConfiguration();

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_FACTORY_IMAGES_H_
