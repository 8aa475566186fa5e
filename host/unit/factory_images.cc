#include "host/unit/factory_images.h"

#include <algorithm>
#include <array>

namespace corvane::host {

std::vector<uint8_t> factoryDiagnosticData() {
  constexpr size_t kFirstSlot = 128;
  constexpr size_t kSlotSize = 24;
  constexpr size_t kSlotCount = 20;
  std::vector<uint8_t> image(1024, 0xFF);
  for (size_t slot = 0; slot < kSlotCount; ++slot) {
    // A free slot's 64-bit time is 0xFFFFFFFF.
    std::fill_n(&image[kFirstSlot + slot * kSlotSize + 4], 4, uint8_t{0});
  }
  return image;
}

std::vector<uint8_t> factoryConfiguration() {
  constexpr std::array<uint8_t, 24> kHeaderOfEmptyStore = {
      0x67, 0x66, 0x43, 0x53, 0x18, 0, 0, 0, 0x00, 0x20, 0, 0, 0x01, 0, 0x02, 0};
  std::vector<uint8_t> image(8192, 0xFF);
  std::copy(kHeaderOfEmptyStore.begin(), kHeaderOfEmptyStore.end(), image.begin());
  return image;
}

}  // namespace corvane::host
