#include "platform/events.h"

#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

class Win32Events final : public Events {
  public:
    KernelHandle CreateAutoResetEvent() override {
        return CreateEventW(nullptr, FALSE, FALSE, nullptr);
    }
    bool Set(KernelHandle event) override { return SetEvent(event) != FALSE; }
    bool Close(KernelHandle event) override { return CloseHandle(event) != FALSE; }
};

}  // namespace

template <>
Events& DefaultService<Events>() {
    static Win32Events service;
    return service;
}

}  // namespace Orvane::Platform
