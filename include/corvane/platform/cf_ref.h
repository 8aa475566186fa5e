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
  /// Takes over the reference `owned`, which may be null.
  explicit CFRef(Ref owned) : _ref(owned) {}
  /// Take over the reference of `other`, which is left with none. What this owned is released.
  /// @{
  CFRef(CFRef&& other) noexcept : _ref(other.release()) {}
  CFRef& operator=(CFRef&& other) noexcept {
    reset(other.release());
    return *this;
  }
  /// @}
  CFRef(const CFRef&) = delete;
  CFRef& operator=(const CFRef&) = delete;
  ~CFRef() { reset(); }

  /// Returns a further reference to `borrowed`, an object that somebody else owns; null for null.
  static CFRef retaining(Ref borrowed) {
    if (borrowed) CFRetain(borrowed);
    return CFRef(borrowed);
  }

  /// Returns the object, which this still owns; null when there is none.
  Ref get() const { return _ref; }
  /// Returns whether there is an object.
  explicit operator bool() const { return _ref != nullptr; }

  /// Returns the reference, which the caller owns from then on; null when there is none.
  [[nodiscard]] Ref release() { return std::exchange(_ref, nullptr); }

  /// Releases the reference and takes over `owned`, which may be null.
  void reset(Ref owned = nullptr) {
    if (const Ref old = std::exchange(_ref, owned)) CFRelease(old);
  }

 private:
  Ref _ref = nullptr;
};

}  // namespace corvane

#endif  // CORVANE_PLATFORM_CF_REF_H_
