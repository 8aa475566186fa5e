#include <memory>

#include "controlbits/control_bits.h"
#include "dataarea/nor_access.h"
#include "syscfg/syscfg.h"

namespace corvane {
namespace {

template <bool kWriteBack>
struct Close {
  void operator()(syscfg_handle* store) const { syscfg__deinit(store, kWriteBack); }
};
/// An open store over the device's flash. The second kind is written back when it is closed,
/// whether or not the change succeeded.
using ReadStore = std::unique_ptr<syscfg_handle, Close<false>>;
using WriteStore = std::unique_ptr<syscfg_handle, Close<true>>;

/// Converts a number to size_t. A negative one becomes very large.
size_t widened(int32_t number) { return static_cast<size_t>(int64_t{number}); }

}  // namespace

int32_t ControlBits::readSystemConfigKeys(uint32_t* keys, int32_t size) {
  const ReadStore store(syscfg__init(&ferrox_nor_access));
  return syscfg__list_key(store.get(), keys, widened(size));
}

int32_t ControlBits::readSystemConfig(uint8_t* buffer, uint32_t key) {
  const ReadStore store(syscfg__init(&ferrox_nor_access));
  size_t length = 0;
  syscfg__read_key(store.get(), key, buffer, &length);
  return static_cast<int32_t>(length);
}

int32_t ControlBits::writeSystemConfig(const uint8_t* buffer, int32_t bufferlen, uint32_t key) {
  const WriteStore store(syscfg__init(&ferrox_nor_access));
  if (syscfg__add_key(store.get(), key, buffer, widened(bufferlen)) != 0) return 0;
  // Closing the store writes the area a second time; both writes are kept.
  syscfg__flush(store.get());
  return bufferlen;
}

int32_t ControlBits::deleteSystemConfig(uint32_t key) {
  const WriteStore store(syscfg__init(&ferrox_nor_access));
  return syscfg__del_key(store.get(), key) == 0 ? 1 : 0;
}

}  // namespace corvane
