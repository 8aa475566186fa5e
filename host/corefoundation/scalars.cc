#include "host/corefoundation/scalars.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <ctime>
#include <functional>
#include <limits>
#include <utility>

#include "host/corefoundation/description.h"

using Form = __CFNumber::Form;

namespace {

// Programs keep hundreds of thousands of numbers at once, so that their size matters.
static_assert(sizeof(__CFNumber) <= 32);

constinit cf::Constant<__CFBoolean> gTrue(true);
constinit cf::Constant<__CFBoolean> gFalse(false);

template <typename T>
T valueAt(const void* address) {
  T value;
  std::memcpy(&value, address, sizeof(value));
  return value;
}

template <typename T>
void store(void* address, T value) {
  std::memcpy(address, &value, sizeof(value));
}

/// Returns the stored type that `type` stands for on this machine, or 0 for an unknown type.
CFIndex storedType(CFNumberType type) {
  switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return kCFNumberSInt8Type;
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return kCFNumberSInt16Type;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return kCFNumberSInt32Type;
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
      return kCFNumberSInt64Type;
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return kCFNumberFloat32Type;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
      return kCFNumberFloat64Type;
  }
  return 0;
}

/// Returns whether `real` is a whole number of type Integer.
template <typename Integer>
bool isWhole(double real) {
  const double end = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
  return real >= static_cast<double>(std::numeric_limits<Integer>::min()) && real < end &&
         std::trunc(real) == real;
}

template <typename Integer>
bool storeInteger(const __CFNumber& number, void* value) {
  if (!number.isReal()) {
    const auto low = static_cast<Integer>(number.integer());
    store(value, low);
    return number.form() != Form::kUInt64 && low == number.integer();
  }

  const double real = number.real();
  Integer nearest = 0;
  if (real < static_cast<double>(std::numeric_limits<Integer>::min())) {
    nearest = std::numeric_limits<Integer>::min();
  } else if (real >= std::ldexp(1.0, std::numeric_limits<Integer>::digits)) {
    nearest = std::numeric_limits<Integer>::max();
  } else if (!std::isnan(real)) {
    nearest = static_cast<Integer>(real);
  }
  store(value, nearest);
  return isWhole<Integer>(real);
}

/// Returns the nearest value of type Real, which is an infinity outside its range.
template <typename Real>
Real nearestReal(double real) {
  const bool fits = !(std::fabs(real) > static_cast<double>(std::numeric_limits<Real>::max()));
  if (fits) return static_cast<Real>(real);
  return std::copysign(std::numeric_limits<Real>::infinity(), static_cast<Real>(real > 0 ? 1 : -1));
}

template <typename Real>
bool storeReal(const __CFNumber& number, void* value) {
  if (number.isReal()) {
    const Real nearest = nearestReal<Real>(number.real());
    store(value, nearest);
    return double{nearest} == number.real() || std::isnan(number.real());
  }

  if (number.form() == Form::kUInt64) {
    const auto integer = static_cast<uint64_t>(number.integer());
    const auto nearest = static_cast<Real>(integer);
    store(value, nearest);
    return isWhole<uint64_t>(nearest) && static_cast<uint64_t>(nearest) == integer;
  }
  const auto nearest = static_cast<Real>(number.integer());
  store(value, nearest);
  return isWhole<int64_t>(nearest) && static_cast<int64_t>(nearest) == number.integer();
}

/// Returns the same pair for all numbers of one value, in any form.
std::pair<Form, uint64_t> canonical(const __CFNumber& number) {
  if (!number.isReal()) {
    const Form form = number.form() == Form::kUInt64 ? Form::kUInt64 : Form::kSInt64;
    return {form, static_cast<uint64_t>(number.integer())};
  }
  const double real = number.real();
  if (isWhole<int64_t>(real))
    return {Form::kSInt64, static_cast<uint64_t>(static_cast<int64_t>(real))};
  if (isWhole<uint64_t>(real)) return {Form::kUInt64, static_cast<uint64_t>(real)};
  if (std::isnan(real)) return {Form::kFloat32, 0};
  return {Form::kFloat64, std::bit_cast<uint64_t>(real)};
}

/// Returns the exact value, which this type holds of every number.
long double exactValue(const __CFNumber& number) {
  static_assert(std::numeric_limits<long double>::digits >= 64);
  if (number.isReal()) return number.real();
  if (number.form() == Form::kUInt64) return static_cast<uint64_t>(number.integer());
  return number.integer();
}

}  // namespace

