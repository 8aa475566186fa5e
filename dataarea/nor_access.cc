#include "dataarea/nor_access.h"

#include <algorithm>
#include <cstdlib>

#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "platform/out_of_memory.h"
#include "platform/system_log.h"

using corvane::configurationDataSet;

namespace {

/// Writes a line to the system log, or drops it when memory runs out.
void report(CFStringRef (*format)(), uint32_t status) {
  corvane::unlessOutOfMemory([&] { NSLog(format(), status); });
}

}  // namespace

const nor_access_table ferrox_nor_access = {ferrox_nor_size, ferrox_nor_read, ferrox_nor_write,
                                            nullptr};

uint8_t* _sysCfg = nullptr;

size_t ferrox_nor_size(const nor_access_table*) { return kConfigurationAreaSize; }

void ferrox_nor_read(const nor_access_table* access, void* destination) {
  if (!_sysCfg)
    _sysCfg = static_cast<uint8_t*>(std::calloc(kConfigurationAreaSize, sizeof(uint8_t)));
  const uint32_t status = _sysCfg
                              ? readBits(0, kConfigurationAreaSize, _sysCfg, configurationDataSet())
                              : corvane::kDataAreaFailure;
  if (status != 0) report([] { return CFSTR("Failed to read sysCfg: Error %d"); }, status);

  const size_t size = access->size(access);
  const size_t staged = _sysCfg ? std::min<size_t>(size, kConfigurationAreaSize) : 0;
  std::fill_n(std::copy_n(_sysCfg, staged, static_cast<uint8_t*>(destination)), size - staged,
              uint8_t{0});
}

void ferrox_nor_write(const nor_access_table*, const void* source) {
  const uint32_t status =
      writeBits(0, kConfigurationAreaSize, source, corvane::kCommit, configurationDataSet());
  if (status != 0) report([] { return CFSTR("Failed to write sysCfg: Error %d"); }, status);
}
