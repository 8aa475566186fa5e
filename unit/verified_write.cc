#include "unit/verified_write.h"

#include <algorithm>

#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "platform/number.h"

namespace corvane::unit {
namespace {

/// Returns what `writeBits` returns. A 5 may be its own failure, before or after the write, or the
/// data area's answer: the same bytes are then written once more.
uint32_t send(const Write& write, ByteSpan bytes) {
  const auto length = static_cast<uint32_t>(bytes.size());
  const uint32_t code = writeBits(write.offset, length, bytes.data(), kCommit, write.set);
  if (code != kDataAreaFailure) return code;
  return writeBits(write.offset, length, bytes.data(), kCommit, write.set);
}

/// What a write has left on the unit, and what to say of it.
struct Remains {
  Left left;
  std::string text;
};

Remains putBack(const Write& write, const std::optional<std::vector<uint8_t>>& held) {
  const std::string before =
      write.before.size() == 1 ? hexNumber(write.before[0], 2) : std::string("what it held before");
  if (write.isFinal && (write.isFinal(write.meant) || (held && write.isFinal(*held)))) {
    return {Left::kChanged, "what was written is not taken back"};
  }
  if (send(write, write.before) == 0) {
    const auto now = tryRead(write.set, write.offset, write.before.size());
    if (now && std::ranges::equal(*now, write.before)) {
      return {Left::kPutBack, "it was put back to " + before};
    }
  }
  return {Left::kUnknown, "whether it could be put back to " + before + " is not known"};
}

/// Returns what differs, as "byte 20 holds 0xff instead of 0xfc".
std::string differenceText(const Write& write, const Error::Difference& difference) {
  const std::string place = "byte " + std::to_string(difference.offset);
  const std::string held =
      " holds " + hexNumber(difference.held, 2) + " instead of " + hexNumber(difference.meant, 2);
  return write.what == place ? place + held : write.what + ": " + place + " of the data set" + held;
}

}  // namespace

std::optional<std::vector<uint8_t>> tryRead(CFStringRef set, uint32_t offset, size_t length) {
  std::vector<uint8_t> bytes(length);
  if (readBits(offset, static_cast<uint32_t>(length), bytes.data(), set) != 0) return std::nullopt;
  return bytes;
}

void writeVerified(Lock& lock, const Write& write) {
  const uint32_t code = send(write, write.meant);
  const auto held = tryRead(write.set, write.offset, write.meant.size());
  if (!held) {
    const Remains remains = putBack(write, held);
    throw Error(Fault::kUnreadable, write.what + " cannot be read back; " + remains.text,
                remains.left, code);
  }
  const auto [at, meantAt] = std::ranges::mismatch(*held, write.meant);
  if (at == held->end()) {
    if (code == 0) return lock.addLine(write.line);
    throw Error(Fault::kNotDurable,
                write.what +
                    " could not be made durable: it reads back as it should, but the write"
                    " returned " +
                    hexNumber(code, 1) + ", and a power cut may undo it",
                Left::kChanged, code);
  }
  const Error::Difference difference = {write.offset + static_cast<uint32_t>(at - held->begin()),
                                        *at, *meantAt};
  std::string text = differenceText(write, difference);
  if (code != 0) text += "; the write was refused with " + hexNumber(code, 1);
  const bool isUntouched = code != 0 && std::ranges::equal(*held, write.before);
  const Remains remains =
      isUntouched ? Remains{Left::kUnchanged, "nothing was changed"} : putBack(write, held);
  throw Error(code != 0 ? Fault::kRefused : Fault::kMismatch, text + "; " + remains.text,
              remains.left, code, difference);
}

}  // namespace corvane::unit
