#include "unit/poison_byte.h"

#include "controlbits/poison_byte.h"
#include "platform/number.h"
#include "unit/verified_write.h"

namespace corvane::unit {
namespace {

ByteChange change(Lock& lock, uint8_t offset, bool isSet) {
  return logged(lock, [&] {
    const uint8_t before = readByte(offset);
    const bool isFinal = corvane::isPoisonFinal(offset, before);
    if (isFinal && !isSet) {
      throw Error(Fault::kFinal, "byte " + std::to_string(offset) + " is " + hexNumber(before, 2) +
                                     ": a failure, which is not overwritten");
    }
    const uint8_t meant = isFinal ? before : poisonByte(offset, isSet);
    if (meant != before) return replaceByte(lock, offset, before, meant);
    lock.addLine("byte " + std::to_string(offset) + " stays " + hexNumber(before, 2) +
                 (isSet ? ", poisoned" : ", not poisoned"));
    return ByteChange{before, before};
  });
}

}  // namespace

bool isPoisoned(uint8_t offset, uint8_t byte) { return corvane::isPoisoned(offset, byte); }
bool isPoisonFinal(uint8_t offset, uint8_t byte) { return corvane::isPoisonFinal(offset, byte); }

ByteChange setPoison(Lock& lock, uint8_t offset) { return change(lock, offset, true); }
ByteChange clearPoison(Lock& lock, uint8_t offset) { return change(lock, offset, false); }

}  // namespace corvane::unit
