#include "platform/property.h"

#include <cmath>
#include <limits>
#include <string>

#include "platform/text.h"

namespace corvane {
namespace {

bool isTrueText(const std::string& text) {
  size_t at = text.find_first_not_of(" \t\n\v\f\r");
  if (at == std::string::npos) return false;
  if (text[at] == '+' || text[at] == '-') ++at;
  at = text.find_first_not_of('0', at);
  return at != std::string::npos &&
         std::string("YyTt123456789").find(text[at]) != std::string::npos;
}

/// Returns `value` in 32 bits, an infinity beyond their range.
float nearestFloat(double value) {
  if (std::fabs(value) <= double{std::numeric_limits<float>::max()}) {
    return static_cast<float>(value);
  }
  return std::copysign(std::numeric_limits<float>::infinity(), value < 0 ? -1.0f : 1.0f);
}

}  // namespace

bool isTrue(CFTypeRef value) {
  if (!value) return false;
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFBooleanGetTypeID()) return CFBooleanGetValue(static_cast<CFBooleanRef>(value));
  if (type == CFNumberGetTypeID()) {
    double number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberDoubleType, &number);
    return number != 0;
  }
  return type == CFStringGetTypeID() && isTrueText(utf8Bytes(static_cast<CFStringRef>(value)));
}

float floatValue(CFTypeRef value) {
  if (!value) return 0;
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFBooleanGetTypeID()) return isTrue(value) ? 1 : 0;
  if (type == CFStringGetTypeID()) {
    return nearestFloat(CFStringGetDoubleValue(static_cast<CFStringRef>(value)));
  }
  float number = 0;
  if (type == CFNumberGetTypeID()) {
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberFloat32Type, &number);
  }
  return number;
}

}  // namespace corvane
