// How the code above the platform layer reaches a platform service.
//
// Each service is one small abstract interface (platform/<service>.h). Get<Service>()
// returns the process's current implementation: the build's own backend by default
// (Win32 in the Windows build; on Linux a backend that works where that makes sense and
// fails cleanly where it does not), or a fake that a test installed with
// ScopedOverride<Service>, which puts the previous implementation back when it ends.
//
// A backend provides its default by defining the explicit specialisation
//   template <> Service& DefaultService<Service>() { static Impl impl; return impl; }
// in its service_win.cpp / service_posix.cpp.
#pragma once

#include <utility>

namespace Orvane::Platform {

template <class Service>
Service& DefaultService();

namespace internal {
template <class Service>
Service*& CurrentSlot() {
    static Service* current = nullptr;
    return current;
}
}  // namespace internal

template <class Service>
Service& Get() {
    Service* current = internal::CurrentSlot<Service>();
    return current ? *current : DefaultService<Service>();
}

template <class Service>
class ScopedOverride {
  public:
    explicit ScopedOverride(Service& replacement)
        : previous_(std::exchange(internal::CurrentSlot<Service>(), &replacement)) {}
    ~ScopedOverride() { internal::CurrentSlot<Service>() = previous_; }
    ScopedOverride(const ScopedOverride&) = delete;
    ScopedOverride& operator=(const ScopedOverride&) = delete;

  private:
    Service* previous_;
};

}  // namespace Orvane::Platform
