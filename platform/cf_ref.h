#ifndef CORVANE_PLATFORM_CF_REF_H_
#define CORVANE_PLATFORM_CF_REF_H_

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace corvane {

/// Owns at most one reference to a CoreFoundation object: what a Create or Copy function returned.
/// `get()` lends the object, `release()` hands the reference over.
template <typename Ref>
class CFRef {
 public:
  CFRef() = default;
  explicit CFRef(Ref owned) : _ref(owned) {}
  CFRef(CFRef&& other) noexcept : _ref(other.release()) {}
  CFRef& operator=(CFRef&& other) noexcept {
    reset(other.release());
    return *this;
  }
  CFRef(const CFRef&) = delete;
  CFRef& operator=(const CFRef&) = delete;
  ~CFRef() { reset(); }

  /// Returns a further reference to an object that somebody else owns.
  static CFRef retaining(Ref borrowed) {
    if (borrowed) CFRetain(borrowed);
    return CFRef(borrowed);
  }

  Ref get() const { return _ref; }
  explicit operator bool() const { return _ref != nullptr; }

  [[nodiscard]] Ref release() { return std::exchange(_ref, nullptr); }

  void reset(Ref owned = nullptr) {
    if (const Ref old = std::exchange(_ref, owned)) CFRelease(old);
  }

 private:
  Ref _ref = nullptr;
};

}  // namespace corvane

#endif  // CORVANE_PLATFORM_CF_REF_H_
