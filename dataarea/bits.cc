#include "dataarea/bits.h"

#include <IOKit/IOKitLib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "dataarea/data_area.h"
#include "dataarea/data_sets.h"
#include "log/log.h"
#include "platform/cf_ref.h"
#include "platform/out_of_memory.h"
#include "platform/text.h"

using corvane::CFRef;
using corvane::formatText;
using corvane::kDataAreaFailure;
using corvane::Log;

namespace {

/// Logs that a part of the request could not be made. The object shown is always absent.
uint32_t reportInvalid(CFStringRef format) {
  Log::write(formatText(format, nullptr).get(), CFSTR("Control Bits"), 0);
  return kDataAreaFailure;
}

/// Sends the request to the data area, reports a refusal, and returns the platform's code.
uint32_t sendRequest(CFDictionaryRef request) {
  const kern_return_t result = IORegistryEntrySetCFProperties(gDataArea, request);
  if (result != KERN_SUCCESS) {
    CFShow(request);
    Log::write(formatText(CFSTR("writeBits IORegistryEntrySetCFProperties failed (result=%d "
                                "entry=%d properties=%@)"),
                          result, static_cast<int32_t>(gDataArea), request)
                   .get(),
               CFSTR("Control Bits"), 0);
  }
  Log::writeDebug(
      formatText(CFSTR("IORegistryEntrySetCFProperties return result %d"), result).get(), nullptr,
      1);
  return static_cast<uint32_t>(result);
}

/// Makes a write request and sends it. Its parts are released on return.
uint32_t requestWrite(uint32_t offset, uint32_t length, const void* bytes, int32_t commit,
                      CFStringRef set) {
  // Declared in the reverse of the order in which they are made, so that the number is released
  // first and the dictionary last.
  CFRef<CFMutableDictionaryRef> request;
  CFRef<CFDataRef> buffer;
  CFRef<CFNumberRef> offsetNumber;

  const int64_t wideOffset = offset;
  offsetNumber.reset(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &wideOffset));
  if (!offsetNumber) return reportInvalid(CFSTR("writeBits offsetRef invalid (offsetRef=%@)"));
  Log::writeDebug(CFSTR("offset valid"), nullptr, 1);

  buffer.reset(CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, static_cast<const UInt8*>(bytes),
                                           length, kCFAllocatorNull));
  if (!buffer) return reportInvalid(CFSTR("writeBits bufferRef invalid (bufferRef=%@)"));
  Log::writeDebug(CFSTR("bufferRef valid"), nullptr, 1);

  // Retains none of its keys and values, and compares keys by identity.
  request.reset(CFDictionaryCreateMutable(kCFAllocatorDefault, 3, nullptr, nullptr));
  if (!request) return reportInvalid(CFSTR("writeBits dictRef invalid (dictRef=%@)"));
  Log::writeDebug(CFSTR("dictRef valid"), nullptr, 1);

  // The set's name is looked at only now, when the request's parts are made.
  if (!set) return reportInvalid(CFSTR("writeBits set invalid (set=%@)"));

  CFDictionaryAddValue(request.get(), CFSTR(CORVANE_DATA_SET_KEY), set);
  CFDictionaryAddValue(request.get(), CFSTR("VelmoDiagnosticDataCommit"),
                       commit ? kCFBooleanTrue : kCFBooleanFalse);
  CFDictionaryAddValue(request.get(), CFSTR("VelmoDiagnosticDataOffset"), offsetNumber.get());
  CFDictionaryAddValue(request.get(), CFSTR("VelmoDiagnosticDataBuffer"), buffer.get());
  return sendRequest(request.get());
}

void reportMismatch(uint32_t length, const uint8_t* written, const uint8_t* readBack) {
  CFRef<CFStringRef> text = formatText(CFSTR("writeBits verification failed [length=%d]"), length);
  if (length == 1) {
    text = formatText(CFSTR("%@ (wrote 0x%02x, read 0x%02x)"), text.get(), *written, *readBack);
  }
  Log::write(text.get(), nullptr, 0);
}

/// Reads back what was written and compares. A mismatch is only logged: returns the result of the
/// read.
uint32_t verify(uint32_t offset, uint32_t length, const void* bytes, CFStringRef set) {
  const std::unique_ptr<uint8_t, decltype(&std::free)> readBack(
      static_cast<uint8_t*>(std::malloc(length)), &std::free);
  if (!readBack) {
    Log::write(CFSTR("writeBits: verification buffer malloc failed"), nullptr, 0);
    return kDataAreaFailure;
  }
  if (const uint32_t status = readBits(offset, length, readBack.get(), set)) {
    Log::write(
        formatText(CFSTR("writeControlBits verification read failed (status %d)"), status).get(),
        nullptr, 0);
    return status;
  }
  if (std::memcmp(bytes, readBack.get(), length) == 0) {
    Log::writeDebug(CFSTR("verification successful"), CFSTR("Control Bits"), 0);
  } else {
    reportMismatch(length, static_cast<const uint8_t*>(bytes), readBack.get());
  }
  return 0;
}

}  // namespace

uint32_t readBits(uint32_t offset, uint32_t length, void* destination, CFStringRef set) {
  return corvane::unlessOutOfMemory(kDataAreaFailure, [&]() -> uint32_t {
    Log::writeDebug(CFSTR("Read bits"), CFSTR("Control Bits"), 0);
    const uint8_t* bytes = nullptr;
    uint32_t available{};
    if (!getDataAreaBytePtr(&bytes, &available, set)) {
      Log::writeDebug(CFSTR("Call to getDataAreaBytePtr() failed"), nullptr, 1);
      return kDataAreaFailure;
    }
    // Added without wrapping: a range that only fits when its end wraps at 32 bits is outside the
    // set.
    if (uint64_t{offset} + length > available) {
      Log::writeDebug(CFSTR("Request size invalid."), nullptr, 1);
      return kDataAreaFailure;
    }
    std::copy_n(bytes + offset, length, static_cast<uint8_t*>(destination));
    Log::writeDebug(CFSTR("Read bits success"), nullptr, 1);
    return 0;
  });
}

uint32_t writeBits(uint32_t offset, uint32_t length, const void* bytes, int32_t commit,
                   CFStringRef set) {
  return corvane::unlessOutOfMemory(kDataAreaFailure, [&]() -> uint32_t {
    Log::writeDebug(CFSTR("Write bits"), CFSTR("Control Bits"), 0);
    const uint32_t result = requestWrite(offset, length, bytes, commit, set);
    if (result != 0 || length == 0) return result;
    return verify(offset, length, bytes, set);
  });
}
