// Linux has no window messages: every operation fails, so that the code above sees a
// window that was never created and a server that never appears.
#include "platform/message_window.h"

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

class UnavailableMessageWindowService final : public MessageWindowService {
  public:
    WindowHandle Create(const wchar_t*, const wchar_t*, MessageWindowEvents&) override { return 0; }
    void Destroy(WindowHandle) override {}
    bool IsWindow(WindowHandle) override { return false; }
    std::uint32_t RegisterMessage(const wchar_t*) override { return 0; }
    bool OpenMessageFilter(WindowHandle, std::uint32_t) override { return false; }
    bool StartTimer(WindowHandle, std::uintptr_t, std::uint32_t) override { return false; }
    void StopTimer(WindowHandle, std::uintptr_t) override {}
    std::intptr_t SendCopyData(WindowHandle, const CopyDataBlock&) override { return 0; }
    bool Broadcast(std::uint32_t, std::uintptr_t, std::intptr_t) override { return false; }
};

}  // namespace

template <>
MessageWindowService& DefaultService<MessageWindowService>() {
    static UnavailableMessageWindowService service;
    return service;
}

}  // namespace Orvane::Platform