bool __CFNumber::equals(const Object& other) const {
  return canonical(*this) == canonical(static_cast<const __CFNumber&>(other));
}

CFHashCode __CFNumber::hash() const { return std::hash<uint64_t>()(canonical(*this).second); }

void __CFNumber::appendText(std::u16string& out, cf::Layout) const {
  std::array<char, 32> text;
  char* const end = text.data() + text.size();
  std::to_chars_result written{};
  switch (_form) {
    case Form::kFloat32:
      written = std::to_chars(text.data(), end, static_cast<float>(_real));
      break;
    case Form::kFloat64:
      written = std::to_chars(text.data(), end, _real);
      break;
    case Form::kUInt64:
      written = std::to_chars(text.data(), end, static_cast<uint64_t>(_integer));
      break;
    default:
      written = std::to_chars(text.data(), end, _integer);
  }
  cf::appendAscii(out, {text.data(), written.ptr});
}

const CFBooleanRef kCFBooleanTrue = &gTrue.object;
const CFBooleanRef kCFBooleanFalse = &gFalse.object;

CFTypeID CFBooleanGetTypeID() { return static_cast<CFTypeID>(cf::Type::kBoolean); }
Boolean CFBooleanGetValue(CFBooleanRef boolean) { return boolean->value(); }

CFTypeID CFNumberGetTypeID() { return static_cast<CFTypeID>(cf::Type::kNumber); }

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
  switch (storedType(type)) {
    case kCFNumberSInt8Type:
      return new __CFNumber(int64_t{valueAt<int8_t>(value)}, Form::kSInt8);
    case kCFNumberSInt16Type:
      return new __CFNumber(int64_t{valueAt<int16_t>(value)}, Form::kSInt16);
    case kCFNumberSInt32Type:
      return new __CFNumber(int64_t{valueAt<int32_t>(value)}, Form::kSInt32);
    case kCFNumberSInt64Type:
      return new __CFNumber(valueAt<int64_t>(value));
    case kCFNumberFloat32Type:
      return new __CFNumber(double{valueAt<float>(value)}, Form::kFloat32);
    case kCFNumberFloat64Type:
      return new __CFNumber(valueAt<double>(value));
    default:
      return nullptr;
  }
}

CFNumberType CFNumberGetType(CFNumberRef number) {
  if (number->form() == Form::kUInt64) return kCFNumberSInt64Type;
  return static_cast<CFNumberType>(number->form());
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  switch (storedType(type)) {
    case kCFNumberSInt8Type:
      return storeInteger<int8_t>(*number, value);
    case kCFNumberSInt16Type:
      return storeInteger<int16_t>(*number, value);
    case kCFNumberSInt32Type:
      return storeInteger<int32_t>(*number, value);
    case kCFNumberSInt64Type:
      return storeInteger<int64_t>(*number, value);
    case kCFNumberFloat32Type:
      return storeReal<float>(*number, value);
    case kCFNumberFloat64Type:
      return storeReal<double>(*number, value);
    default:
      return false;
  }
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef other, void*) {
  const long double value1 = exactValue(*number), value2 = exactValue(*other);
  return value1 < value2   ? kCFCompareLessThan
         : value1 > value2 ? kCFCompareGreaterThan
                           : kCFCompareEqualTo;
}

void __CFDate::appendText(std::u16string& out, cf::Layout) const {
  // About 30,000 years. Dates beyond that, and values that are not numbers, are not shown.
  constexpr CFAbsoluteTime kShown = 1e12;
  if (!(std::fabs(_at) < kShown)) {
    out += u"(no date)";
    return;
  }
  const time_t seconds = static_cast<time_t>(std::floor(_at)) + cf::kDateEpoch;
  tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 64> text;
  const size_t length = strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S +0000", &parts);
  cf::appendAscii(out, {text.data(), length});
}

CFTypeID CFDateGetTypeID() { return static_cast<CFTypeID>(cf::Type::kDate); }

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at) { return new __CFDate(at); }

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) { return date->at(); }

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<CFAbsoluteTime>(now.tv_sec - cf::kDateEpoch) +
         static_cast<CFAbsoluteTime>(now.tv_nsec) / 1e9;
}
