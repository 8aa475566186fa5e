#ifndef CORVANE_PLATFORM_PROPERTY_H_
#define CORVANE_PLATFORM_PROPERTY_H_

#include <CoreFoundation/CoreFoundation.h>

namespace corvane {

/// Returns the boolean meaning of a property: a boolean's value, whether a number is not zero, or
/// the platform's reading of a string (true when after white space, a sign and zeros it begins with
/// Y, y, T, t or a digit 1 to 9). Returns false for null and for any other object.
bool isTrue(CFTypeRef value);

/// Returns the number that a property means, nearest in 32 bits: a number's value, 1 or 0 for a
/// boolean, or the platform's reading of a string (the decimal number at its start, with fraction
/// and exponent, after white space; 0 without one). Returns 0 for null and for any other object.
float floatValue(CFTypeRef value);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_PROPERTY_H_
