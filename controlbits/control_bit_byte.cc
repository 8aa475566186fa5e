#include "controlbits/control_bit_byte.h"

using corvane::kFailCountMask;
using corvane::kFailCountShift;
using corvane::kTestStatusMask;

const uint32_t gFailCountMap[8] = {7, 6, 4, 0, 3, 1, 5, 2};

uint32_t changeTestStatus(uint8_t* byte, uint32_t status) {
  if (corvane::testStatusOf(*byte) == status) return 0;
  *byte = static_cast<uint8_t>((*byte & ~kTestStatusMask) | status);
  return 1;
}

uint32_t changeFailCount(uint8_t* byte, uint32_t code) {
  if ((*byte & kFailCountMask) == code << kFailCountShift) return 0;
  *byte = static_cast<uint8_t>((*byte & ~kFailCountMask) | code << kFailCountShift);
  return 1;
}
