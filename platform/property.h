#ifndef CORVANE_PLATFORM_PROPERTY_H_
#define CORVANE_PLATFORM_PROPERTY_H_

#include <CoreFoundation/CoreFoundation.h>

namespace corvane {

/// The boolean meaning of a property: a boolean's value, whether a number is not zero, the
/// platform's reading of a string (true when behind white space, a sign and zeros it begins with Y,
/// y, T, t or a digit 1 to 9). False for null and for any other object.
bool isTrue(CFTypeRef value);

/// The value of a number, nearest in 32 bits, or 1 or 0 for a boolean. 0 for null and for any other
/// object.
float floatValue(CFTypeRef value);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_PROPERTY_H_
