#ifndef EXAMPLES_LOAD_ARITHMETIC_H_
#define EXAMPLES_LOAD_ARITHMETIC_H_

#include <string>

namespace load {

/// Does some milliseconds of integer, floating-point and vector work whose results are known to the
/// last bit. Returns the first wrong result and what it should be, or an empty text.
std::string arithmeticRound();

}  // namespace load

#endif  // EXAMPLES_LOAD_ARITHMETIC_H_
